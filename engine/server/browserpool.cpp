#include "engine/server/browserpool.h"

#include <algorithm>
#include <fstream>
#include <string>
#include <unistd.h>

using namespace std::chrono_literals;

namespace
{

/// Every browser leaks; after so many jobs a new one takes over.
constexpr int jobsPerBrowser = 200;
/// How many jobs lie between two looks at its size.
constexpr int jobsPerLook = 10;
constexpr long long largestBrowser = 1500LL << 20; // bytes, all its processes together
constexpr size_t mostBrowsers = 3;
/// In this time a page is made ready, or the browser is taken for dead.
constexpr auto pageMakingTime = 20s;

#ifdef __linux__
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

long long memoryOfTree(const std::string &process, int depth = 0)
{
    constexpr int deepest = 16;
    long long bytes = ownMemory(process);
    std::ifstream children("/proc/" + process + "/task/" + process + "/children");
    for (std::string child; depth < deepest && children >> child;)
        bytes += memoryOfTree(child, depth + 1);
    return bytes;
}
#else
long long memoryOfTree(const std::string &)
{
    return 0;
}
#endif

} // namespace

KeptBrowser::KeptBrowser(const LaunchFlags &flags, size_t spares)
    : m_flags(flags), m_spares(spares), m_browser(flags), m_maker([this] { keepReady(); })
{
}

KeptBrowser::~KeptBrowser()
{
    {
        const std::lock_guard lock(m_mutex);
        m_closing = true;
    }
    m_changed.notify_all();
    m_maker.join();
}

void KeptBrowser::keepReady()
{
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [this] { return m_closing || m_ready.size() < m_spares; });
        if (m_closing)
            return;
        lock.unlock();
        std::unique_ptr<Page> page;
        std::optional<Failure> failure;
        try {
            page = std::make_unique<Page>(connection(), std::nullopt, Deadline::in(pageMakingTime));
        } catch (const Failure &caught) {
            failure = m_browser.explained(caught);
        }
        lock.lock();
        if (page)
            m_ready.push_back(std::move(page));
        m_failure = failure;
        m_changed.notify_all();
        if (failure)
            return;
    }
}

std::unique_ptr<Page> KeptBrowser::takePage(const std::optional<Proxy> &proxy, Deadline deadline)
{
    if (proxy)
        return std::make_unique<Page>(connection(), proxy, deadline);
    std::unique_lock lock(m_mutex);
    m_changed.wait_until(lock, deadline.time(), [this] { return m_failure || !m_ready.empty(); });
    if (m_ready.empty())
        throw m_failure ? Failure(*m_failure) : Failure(ExitCode::OutOfTime, QStringLiteral("out of time"));
    std::unique_ptr<Page> page = std::move(m_ready.front());
    m_ready.pop_front();
    m_changed.notify_all();
    return page;
}

bool KeptBrowser::isWornOut() const
{
    const std::lock_guard lock(m_mutex);
    return m_failure || m_browser.ended() || m_tooLarge || m_jobs >= jobsPerBrowser;
}

void KeptBrowser::noteJob()
{
    const std::lock_guard lock(m_mutex);
    if (++m_jobs % jobsPerLook == 0)
        m_tooLarge = memoryOfTree(std::to_string(m_browser.guardProcess())) > largestBrowser;
}

std::shared_ptr<KeptBrowser> BrowserPool::browserFor(const LaunchFlags &flags)
{
    const std::lock_guard lock(m_mutex);
    std::erase_if(m_browsers, [](const auto &browser) { return browser->isWornOut(); });
    auto found = std::find_if(m_browsers.begin(), m_browsers.end(),
                              [&](const auto &browser) { return browser->flags() == flags; });
    std::shared_ptr<KeptBrowser> browser =
        found != m_browsers.end() ? *found : std::make_shared<KeptBrowser>(flags, m_spares);
    if (found != m_browsers.end())
        m_browsers.erase(found);
    m_browsers.push_back(browser);
    if (m_browsers.size() > mostBrowsers)
        m_browsers.pop_front();
    return browser;
}
