#pragma once

#include "engine/job/failure.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

/// Unshared memory in bytes of a process and its descendants; 0 where there is no /proc.
long long memoryOfTree(int process);

/// Kills a renderer that uses too much memory (swap included), and the whole browser if another of its
/// processes does, as memory there cannot be attributed to a page. Checks several times a second while there
/// are jobs; does nothing where there is no /proc.
class MemoryWatch
{
public:
    /// All processes of the browser descend from `root`; `maximumMemory` is in MiB, for each process.
    MemoryWatch(int root, int maximumMemory);
    MemoryWatch(const MemoryWatch &) = delete;
    MemoryWatch &operator=(const MemoryWatch &) = delete;

    /// Number of renderers killed so far.
    int rendererKills() const { return m_rendererKills; }
    bool killedBrowser() const { return m_killedBrowser; }

private:
    friend class WatchedJob;

    void setJobs(int change);
    void run(const std::stop_token &stop);
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

/// Counts as a job of a browser while it exists, and tells whether the watch killed that job's renderer.
class WatchedJob
{
public:
    explicit WatchedJob(MemoryWatch &watch);
    WatchedJob(const WatchedJob &) = delete;
    WatchedJob &operator=(const WatchedJob &) = delete;
    ~WatchedJob();

    /// `failure`; if it is a crash that the watch caused, a failure that says that the page at `address`, or
    /// the browser, used too much memory. Where the whole browser was killed a retry may help: other pages
    /// used it.
    Failure withReason(const Failure &failure, const QString &address) const;

private:
    MemoryWatch &m_watch;
    int m_killsBefore;
};
