#include "engine/job/files.h"

#include "engine/base/descriptor.h"
#include "engine/base/kernelfiles.h"
#include "engine/job/failure.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringDecoder>

#include <sys/stat.h>
#ifdef __linux__
#include <linux/openat2.h>
#include <sys/syscall.h>
#endif

#include <cerrno>
#include <fcntl.h>
#include <functional>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

/// In bytes.
constexpr qint64 maximumSize = 16 << 20;

/// A descriptor that stands for the file at `path` without reading it; none if a link of the kernel's is on
/// the way, such as /dev/stdin, which leads the browser to something else than this process.
Descriptor pointAt(const QByteArray &path)
{
#ifdef __linux__
    open_how how{};
    how.flags = O_PATH | O_CLOEXEC;
    how.resolve = RESOLVE_NO_MAGICLINKS;
    const long descriptor = ::syscall(SYS_openat2, AT_FDCWD, path.constData(), &how, sizeof(how));
    // Not everywhere may it be called.
    if (descriptor >= 0 || (errno != ENOSYS && errno != EPERM))
        return Descriptor(static_cast<int>(descriptor));
    return Descriptor(::open(path.constData(), O_PATH | O_CLOEXEC));
#else
    return Descriptor(::open(path.constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
#endif
}

void read(const QString &folder, const QString &option, JobFile &file)
{
    const auto refuse = [&](const QString &reason) {
        throw Failure(ExitCode::BadArguments,
                      u"the file %1 of %2 %3"_s.arg(onOneLine(file.name), option, reason));
    };
    const QString path = QDir(folder).filePath(file.name);
    QFile content(path);
    if (QFileInfo::exists(path) && QFileInfo(path).isReadable() && !isOrdinaryFile(path))
        refuse(u"is no ordinary file: write its content to one first"_s);
    if (file.name.isEmpty() || !content.open(QIODevice::ReadOnly))
        refuse(u"cannot be read: %1"_s.arg(content.errorString()));
    if (content.size() > maximumSize)
        refuse(u"is larger than %1 MiB"_s.arg(maximumSize >> 20));
    const std::optional<QString> text = utf8Text(content.readAll());
    if (!text)
        refuse(u"is not text in UTF-8"_s);
    file.text = *text;
}

/// Calls `take` with each line that is not empty; whatever it refuses is in the message by its number only.
void takeLines(const QString &option, const JobFile &file, const QString &kind,
               const std::function<bool(const QString &)> &take)
{
    const QStringList lines = file.text.split(u'\n');
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const QString line = lines[i].endsWith(u'\r') ? lines[i].chopped(1) : lines[i];
        if (!line.isEmpty() && !take(line))
            throw Failure(ExitCode::BadArguments, u"line %1 of the file %2 of %3 is no %4"_s.arg(i + 1).arg(
                                                      onOneLine(file.name), option, kind));
    }
}

void readHeaders(Job &job)
{
    const QString option = u"--header"_s;
    for (JobFile &file : job.headerFiles) {
        read(job.folder, option, file);
        takeLines(option, file, u"\"Name: value\""_s, [&](const QString &line) {
            const std::optional<Header> header = headerOf(line);
            if (header)
                job.headers.append(*header);
            return header.has_value();
        });
    }
}

void readCookies(Job &job)
{
    const QString option = u"--cookie-jar"_s;
    for (JobFile &file : job.cookieJars) {
        read(job.folder, option, file);
        takeLines(option, file, u"cookie as curl writes them"_s, [&](const QString &line) {
            if (line.startsWith(u'#') && !line.startsWith("#HttpOnly_"_L1))
                return true;
            const std::optional<Cookie> cookie = cookieOf(line);
            if (cookie)
                job.cookies.append(*cookie);
            return cookie.has_value();
        });
    }
}

} // namespace

bool isOrdinaryFile(const QString &path)
{
    const Descriptor file = pointAt(QFile::encodeName(path));
    struct stat info {
    };
    return file && ::fstat(file.get(), &info) == 0 && S_ISREG(info.st_mode) && !isKernelFile(file.get());
}

std::optional<QString> utf8Text(QByteArrayView bytes)
{
    QStringDecoder decode(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decode(bytes);
    return decode.hasError() ? std::nullopt : std::optional(text);
}

void readFiles(Job &job)
{
    for (JobFile &file : job.styleSheets)
        read(job.folder, u"--stylesheet"_s, file);
    for (JobFile &file : job.scripts)
        read(job.folder, u"--script"_s, file);
    readHeaders(job);
    readCookies(job);
}
