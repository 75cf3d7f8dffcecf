#include "engine/output.h"

#include "engine/failure.h"

#include <QFileInfo>
#include <QSaveFile>

#include <cerrno>

namespace
{

[[noreturn]] void refuse(const QString &path, const QString &reason)
{
    throw Failure(ExitCode::NotWritten, QStringLiteral("%1 cannot be written: %2").arg(path, reason));
}

} // namespace

void checkOutput(const QString &path)
{
    const QFileInfo file(path);
    const QFileInfo folder(file.absolutePath());
    if (file.isDir() || path.endsWith(QLatin1Char('/')))
        refuse(path, QStringLiteral("it is a folder"));
    if (file.exists() && !file.isFile())
        refuse(path, QStringLiteral("it is no ordinary file"));
    if (!folder.isDir())
        refuse(path, QStringLiteral("there is no folder %1").arg(folder.filePath()));
    if (!folder.isWritable() || (file.exists() && !file.isWritable()))
        refuse(path, QStringLiteral("permission denied"));
}

void writeOutput(const QString &path, const QByteArray &bytes)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        refuse(path, file.errorString());
    // What is written is buffered, so the end may be the first to tell.
    errno = 0;
    const bool written = file.write(bytes) == bytes.size() && file.flush();
    const QString reason = errno != 0 ? qt_error_string(errno) : file.errorString();
    if (!written)
        refuse(path, reason);
    if (!file.commit())
        refuse(path, file.errorString());
}
