#include "engine/browser/memory.h"

#include "engine/browser/processes.h"

#include <chrono>
#include <csignal>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

using namespace std::chrono_literals;

namespace
{

#ifdef __linux__
constexpr auto checkInterval = 200ms;
/// Allowance in bytes for what a browser process that is no renderer uses by itself.
constexpr long long browserAllowance = 128LL << 20;

/// Resident memory in bytes, without what is shared with files or other processes.
long long ownMemory(const std::string &process)
{
    std::ifstream statm("/proc/" + process + "/statm");
    long long size = 0;
    long long resident = 0;
    long long shared = 0;
    statm >> size >> resident >> shared;
    return (resident - shared) * ::sysconf(_SC_PAGESIZE);
}

/// Anonymous and shared memory in bytes, resident or swapped out: what ending this process would free.
long long usedMemory(const std::string &process)
{
    std::ifstream status("/proc/" + process + "/status");
    long long kibibytes = 0;
    for (std::string line; std::getline(status, line);) {
        for (const char *entry : {"RssAnon:", "RssShmem:", "VmSwap:"}) {
            if (line.starts_with(entry))
                kibibytes += std::atoll(line.c_str() + std::char_traits<char>::length(entry));
        }
    }
    return kibibytes << 10;
}

void kill(const std::string &process)
{
    ::kill(std::stoi(process), SIGKILL);
}
#endif

} // namespace

long long memoryOfTree([[maybe_unused]] int process)
{
#ifdef __linux__
    const std::string root = std::to_string(process);
    long long bytes = ownMemory(root);
    for (const std::string &descendant : descendantsOf(root))
        bytes += ownMemory(descendant);
    return bytes;
#else
    return 0;
#endif
}

MemoryWatch::MemoryWatch(int root, int maximumMemory) : m_root(root), m_maximumMemory(maximumMemory)
{
#ifdef __linux__
    m_thread = std::jthread([this](const std::stop_token &stop) { run(stop); });
#endif
}

void MemoryWatch::setJobs(int change)
{
    {
        const std::lock_guard lock(m_mutex);
        m_jobs += change;
    }
    m_changed.notify_all();
}

void MemoryWatch::run([[maybe_unused]] const std::stop_token &stop)
{
#ifdef __linux__
    std::unique_lock lock(m_mutex);
    while (m_changed.wait(lock, stop, [this] { return m_jobs > 0; })) {
        // Jobs shorter than the interval are not checked.
        if (m_changed.wait_for(lock, stop, checkInterval, [this] { return m_jobs == 0; }) ||
            stop.stop_requested())
            continue;
        lock.unlock();
        killLarge();
        lock.lock();
    }
#endif
}

void MemoryWatch::killLarge()
{
#ifdef __linux__
    const long long maximum = static_cast<long long>(m_maximumMemory) << 20;
    const std::vector<std::string> processes = descendantsOf(std::to_string(m_root));
    for (const std::string &process : processes) {
        const long long bytes = usedMemory(process);
        if (bytes <= maximum)
            continue;
        // Counted before the kill: the connection's thread may see the crash first.
        if (typeOf(process) == "renderer") {
            ++m_rendererKills;
            kill(process);
        } else if (bytes > maximum + browserAllowance) {
            m_killedBrowser = true;
            for (const std::string &each : processes)
                kill(each);
            return;
        }
    }
#endif
}

WatchedJob::WatchedJob(MemoryWatch &watch) : m_watch(watch), m_killsBefore(watch.rendererKills())
{
    m_watch.setJobs(1);
}

WatchedJob::~WatchedJob()
{
    m_watch.setJobs(-1);
}

Failure WatchedJob::withReason(const Failure &failure, const QString &address) const
{
    const QString message = QStringLiteral("%1: %3 more than %2 MiB of memory; --max-memory allows more")
                                .arg(address)
                                .arg(m_watch.m_maximumMemory);
    if (failure.code() != ExitCode::Crashed)
        return failure;
    // Another page may have caused this, so a retry may help.
    if (m_watch.killedBrowser())
        return {ExitCode::Crashed, message.arg(QStringLiteral("the browser takes")), Failure::Retry::MayHelp};
    if (m_watch.rendererKills() > m_killsBefore)
        return {ExitCode::Crashed, message.arg(QStringLiteral("the page takes")), Failure::Retry::IsInVain};
    return failure;
}
