#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QUrl>

#include <functional>

/// One of several documents that are joined.
struct Part {
    /// For its bookmark if it has no title.
    QString name;
    /// By which the others link to it: as ordered, and as loaded.
    QList<QUrl> addresses;
};

/// Gives the finished PDF of the part of this index.
using PartReader = std::function<QByteArray(size_t index)>;
