#include "engine/browser/memory.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

using namespace std::chrono_literals;

namespace
{

#ifdef __linux__
constexpr auto betweenLooks = 200ms;
constexpr int deepest = 16;

/// Resident memory in bytes that this process does not share with files or others.
long long ownMemory(const std::string &process)
{
    std::ifstream statm("/proc/" + process + "/statm");
    long long size = 0;
    long long resident = 0;
    long long shared = 0;
    statm >> size >> resident >> shared;
    return (resident - shared) * ::sysconf(_SC_PAGESIZE);
}

/// In bytes, all that would be free without this process: what it has written to, in memory and swapped out.
long long takenMemory(const std::string &process)
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

/// The processes that any of its threads has started.
std::vector<std::string> childrenOf(const std::string &process)
{
    std::vector<std::string> result;
    std::error_code ended;
    for (std::filesystem::directory_iterator thread("/proc/" + process + "/task", ended), end;
         !ended && thread != end; thread.increment(ended)) {
        std::ifstream children(thread->path() / "children");
        for (std::string child; children >> child;)
            result.push_back(child);
    }
    return result;
}

long long memoryOfTree(const std::string &process, int depth)
{
    long long bytes = ownMemory(process);
    if (depth < deepest) {
        for (const std::string &child : childrenOf(process))
            bytes += memoryOfTree(child, depth + 1);
    }
    return bytes;
}

bool showsPages(const std::string &process)
{
    std::ifstream file("/proc/" + process + "/cmdline");
    // Of a process that has just ended nothing can be read, which bare iterators would throw.
    std::string line;
    std::getline(file, line);
    return line.find("--type=renderer") != std::string::npos;
}

/// Those below `process` that show pages.
std::vector<std::string> renderersBelow(const std::string &process, int depth = 0)
{
    std::vector<std::string> result;
    for (const std::string &child : childrenOf(process)) {
        if (showsPages(child)) {
            result.push_back(child);
        } else if (depth < deepest) {
            const std::vector<std::string> further = renderersBelow(child, depth + 1);
            result.insert(result.end(), further.begin(), further.end());
        }
    }
    return result;
}

void killLarge(int root, long long mostBytes, std::atomic<int> &kills)
{
    for (const std::string &process : renderersBelow(std::to_string(root))) {
        if (takenMemory(process) <= mostBytes)
            continue;
        // Before its end shows.
        ++kills;
        ::kill(std::stoi(process), SIGKILL);
    }
}
#endif

} // namespace

long long memoryOfTree([[maybe_unused]] int process)
{
#ifdef __linux__
    return memoryOfTree(std::to_string(process), 0);
#else
    return 0;
#endif
}

MemoryWatch::MemoryWatch(int root, int mostMemory) : m_root(root), m_mostMemory(mostMemory)
{
#ifdef __linux__
    m_thread = std::jthread([this](const std::stop_token &end) { keepLooking(end); });
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

void MemoryWatch::keepLooking([[maybe_unused]] const std::stop_token &end)
{
#ifdef __linux__
    std::unique_lock lock(m_mutex);
    while (m_changed.wait(lock, end, [this] { return m_jobs > 0; })) {
        // A job that ends sooner is not looked at.
        if (m_changed.wait_for(lock, end, betweenLooks, [this] { return m_jobs == 0; }) ||
            end.stop_requested())
            continue;
        lock.unlock();
        killLarge(m_root, static_cast<long long>(m_mostMemory) << 20, m_kills);
        lock.lock();
    }
#endif
}

WatchedJob::WatchedJob(MemoryWatch &watch) : m_watch(watch), m_killsBefore(watch.kills())
{
    m_watch.setJobs(1);
}

WatchedJob::~WatchedJob()
{
    m_watch.setJobs(-1);
}

Failure WatchedJob::explained(const Failure &failure, const QString &address) const
{
    if (failure.code() != ExitCode::Crashed || m_watch.kills() == m_killsBefore)
        return failure;
    return {ExitCode::Crashed,
            QStringLiteral("%1: the page takes more than %2 MiB of memory; --max-memory allows more")
                .arg(address)
                .arg(m_watch.m_mostMemory),
            Failure::Retry::IsInVain};
}
