#include "joblist/filesize.h"

#include <QFileInfo>

qint64 fileSize(const QString &path)
{
    const QFileInfo file(path);
    return file.isDir() ? 0 : file.size();
}

bool dropHasContent(const QString &path)
{
    return static_cast<qint32>(fileSize(path)) > 0;
}
