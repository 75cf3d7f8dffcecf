#pragma once

#include "engine/browser/browser.h"
#include "engine/page/page.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <thread>

/// When a browser is replaced.
struct BrowserLimits {
    /// After so many jobs: every browser leaks.
    int jobs = 200;
    /// In bytes, of all its processes together.
    long long memory = 1500LL << 20;
    /// A browser that makes no page in this time is taken for dead.
    std::chrono::milliseconds pageTimeout = std::chrono::seconds(10);
};

/// A browser that is kept, with blank pages made ready ahead of the jobs that will need them.
class KeptBrowser
{
public:
    /// Starts the browser. `spares` is the number of pages kept ready, 1 or more.
    KeptBrowser(const LaunchFlags &flags, size_t spares, const BrowserLimits &limits = {});
    KeptBrowser(const KeptBrowser &) = delete;
    KeptBrowser &operator=(const KeptBrowser &) = delete;
    ~KeptBrowser();

    const LaunchFlags &flags() const { return m_flags; }
    /// Id of the process that all processes of the browser descend from.
    int guardProcess() const { return m_browser.guardProcess(); }
    Connection &connection() { return m_browser.connection(); }
    MemoryWatch &memory() { return m_browser.memory(); }
    /// A blank page in a fresh context: one made ready, or made now. Throws Failure as Page does, and
    /// Failure(NoBrowser) or Failure(Crashed) when the browser can make none.
    std::unique_ptr<Page> takePage(const std::optional<Proxy> &proxy, Deadline deadline);
    /// Whether the browser should take no further jobs: it has ended, is unresponsive, has done its number of
    /// jobs, or has grown too large.
    bool needsReplacement() const;
    /// Lets the browser take no further jobs: it may hang. For a job that has run out of time, and a page
    /// that cannot be closed.
    void markUnresponsive();
    /// To be called after each job, however it has ended. `done` is the page of a job that has succeeded, and
    /// is closed within half a second; a job that has failed closes its own.
    void finishJob(std::unique_ptr<Page> done = nullptr);

private:
    void keepReady();
    bool isUrgent() const;
    bool hasWork() const;
    void doOne(std::unique_lock<std::mutex> &lock);
    void makeOne(std::unique_lock<std::mutex> &lock);

    LaunchFlags m_flags;
    size_t m_spares;
    BrowserLimits m_limits;
    Browser m_browser;
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::unique_ptr<Page>> m_ready;
    /// To be closed.
    std::deque<std::unique_ptr<Page>> m_done;
    std::optional<Failure> m_failure;
    int m_jobs = 0;
    int m_running = 0;
    Deadline::Clock::time_point m_lastEnd;
    bool m_memoryCheckDue = false;
    bool m_tooLarge = false;
    bool m_unresponsive = false;
    bool m_closing = false;
    std::thread m_maker;
};

/// The browsers of the server: one for each set of start flags that is asked for, the least recently used
/// ended when there are too many. Usable from any thread.
class BrowserPool
{
public:
    using Starter = std::function<std::shared_ptr<KeptBrowser>(const LaunchFlags &flags)>;
    explicit BrowserPool(Starter start) : m_start(std::move(start)) {}

    /// The browser for these flags, started if need be, which holds up only those who want the same. It lives
    /// at least as long as the pointer is held. Throws what the starter throws.
    std::shared_ptr<KeptBrowser> browserFor(const LaunchFlags &flags);

private:
    using Started = std::shared_future<std::shared_ptr<KeptBrowser>>;
    struct Entry {
        LaunchFlags flags;
        Started browser;

        bool needsReplacement() const;
    };

    Starter m_start;
    std::mutex m_mutex;
    /// The most recently used stands last.
    std::deque<Entry> m_browsers;
};
