#include "engine/server/browserpool.h"

#include <algorithm>
#include <vector>

using namespace std::chrono_literals;

namespace
{

/// How many jobs lie between two looks at its size.
constexpr int jobsPerLook = 10;
constexpr size_t mostBrowsers = 3;
/// A job that comes within this time after another finds the browser at rest.
constexpr auto betweenJobs = 50ms;
/// Pages that have done their part are closed after this time, and when there are so many of them.
constexpr auto longestRest = 500ms;
constexpr size_t mostDone = 6;
/// In this time a page is made ready, or the browser is taken for dead.
constexpr auto pageMakingTime = 10s;

} // namespace

KeptBrowser::KeptBrowser(const LaunchFlags &flags, size_t spares, const BrowserLimits &limits)
    : m_flags(flags), m_spares(spares), m_limits(limits), m_browser(flags), m_maker([this] { keepReady(); })
{
}

KeptBrowser::~KeptBrowser()
{
    {
        const std::lock_guard lock(m_mutex);
        m_closing = true;
    }
    m_changed.notify_all();
    // What is being made ready in one that hangs would be waited for otherwise.
    m_browser.end();
    m_maker.join();
}

/// Whether something must be done now, though the jobs at hand are the slower for it.
bool KeptBrowser::isUrgent() const
{
    const bool waitsLong = !m_done.empty() && Deadline::Clock::now() - m_lastEnd > longestRest;
    return m_ready.empty() || m_lookDue || m_done.size() >= mostDone || waitsLong;
}

bool KeptBrowser::hasWork() const
{
    return m_ready.size() < m_spares || !m_done.empty();
}

void KeptBrowser::keepReady()
{
    std::unique_lock lock(m_mutex);
    while (!m_closing && !m_failure) {
        const bool isIdle = m_running == 0 && Deadline::Clock::now() - m_lastEnd >= betweenJobs;
        if (isUrgent() || (hasWork() && isIdle))
            doOne(lock);
        else if (!hasWork() || (m_running > 0 && m_done.empty()))
            m_changed.wait(lock);
        else
            m_changed.wait_until(lock, m_lastEnd + (m_running == 0 ? betweenJobs : longestRest));
    }
}

void KeptBrowser::doOne(std::unique_lock<std::mutex> &lock)
{
    if (m_ready.empty() || (!m_lookDue && m_done.empty())) {
        makeOne(lock);
    } else if (m_lookDue) {
        m_lookDue = false;
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

void KeptBrowser::makeOne(std::unique_lock<std::mutex> &lock)
{
    lock.unlock();
    std::unique_ptr<Page> page;
    std::optional<Failure> failure;
    try {
        page = std::make_unique<Page>(m_browser, std::nullopt, Deadline::in(pageMakingTime));
        page->expect(m_flags.javaScript);
    } catch (const Failure &caught) {
        failure = m_browser.explained(caught);
        // The time that has run out is not that of any job.
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

std::unique_ptr<Page> KeptBrowser::takePage(const std::optional<Proxy> &proxy, Deadline deadline)
{
    std::unique_lock lock(m_mutex);
    ++m_running;
    if (proxy) {
        lock.unlock();
        return std::make_unique<Page>(m_browser, proxy, deadline);
    }
    m_changed.wait_until(lock, deadline.time(), [this] { return m_failure || !m_ready.empty(); });
    if (m_ready.empty())
        throw m_failure
            ? Failure(*m_failure)
            : Failure(ExitCode::OutOfTime, QStringLiteral("out of time while starting the browser"));
    std::unique_ptr<Page> page = std::move(m_ready.front());
    m_ready.pop_front();
    m_changed.notify_all();
    return page;
}

bool KeptBrowser::isWornOut() const
{
    const std::lock_guard lock(m_mutex);
    return m_failure || m_distrusted || m_browser.ended() || m_tooLarge || m_jobs >= m_limits.jobs;
}

void KeptBrowser::distrust()
{
    const std::lock_guard lock(m_mutex);
    m_distrusted = true;
}

void KeptBrowser::noteJob(std::unique_ptr<Page> done)
{
    if (done)
        done->rest();
    const std::lock_guard lock(m_mutex);
    if (done)
        m_done.push_back(std::move(done));
    --m_running;
    m_lastEnd = Deadline::Clock::now();
    m_lookDue = ++m_jobs % jobsPerLook == 0 || m_lookDue;
    m_changed.notify_all();
}

std::shared_ptr<KeptBrowser> BrowserPool::browserFor(const LaunchFlags &flags)
{
    // Ended without holding others up: that takes a while.
    std::vector<std::shared_ptr<KeptBrowser>> discarded;
    const std::lock_guard lock(m_mutex);
    const auto wornOut = std::stable_partition(m_browsers.begin(), m_browsers.end(),
                                               [](const auto &browser) { return !browser->isWornOut(); });
    discarded.assign(wornOut, m_browsers.end());
    m_browsers.erase(wornOut, m_browsers.end());
    auto found = std::find_if(m_browsers.begin(), m_browsers.end(),
                              [&](const auto &browser) { return browser->flags() == flags; });
    std::shared_ptr<KeptBrowser> browser =
        found != m_browsers.end() ? *found : std::make_shared<KeptBrowser>(flags, m_spares, m_limits);
    if (found != m_browsers.end())
        m_browsers.erase(found);
    m_browsers.push_back(browser);
    if (m_browsers.size() > mostBrowsers) {
        discarded.push_back(std::move(m_browsers.front()));
        m_browsers.pop_front();
    }
    return browser;
}
