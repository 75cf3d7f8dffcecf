#pragma once

#include <sys/resource.h>

#include <fcntl.h>
#include <unistd.h>
#ifdef __linux__
#include <sys/prctl.h>
#endif

/// The memory of the engine, its server, its guards and its browsers holds passwords and pages. From now on
/// it gets into no file, and to no program that collects crashes, even when one of them crashes; and programs
/// of the same user cannot look into the engine's. To be called before anything else is done. A process that
/// is forked inherits all of it; a program that is started inherits the first two of the three.
inline void dumpNoMemory()
{
    const rlimit none{0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
#ifdef __linux__
    // A limit does not hold for the programs that the kernel pipes dumps to (core_pattern): what they get is
    // without memory. It is not this process's any more to say so once it cannot be dumped.
    const int filter = ::open("/proc/self/coredump_filter", O_WRONLY | O_CLOEXEC);
    if (filter >= 0) {
        [[maybe_unused]] const ssize_t written = ::write(filter, "0", 1);
        ::close(filter);
    }
    ::prctl(PR_SET_DUMPABLE, 0);
#endif
}
