#include "tests/support/temporaryfolder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

TemporaryFolder::TemporaryFolder()
{
    if (!m_folder.isValid())
        qFatal("no temporary folder: %s", qPrintable(m_folder.errorString()));
}

QString TemporaryFolder::makeFolder(const QString &name) const
{
    if (!QDir(path()).mkpath(name))
        qFatal("cannot make the folder %s", qPrintable(path(name)));
    return path(name);
}

QString TemporaryFolder::write(const QString &name, const QByteArray &content) const
{
    QDir(path()).mkpath(QFileInfo(path(name)).path());
    QFile file(path(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s: %s", qPrintable(file.fileName()), qPrintable(file.errorString()));
    return path(name);
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
