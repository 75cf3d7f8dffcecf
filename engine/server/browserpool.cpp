#include "engine/server/browserpool.h"

#include <algorithm>
#include <iterator>

using namespace std::chrono_literals;

namespace
{

/// The browser's memory is measured once per this many jobs.
constexpr int jobsPerMemoryCheck = 10;
/// Pages are created and closed only after this time without a job, so as not to slow down jobs in a row.
constexpr auto idleDelay = 50ms;
/// Pages of finished jobs are closed after this time at the latest, or when this many are waiting.
constexpr auto maximumCloseDelay = 500ms;
constexpr size_t maximumDonePages = 6;

} // namespace

PooledBrowser::PooledBrowser(const LaunchFlags &flags, size_t spares, const BrowserLimits &limits)
    : m_flags(flags), m_spares(spares), m_limits(limits), m_browser(flags), m_maker([this] { keepReady(); })
{
}

PooledBrowser::~PooledBrowser()
{
    {
        const std::lock_guard lock(m_mutex);
        m_closing = true;
    }
    m_changed.notify_all();
    // Before join(): the maker may be waiting for a browser that hangs.
    m_browser.end();
    m_maker.join();
}

/// Whether a page must be created now: not while the only job awaits that its page is whole, when each of its
/// many commands would take longer.
bool PooledBrowser::lacksPage() const
{
    return m_ready.empty() && (m_running == 0 || m_settling < m_running);
}

/// Whether there is work that must not wait for running jobs to finish.
bool PooledBrowser::isUrgent() const
{
    const bool isOverdue = !m_done.empty() && Deadline::Clock::now() - m_lastEnd > maximumCloseDelay;
    return lacksPage() || m_memoryCheckDue || m_done.size() >= maximumDonePages || isOverdue;
}

bool PooledBrowser::hasWork() const
{
    return m_ready.size() < m_spares || !m_done.empty();
}

void PooledBrowser::keepReady()
{
    std::unique_lock lock(m_mutex);
    while (!m_closing && !m_failure) {
        const bool isIdle = m_running == 0 && Deadline::Clock::now() - m_lastEnd >= idleDelay;
        if (isUrgent() || (hasWork() && isIdle))
            doOne(lock);
        else if (!hasWork() || (m_running > 0 && m_done.empty()))
            m_changed.wait(lock);
        else
            m_changed.wait_until(lock, m_lastEnd + (m_running == 0 ? idleDelay : maximumCloseDelay));
    }
}

void PooledBrowser::doOne(std::unique_lock<std::mutex> &lock)
{
    if (lacksPage() || (!m_memoryCheckDue && m_done.empty())) {
        makeOne(lock);
    } else if (m_memoryCheckDue) {
        m_memoryCheckDue = false;
        lock.unlock();
        const bool tooLarge = memoryOfTree(guardProcess()) > m_limits.memory;
        lock.lock();
        m_tooLarge = tooLarge;
    } else {
        const std::unique_ptr<Page> page = std::move(m_done.front());
        m_done.pop_front();
        lock.unlock();
        page->close();
        lock.lock();
    }
}

void PooledBrowser::makeOne(std::unique_lock<std::mutex> &lock)
{
    lock.unlock();
    std::unique_ptr<Page> page;
    std::optional<Failure> failure;
    try {
        page = std::make_unique<Page>(m_browser, std::nullopt, Deadline::in(m_limits.pageTimeout));
        page->expect(m_flags.javaScript);
    } catch (const Failure &caught) {
        failure = m_browser.withReason(caught);
        // This timeout is pageTimeout, not that of a job.
        if (failure->code() == ExitCode::OutOfTime)
            failure = Failure(ExitCode::Crashed, failure->message());
    } catch (const std::exception &caught) {
        failure = Failure(ExitCode::Crashed, QString::fromUtf8(caught.what()));
    }
    lock.lock();
    if (page)
        m_ready.push_back(std::move(page));
    m_failure = failure;
    m_changed.notify_all();
}

std::unique_ptr<Page> PooledBrowser::takePage(const std::optional<Proxy> &proxy, Deadline deadline)
{
    std::unique_lock lock(m_mutex);
    ++m_running;
    if (proxy) {
        ++m_settling;
        lock.unlock();
        return std::make_unique<Page>(m_browser, proxy, deadline);
    }
    m_changed.notify_all();
    m_changed.wait_until(lock, deadline.time(), [this] { return m_failure || !m_ready.empty(); });
    if (m_ready.empty())
        throw m_failure
            ? Failure(*m_failure)
            : Failure(ExitCode::OutOfTime, QStringLiteral("out of time while starting the browser"));
    std::unique_ptr<Page> page = std::move(m_ready.front());
    m_ready.pop_front();
    ++m_settling;
    m_changed.notify_all();
    return page;
}

void PooledBrowser::notePrinting()
{
    const std::lock_guard lock(m_mutex);
    --m_settling;
    m_changed.notify_all();
}

bool PooledBrowser::needsReplacement() const
{
    const std::lock_guard lock(m_mutex);
    return m_failure || m_unresponsive || m_browser.ended() || m_tooLarge || m_jobs >= m_limits.jobs;
}

void PooledBrowser::markUnresponsive()
{
    const std::lock_guard lock(m_mutex);
    m_unresponsive = true;
}

void PooledBrowser::finishJob(std::unique_ptr<Page> done)
{
    if (done)
        done->rest();
    const std::lock_guard lock(m_mutex);
    if (done)
        m_done.push_back(std::move(done));
    --m_running;
    m_settling = std::min(m_settling, m_running);
    m_lastEnd = Deadline::Clock::now();
    m_memoryCheckDue = ++m_jobs % jobsPerMemoryCheck == 0 || m_memoryCheckDue;
    m_changed.notify_all();
}

/// Removes those that get no further jobs. They are destroyed without holding the lock, which takes long.
std::deque<BrowserPool::Idle> BrowserPool::unusable()
{
    std::deque<Idle> removed;
    const auto isUsable = [](const Idle &idle) {
        return !idle.end.passed() && !idle.browser->needsReplacement();
    };
    const auto first = std::stable_partition(m_idle.begin(), m_idle.end(), isUsable);
    std::move(first, m_idle.end(), std::back_inserter(removed));
    m_idle.erase(first, m_idle.end());
    while (m_idle.size() > m_limits.count) {
        removed.push_back(std::move(m_idle.front()));
        m_idle.pop_front();
    }
    return removed;
}

std::shared_ptr<PooledBrowser> BrowserPool::take(const LaunchFlags &flags)
{
    std::deque<Idle> removed;
    std::shared_ptr<PooledBrowser> browser;
    std::unique_lock lock(m_mutex);
    removed = unusable();
    const auto found = std::find_if(m_idle.rbegin(), m_idle.rend(),
                                    [&](const Idle &idle) { return idle.browser->flags() == flags; });
    if (found != m_idle.rend()) {
        browser = std::move(found->browser);
        m_idle.erase(std::next(found).base());
    }
    lock.unlock();
    if (!browser)
        browser = m_start(flags);
    PooledBrowser *const lent = browser.get();
    return {lent, [this, browser](PooledBrowser *) { giveBack(browser); }};
}

void BrowserPool::giveBack(const std::shared_ptr<PooledBrowser> &browser)
{
    std::deque<Idle> removed;
    const std::lock_guard lock(m_mutex);
    m_idle.push_back({browser, Deadline::in(m_limits.time)});
    removed = unusable();
}
