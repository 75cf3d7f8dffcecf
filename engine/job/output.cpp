#include "engine/job/output.h"

#include <QFileInfo>
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
void writeAll(QFileDevice &file, const QByteArray &bytes, const QString &path)
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

/// A file beside `path`, without a name for as long as possible: what has none is not left behind by a
/// process that is killed.
class NewFile : public QTemporaryFile
{
public:
    /// Writes all of it, or refuses.
    NewFile(const QString &path, const QByteArray &bytes, mode_t mode)
        : QTemporaryFile(path + QStringLiteral(".XXXXXX"))
    {
        if (!open())
            refuse(path, errorString());
        writeAll(*this, bytes, path);
        ::fchmod(handle(), mode);
    }

    /// False if there is such a file by now.
    bool becomeNew(const QString &path)
    {
        const bool done = rename(path);
        if (!done && !QFileInfo::exists(path))
            refuse(path, errorString());
        setAutoRemove(!done);
        return done;
    }
    void replace(const QString &path)
    {
        // The older file gives way only when the new one has come to the disk, which takes a while.
        const bool done = ::fsync(handle()) == 0 && ::rename(QFile::encodeName(fileName()).constData(),
                                                             QFile::encodeName(path).constData()) == 0;
        if (!done)
            refuse(path, qt_error_string(errno));
        setAutoRemove(false);
    }
};

/// Through a link, as it is the file behind it that is meant.
void replaceFile(const QString &path, const QByteArray &bytes)
{
    const QString target = QFileInfo(path).canonicalFilePath();
    struct stat older {
    };
    if (::stat(QFile::encodeName(target).constData(), &older) != 0)
        refuse(path, qt_error_string(errno));
    constexpr mode_t permissions = 07777;
    NewFile(target, bytes, older.st_mode & permissions).replace(target);
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
    // Much may have happened since the job began.
    checkOutput(path);
    if (QFileInfo::exists(path) || !NewFile(path, bytes, usualPermissions()).becomeNew(path))
        replaceFile(path, bytes);
}

Failure tooLargeForOutput(int mebibytes)
{
    return {ExitCode::NotWritten,
            QStringLiteral("the PDF is larger than %1 MiB; --max-output allows more").arg(mebibytes)};
}
