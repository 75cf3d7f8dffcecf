#pragma once

#include "engine/browser/browser.h"
#include "engine/page/page.h"

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>

/// When a browser has done its share.
struct BrowserLimits {
    /// Every browser leaks; after so many jobs a new one takes over.
    int jobs = 200;
    /// In bytes, of all its processes together.
    long long memory = 1500LL << 20;
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
    /// Whether the browser should take no further jobs: it has ended, is distrusted, has served its number of
    /// jobs, or grown too large.
    bool isWornOut() const;
    /// A job has not come to its end in its time, which may be the browser's fault: it may hang.
    void distrust();
    /// To be called after each job, however far it has come. A page that has done its part is closed in its
    /// own time, soon; null if the job has ended another way, and closed its page.
    void noteJob(std::unique_ptr<Page> done = nullptr);

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
    bool m_lookDue = false;
    bool m_tooLarge = false;
    bool m_distrusted = false;
    bool m_closing = false;
    std::thread m_maker;
};

/// The browsers of the server: one for each set of start flags that is asked for, the least used given up for
/// a new one when there are too many. Usable from any thread.
class BrowserPool
{
public:
    explicit BrowserPool(size_t sparesPerBrowser, const BrowserLimits &limits = {})
        : m_spares(sparesPerBrowser), m_limits(limits)
    {
    }

    /// The browser for these flags, started if need be. It lives at least as long as the pointer is held.
    std::shared_ptr<KeptBrowser> browserFor(const LaunchFlags &flags);

private:
    size_t m_spares;
    BrowserLimits m_limits;
    std::mutex m_mutex;
    /// The one used last stands last.
    std::deque<std::shared_ptr<KeptBrowser>> m_browsers;
};
