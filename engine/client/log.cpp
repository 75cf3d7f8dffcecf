#include "engine/client/log.h"

#include "engine/base/descriptor.h"
#include "engine/base/text.h"

#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace
{

/// A log larger than this, in bytes, is renamed to engine.log.1, and a new one started.
constexpr off_t maximumSize = 512L * 1024;
/// In characters: two names and a reason, each of which has been shortened before.
constexpr size_t maximumEntry = 2000;

/// Empty for none.
std::string absoluteFolder(const char *variable)
{
    const char *value = ::getenv(variable);
    return value && *value == '/' ? value : "";
}

/// Creates the folders that the file `path` is in.
void makeFolders(const std::string &path)
{
    for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1))
        ::mkdir(path.substr(0, slash).c_str(), S_IRWXU | S_IRWXG | S_IRWXO);
}

/// Local time: 2026-01-31T12:34:56.789.
std::string now()
{
    timespec time{};
    ::clock_gettime(CLOCK_REALTIME, &time);
    tm local{};
    ::localtime_r(&time.tv_sec, &local);
    char text[64];
    const size_t size = ::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%S", &local);
    std::snprintf(text + size, sizeof(text) - size, ".%03d", static_cast<int>(time.tv_nsec / 1000000));
    return text;
}

Descriptor openLog(const std::string &path)
{
    // O_NONBLOCK: opening a FIFO without a reader would block.
    return Descriptor(::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC,
                             S_IRUSR | S_IWUSR));
}

} // namespace

std::string logPath()
{
#ifdef __APPLE__
    return absoluteFolder("HOME") + "/Library/Logs/quirelle/engine.log";
#else
    const std::string chosen = absoluteFolder("XDG_STATE_HOME");
    return (chosen.empty() ? absoluteFolder("HOME") + "/.local/state" : chosen) + "/quirelle/engine.log";
#endif
}

void appendToLog(std::string_view line)
{
    const std::string path = logPath();
    const std::string bytes = now() + ' ' + onOneLine(line, maximumEntry) + '\n';
    struct stat info {
    };
    if (::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) && info.st_size > maximumSize)
        ::rename(path.c_str(), (path + ".1").c_str());
    Descriptor file = openLog(path);
    if (!file && errno == ENOENT) {
        makeFolders(path);
        file = openLog(path);
    }
    if (!file || ::fstat(file.get(), &info) != 0 || !S_ISREG(info.st_mode))
        return;
    // A single write, so that lines of concurrent engines do not mix.
    [[maybe_unused]] const ssize_t written = ::write(file.get(), bytes.data(), bytes.size());
}
