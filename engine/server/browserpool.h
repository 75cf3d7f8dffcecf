#pragma once

#include "engine/browser/browser.h"
#include "engine/page/page.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

/// When a browser is replaced.
struct BrowserLimits {
    /// After this many jobs, because browsers leak memory.
    int jobs = 200;
    /// In bytes, of all its processes together.
    long long memory = 1500LL << 20;
    /// When it has not created a page within this time.
    std::chrono::milliseconds pageTimeout = std::chrono::seconds(10);
};

/// A browser that serves one job after another, with blank pages created in advance.
class PooledBrowser
{
public:
    /// Starts the browser. `spares` is the number of blank pages to keep ready, at least 1.
    PooledBrowser(const LaunchFlags &flags, size_t spares, const BrowserLimits &limits = {});
    PooledBrowser(const PooledBrowser &) = delete;
    PooledBrowser &operator=(const PooledBrowser &) = delete;
    ~PooledBrowser();

    const LaunchFlags &flags() const { return m_flags; }
    /// The guard's process id; all processes of the browser descend from it.
    int guardProcess() const { return m_browser.guardProcess(); }
    Connection &connection() { return m_browser.connection(); }
    MemoryWatch &memory() { return m_browser.memory(); }
    /// A blank page in a new browser context: one created in advance, or with a proxy a new one. Throws
    /// Failure as Page does, and Failure(NoBrowser) or Failure(Crashed) if the browser cannot create pages.
    std::unique_ptr<Page> takePage(const std::optional<Proxy> &proxy, Deadline deadline);
    /// To be called when the page of a job is whole: the next is created while it is printed.
    void notePrinting();
    /// Whether the browser must get no further jobs: it has ended, is unresponsive, or has reached one of its
    /// limits.
    bool needsReplacement() const;
    /// Gives the browser no further jobs because it may hang: a job has timed out, or a page cannot be closed
    /// or is still being drawn.
    void markUnresponsive();
    /// To be called after each takePage(), also if that or the job failed. `done` is the page of a successful
    /// job, which is closed within half a second; a failed job closes its own page.
    void finishJob(std::unique_ptr<Page> done = nullptr);

private:
    void keepReady();
    bool lacksPage() const;
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
    int m_settling = 0; ///< of these, whose page is not whole yet
    Deadline::Clock::time_point m_lastEnd;
    bool m_memoryCheckDue = false;
    bool m_tooLarge = false;
    bool m_unresponsive = false;
    bool m_closing = false;
    std::thread m_maker;
};

/// The server's browsers, each for one job at a time, because the frames of two pages must not overlap
/// (page/compositor.h). Usable from any thread.
class BrowserPool
{
public:
    using Starter = std::function<std::shared_ptr<PooledBrowser>(const LaunchFlags &flags)>;
    /// When browsers without a job end: those unused for longest if there are more than `count`, and
    /// whichever has had none for `time`, which is looked at with each job.
    struct IdleLimits {
        size_t count = 3;
        std::chrono::milliseconds time = std::chrono::seconds(30);
    };
    explicit BrowserPool(Starter start) : BrowserPool(std::move(start), IdleLimits()) {}
    BrowserPool(Starter start, IdleLimits limits) : m_start(std::move(start)), m_limits(limits) {}

    /// A browser with these flags, the one used last or, if none is free, a new one. It is the caller's alone
    /// until the pointer, which must not outlive the pool, is gone. Throws what the starter throws.
    std::shared_ptr<PooledBrowser> take(const LaunchFlags &flags);

private:
    struct Idle {
        std::shared_ptr<PooledBrowser> browser;
        Deadline end;
    };

    void giveBack(const std::shared_ptr<PooledBrowser> &browser);
    std::deque<Idle> unusable();

    Starter m_start;
    IdleLimits m_limits;
    std::mutex m_mutex;
    /// The one used last is last.
    std::deque<Idle> m_idle;
};
