#pragma once

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

/// A folder that is removed with this object, whatever lies in it.
class TemporaryFolder
{
public:
    TemporaryFolder();

    QString path() const { return m_folder.path(); }
    /// The path of `name` in it, whether or not that exists.
    QString path(const QString &name) const { return m_folder.filePath(name); }
    /// Makes a folder in it and returns its path.
    QString makeFolder(const QString &name) const;
    /// Writes a file in it, folders included, and returns its path.
    QString write(const QString &name, const QByteArray &content) const;

private:
    QTemporaryDir m_folder;
};

/// The whole content of a file; null if it cannot be read.
QByteArray contentOf(const QString &path);
