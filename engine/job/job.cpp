#include "engine/job/job.h"

#include "engine/job/failure.h"

#include <algorithm>
#include <fstream>
#include <unistd.h>

namespace
{

/// In bytes. A container's own bound is less than the machine's.
long long machineMemory()
{
    const long long machine =
        static_cast<long long>(::sysconf(_SC_PHYS_PAGES)) * static_cast<long long>(::sysconf(_SC_PAGESIZE));
    // "max" without a bound, and no such file without control groups: then there is no number to be read.
    std::ifstream group("/sys/fs/cgroup/memory.max");
    long long bound = 0;
    return group >> bound ? std::min(machine, bound) : machine;
}

} // namespace

int usualMaximumMemory()
{
    constexpr long long least = 2048;
    constexpr long long most = 1048576;
    static const auto half = static_cast<int>(std::clamp(machineMemory() / 2 >> 20, least, most));
    return half;
}

QString nameOf(const Job &job)
{
    return QStringLiteral("%1 -> %2").arg(onOneLine(withoutCredentials(job.input)), onOneLine(job.output));
}
