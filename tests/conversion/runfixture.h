#pragma once

#include "tests/app/windowfixture.h"

#include <QDir>
#include <QDropEvent>
#include <QMimeData>
#include <QTemporaryDir>

inline QString enginePlace()
{
    return QDir::cleanPath(QCoreApplication::applicationDirPath() +
                           QStringLiteral("/../../quirelle/Contents/MacOS/quirelle"));
}

/// Installs a shell script as the engine. In it, $input and $output are the last two arguments, and $log is a
/// folder that the test reads.
inline void installEngine(const QString &script, const QString &log)
{
    QDir().mkpath(QFileInfo(enginePlace()).path());
    QFile::remove(enginePlace());
    QFile file(enginePlace());
    if (!file.open(QIODevice::WriteOnly))
        qFatal("cannot write the engine");
    file.write("#!/bin/sh\nfor argument; do input=$output; output=$argument; done\nlog='" + log.toUtf8() +
               "'\n" + script.toUtf8() + "\n");
    file.close();
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

inline QStringList lines(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts);
}

/// Resident memory of this process in kilobytes; -1 if unknown.
inline qint64 residentMemory()
{
    for (const QString &line : lines(QStringLiteral("/proc/self/status"))) {
        if (line.startsWith(QStringLiteral("VmRSS:")))
            return line.simplified().split(u' ').at(1).toLongLong();
    }
    return -1;
}

inline int openDescriptors()
{
    return static_cast<int>(QDir(QStringLiteral("/proc/self/fd"))
                                .entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System)
                                .size());
}

struct RunFixture : WindowFixture {
    RunFixture() { outputFolder.setText(out.path()); }

    void start() { press("pushButton_Convert"); }
    bool isRunning() const { return startButton.text() == QStringLiteral("Stop "); }
    QString information(int row) const { return text(row, InformationColumn); }
    QString pdf(const QString &name) const { return out.filePath(name + QStringLiteral(".pdf")); }

    /// Drops files on the window.
    void drop(const QStringList &paths)
    {
        QList<QUrl> urls;
        for (const QString &path : paths)
            urls << QUrl::fromLocalFile(path);
        QMimeData data;
        data.setUrls(urls);
        QDropEvent event(QPointF(5, 5), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        static_cast<QObject &>(window).event(&event);
    }

    QTemporaryDir out;
};
