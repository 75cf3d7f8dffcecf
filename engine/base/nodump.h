#pragma once

#include <sys/resource.h>

#include <fcntl.h>
#include <unistd.h>
#ifdef __linux__
#include <sys/prctl.h>
#endif

/// Keeps passwords and pages in memory out of core dumps: a crash writes no core file, crash collectors get a
/// dump without memory, and other processes of the same user cannot attach to this one (ptrace). To be called
/// first in main(). Forked processes inherit all three; executed programs inherit the first two.
inline void disableMemoryDumps()
{
    const rlimit none{0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
#ifdef __linux__
    // RLIMIT_CORE is ignored when core_pattern pipes dumps to a program: leave the memory out of those.
    // Before PR_SET_DUMPABLE, after which this process may not write this file.
    const int filter = ::open("/proc/self/coredump_filter", O_WRONLY | O_CLOEXEC);
    if (filter >= 0) {
        [[maybe_unused]] const ssize_t written = ::write(filter, "0", 1);
        ::close(filter);
    }
    ::prctl(PR_SET_DUMPABLE, 0);
#endif
}
