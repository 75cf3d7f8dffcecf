#include "engine/output.h"

#include <QFileInfo>
#include <QSaveFile>
#include <QTemporaryFile>

#include <sys/stat.h>

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace
{

bool isStandardOutput(const QString &path)
{
    return path == QLatin1String("-");
}

[[noreturn]] void refuse(const QString &path, const QString &reason)
{
    throw Failure(ExitCode::NotWritten, QStringLiteral("%1 cannot be written: %2").arg(path, reason));
}

void checkStandardOutput()
{
    const int mode = ::fcntl(STDOUT_FILENO, F_GETFL);
    if (mode < 0 || (mode & O_ACCMODE) == O_RDONLY)
        refuse(QStringLiteral("standard output"), QStringLiteral("it is closed"));
    if (::isatty(STDOUT_FILENO) == 1)
        refuse(QStringLiteral("standard output"),
               QStringLiteral("it is a terminal; name a file, or send it on with > or |"));
}

void awaitReader()
{
    pollfd output{STDOUT_FILENO, POLLOUT, 0};
    ::poll(&output, 1, -1);
}

void writeToStandardOutput(const QByteArray &bytes)
{
    for (qsizetype done = 0; done < bytes.size();) {
        const ssize_t written =
            ::write(STDOUT_FILENO, bytes.constData() + done, static_cast<size_t>(bytes.size() - done));
        if (written >= 0)
            done += written;
        else if (errno == EAGAIN)
            awaitReader();
        else if (errno != EINTR)
            refuse(QStringLiteral("standard output"), qt_error_string(errno));
    }
}

/// Writes all of it, or refuses with the system's reason.
void write(QFileDevice &file, const QByteArray &bytes, const QString &path)
{
    // What is written is buffered, so the end may be the first to tell.
    errno = 0;
    const bool written = file.write(bytes) == bytes.size() && file.flush();
    const QString reason = errno != 0 ? qt_error_string(errno) : file.errorString();
    if (!written)
        refuse(path, reason);
}

/// The permissions of a file that a program makes without asking for any.
mode_t usualPermissions()
{
    const mode_t withheld = ::umask(0);
    ::umask(withheld);
    return (S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH) & ~withheld;
}

/// False, with nothing done, if there is such a file, or it cannot be made in this way.
bool writeNewFile(const QString &path, const QByteArray &bytes)
{
    QTemporaryFile file(path + QStringLiteral(".XXXXXX"));
    if (!file.open())
        return false;
    write(file, bytes, path);
    const bool done = ::fchmod(file.handle(), usualPermissions()) == 0 && file.rename(path);
    file.setAutoRemove(!done);
    return done;
}

/// The older file gives way only when the new one has come to the disk, which takes a while.
void replaceFile(const QString &path, const QByteArray &bytes)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        refuse(path, file.errorString());
    write(file, bytes, path);
    if (!file.commit())
        refuse(path, file.errorString());
}

} // namespace

void checkOutput(const QString &path)
{
    if (isStandardOutput(path))
        return checkStandardOutput();
    const QFileInfo file(path);
    const QFileInfo folder(file.absolutePath());
    if (file.isDir() || path.endsWith(QLatin1Char('/')))
        refuse(path, QStringLiteral("it is a folder; name a file in it"));
    if (file.exists() && !file.isFile())
        refuse(path, QStringLiteral("it is no ordinary file; choose another name"));
    if (!folder.isDir())
        refuse(path, QStringLiteral("there is no folder %1; make it first").arg(folder.filePath()));
    if (!folder.isWritable() || (file.exists() && !file.isWritable()))
        refuse(path, QStringLiteral("permission denied; choose another folder"));
}

void writeOutput(const QString &path, const QByteArray &bytes)
{
    if (isStandardOutput(path))
        return writeToStandardOutput(bytes);
    if (QFileInfo::exists(path) || !writeNewFile(path, bytes))
        replaceFile(path, bytes);
}

Failure tooLargeForOutput(int mebibytes)
{
    return {ExitCode::NotWritten,
            QStringLiteral("the PDF is larger than %1 MiB; --max-output allows more").arg(mebibytes)};
}
