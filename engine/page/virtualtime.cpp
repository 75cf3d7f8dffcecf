#include "engine/page/virtualtime.h"

using namespace std::chrono_literals;

namespace
{

using namespace Qt::StringLiterals;

/// How many tasks a page may run without its time moving on.
constexpr int maximumTasksAtATime = 10000;
/// How often page time is granted while real time passes. Between grants the page's tasks are held, so each
/// step of a conversation with the browser takes so long.
constexpr auto grantInterval = 4ms;
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
    grant(requests == Requests::HoldTimeUp ? u"pauseIfNetworkFetchesPending"_s : u"advance"_s,
          static_cast<double>(duration.count()));
    const auto passed = [this] { return !m_pending.contains(m_session.id()); };
    m_session.waitUntil([&] { return passed() || orUntil(); }, bound);
    return passed();
}

bool VirtualTime::waitUntil(const std::function<bool()> &condition, Pace pace, Deadline bound)
{
    const double share = pace == Pace::Real ? grantInterval / 1.0ms : stillGrant;
    while (!condition() && !bound.passed()) {
        grant(u"advance"_s, share);
        m_session.waitUntil(condition, Deadline::in(grantInterval).earlier(bound));
    }
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
