#pragma once

#include <QByteArray>
#include <QList>

/// A PDF written by hand, object by object. Object 1 is the catalogue, 2 the page tree, 3 the only page of
/// 100 by 100 points, 4 its content; further objects are numbered from 5 in the order in which they are
/// added.
class HandPdf
{
public:
    /// Adds an object other than a stream and returns its number.
    int add(const QByteArray &object);
    /// Adds a stream; `dictionary` is given without its brackets and its length.
    int addStream(const QByteArray &dictionary, const QByteArray &data);

    /// What the page draws and its resources, without their brackets.
    HandPdf &content(const QByteArray &operators, const QByteArray &resources = {});
    /// Further entries of the page, the catalogue and the trailer.
    HandPdf &page(const QByteArray &entries);
    HandPdf &catalogue(const QByteArray &entries);

    QByteArray bytes() const;

private:
    QByteArray m_content;
    QByteArray m_resources;
    QByteArray m_page;
    QByteArray m_catalogue;
    QList<QByteArray> m_objects;
};

/// "N 0 R".
QByteArray reference(int number);
