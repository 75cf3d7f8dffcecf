#pragma once

#include "engine/job/failure.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

/// The memory in bytes that a process and all that descend from it hold and do not share; 0 where that cannot
/// be told.
long long memoryOfTree(int process);

/// Keeps pages from taking too much memory, swapped out or not: kills a renderer that does, and the whole
/// browser if another of its processes does, since what pages keep there cannot be told apart. Checks several
/// times a second while there are jobs; finds nothing where there is no /proc.
class MemoryWatch
{
public:
    /// All processes of the browser descend from `root`; `maximumMemory` in MiB, for each process.
    MemoryWatch(int root, int maximumMemory);
    MemoryWatch(const MemoryWatch &) = delete;
    MemoryWatch &operator=(const MemoryWatch &) = delete;

    /// How many renderers have been killed so far.
    int rendererKills() const { return m_rendererKills; }
    bool killedBrowser() const { return m_killedBrowser; }

private:
    friend class WatchedJob;

    void setJobs(int change);
    void keepLooking(const std::stop_token &end);
    void killLarge();

    [[maybe_unused]] int m_root;
    int m_maximumMemory;
    std::atomic<int> m_rendererKills = 0;
    std::atomic<bool> m_killedBrowser = false;
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

    /// `failure`, or that the page of this address, or the browser with it, took too much memory if that is
    /// why it crashed. A page that crashed the browser with others in it may do better in one of its own.
    Failure withReason(const Failure &failure, const QString &address) const;

private:
    MemoryWatch &m_watch;
    int m_killsBefore;
};
