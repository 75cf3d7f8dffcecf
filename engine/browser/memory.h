#pragma once

#include "engine/job/failure.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

/// The memory in bytes that a process and all that descend from it hold and do not share; 0 where that cannot
/// be told.
long long memoryOfTree(int process);

/// Kills the processes of a browser that show pages as soon as they take too much memory, swapped out or not.
/// Looks several times a second, while there are jobs; finds nothing where there is no /proc.
class MemoryWatch
{
public:
    /// All processes of the browser descend from `root`; `mostMemory` in MiB.
    MemoryWatch(int root, int mostMemory);
    MemoryWatch(const MemoryWatch &) = delete;
    MemoryWatch &operator=(const MemoryWatch &) = delete;

    /// How many have been killed so far.
    int kills() const { return m_kills; }

private:
    friend class WatchedJob;

    void setJobs(int change);
    void keepLooking(const std::stop_token &end);

    [[maybe_unused]] int m_root;
    int m_mostMemory;
    std::atomic<int> m_kills = 0;
    std::mutex m_mutex;
    std::condition_variable_any m_changed;
    int m_jobs = 0;
    std::jthread m_thread;
};

/// A job for its time in a browser.
class WatchedJob
{
public:
    explicit WatchedJob(MemoryWatch &watch);
    WatchedJob(const WatchedJob &) = delete;
    WatchedJob &operator=(const WatchedJob &) = delete;
    ~WatchedJob();

    /// `failure`, or that the page of this address took too much memory if that is why it crashed.
    Failure explained(const Failure &failure, const QString &address) const;

private:
    MemoryWatch &m_watch;
    int m_killsBefore;
};
