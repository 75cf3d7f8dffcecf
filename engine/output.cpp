#include "engine/output.h"

#include "engine/failure.h"

#include <QFileInfo>
#include <QSaveFile>

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
    if (!folder.isDir())
        refuse(path, QStringLiteral("there is no folder %1").arg(folder.filePath()));
    if (!folder.isWritable() || (file.exists() && !file.isWritable()))
        refuse(path, QStringLiteral("permission denied"));
}

void writeOutput(const QString &path, const QByteArray &bytes)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit())
        refuse(path, file.errorString());
}
