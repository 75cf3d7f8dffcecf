// Loaded into the browser with LD_PRELOAD. Chromium looks for hyphenation patterns in the folder hyphen-data
// beside its program, and nowhere else; Debian's has no such folder. Where the file does not exist, this
// gives it patterns from the dictionaries in the folder QUIRELLE_HYPHENATION. Only the browser's own process
// asks, and passes the descriptor on to the processes of pages.

#include "engine/base/descriptor.h"
#include "engine/hyphenation/file.h"

#include <sys/mman.h>
#include <sys/syscall.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <unistd.h>

namespace
{

constexpr std::string_view folderOfBrowser = "/hyphen-data";

/// A read-only descriptor of a file in memory that nobody can change; none if that fails.
Descriptor memoryFile(const std::string &content)
{
    const Descriptor file(::memfd_create("hyphenation", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    if (!file ||
        ::write(file.get(), content.data(), content.size()) != static_cast<ssize_t>(content.size()) ||
        ::fcntl(file.get(), F_ADD_SEALS, F_SEAL_WRITE | F_SEAL_GROW | F_SEAL_SHRINK | F_SEAL_SEAL) != 0)
        return {};
    return Descriptor(static_cast<int>(::syscall(SYS_openat, AT_FDCWD,
                                                 ("/proc/self/fd/" + std::to_string(file.get())).c_str(),
                                                 O_RDONLY | O_CLOEXEC)));
}

/// The patterns for the file `path` of the browser, if it is one of those.
Descriptor patternsFor(std::string_view path)
{
    const size_t slash = path.rfind('/');
    if (slash == std::string_view::npos || !path.substr(0, slash).ends_with(folderOfBrowser))
        return {};
    const char *dictionaries = std::getenv("QUIRELLE_HYPHENATION");
    if (!dictionaries)
        return {};
    const std::string content = hyphenationFile(std::string(path.substr(slash + 1)), dictionaries);
    return content.empty() ? Descriptor() : memoryFile(content);
}

} // namespace

// The system calls are made directly, because these functions may be called in signal handlers and after
// fork().

extern "C" __attribute__((visibility("default"))) int access(const char *name, int type)
{
    const auto result = static_cast<int>(::syscall(SYS_faccessat, AT_FDCWD, name, type));
    if (result != 0 && errno == ENOENT && std::string_view(name).ends_with(folderOfBrowser))
        return 0;
    return result;
}

extern "C" __attribute__((visibility("default"))) int open64(const char *file, int oflag, ...)
{
    mode_t mode = 0;
    if ((oflag & O_CREAT) != 0 || (oflag & O_TMPFILE) == O_TMPFILE) {
        va_list arguments;
        va_start(arguments, oflag);
        // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): a false positive.
        mode = va_arg(arguments, mode_t);
        va_end(arguments);
    }
    const auto result = static_cast<int>(::syscall(SYS_openat, AT_FDCWD, file, oflag | O_LARGEFILE, mode));
    if (result >= 0 || errno != ENOENT)
        return result;
    try {
        if (Descriptor patterns = patternsFor(file))
            return patterns.release();
    } catch (...) {
        // Then without hyphenation.
    }
    errno = ENOENT;
    return -1;
}
