#include "engine/page/virtualtime.h"

#include <utility>

using namespace std::chrono_literals;

namespace
{

using namespace Qt::StringLiterals;

/// How many tasks a page may run without its time moving on.
constexpr int maximumTasksAtATime = 10000;
/// How often page time is granted while real time passes. Between grants the page's tasks are held, so each
/// step of a conversation with the browser takes so long.
constexpr auto grantInterval = 4ms;
/// How long workers may take to share the page's time.
constexpr auto joiningTime = 20ms;
/// Too little for any timer.
constexpr double stillGrant = 0.01;

} // namespace

VirtualTime::VirtualTime(Session &session) : m_session(session)
{
    session.on(u"Emulation.virtualTimeBudgetExpired"_s,
               [this](const QJsonObject &, const QString &from) { m_pending.remove(from); });
}

/// Workers and frames of other processes share the page's time only if all are granted the same.
void VirtualTime::grant(const QString &policy, double milliseconds)
{
    QJsonObject parameters{{u"policy"_s, policy}};
    if (milliseconds > 0) {
        parameters.insert(u"budget"_s, milliseconds);
        parameters.insert(u"maxVirtualTimeTaskStarvationCount"_s, maximumTasksAtATime);
    }
    m_isReal = false;
    m_pending.clear();
    for (const QString &session : QStringList{m_session.id()} + m_session.children()) {
        m_pending.insert(session);
        m_session.post(u"Emulation.setVirtualTimePolicy"_s, parameters, session);
    }
}

bool VirtualTime::pass(std::chrono::milliseconds duration, Requests requests, Deadline bound,
                       const std::function<bool()> &orUntil)
{
    // A worker that comes in with a long share holds up the others.
    const int members = static_cast<int>(m_session.children().size()) + 1;
    if (m_isReal || std::exchange(m_members, members) != members)
        waitUntil([this] { return m_pending.isEmpty(); }, Pace::Still,
                  Deadline::in(joiningTime).earlier(bound));
    grant(requests == Requests::HoldTimeUp ? u"pauseIfNetworkFetchesPending"_s : u"advance"_s,
          static_cast<double>(duration.count()));
    const auto passed = [this] { return !m_pending.contains(m_session.id()); };
    const auto anyPassed = [&] { return m_pending.size() < members || orUntil(); };
    m_session.waitUntil(anyPassed, bound);
    // The shares end a hundredth of a millisecond apart, and who has come to its end holds up the rest.
    return m_session.waitUntil(passed, Deadline::in(grantInterval).earlier(bound)) || orUntil() ||
           waitUntil([&] { return passed() || orUntil(); }, Pace::Still, bound);
}

bool VirtualTime::waitUntil(const std::function<bool()> &condition, Pace pace, Deadline bound)
{
    if (m_isReal && pace == Pace::Real)
        return m_session.waitUntil(condition, bound);
    const double share = pace == Pace::Real ? grantInterval / 1.0ms : stillGrant;
    do {
        grant(u"advance"_s, share);
        m_session.waitUntil(condition, Deadline::in(grantInterval).earlier(bound));
    } while (!condition() && !bound.passed());
    return condition();
}

std::optional<Session::Reply> VirtualTime::ask(const QString &method, const QJsonObject &parameters,
                                               Deadline bound)
{
    const auto flow = [this] { grant(u"advance"_s, grantInterval / 1.0ms); };
    flow();
    return m_session.askUrgently(method, parameters, grantInterval, flow, bound);
}

void VirtualTime::flow(std::chrono::milliseconds duration)
{
    if (!m_isReal)
        grant(u"advance"_s, static_cast<double>(duration.count()));
}

void VirtualTime::hold()
{
    grant(u"pause"_s, 0);
}
