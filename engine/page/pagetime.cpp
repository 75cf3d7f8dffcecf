#include "engine/page/pagetime.h"

namespace
{

using namespace Qt::StringLiterals;

/// How many tasks a page may run without its time moving on.
constexpr int mostTasksAtATime = 10000;

} // namespace

PageTime::PageTime(Session &session) : m_session(session)
{
    session.on(u"Emulation.virtualTimeBudgetExpired"_s,
               [this](const QJsonObject &, const QString &) { m_passed = true; });
}

bool PageTime::pass(std::chrono::milliseconds duration, Requests requests, Deadline bound,
                    const std::function<bool()> &orUntil)
{
    const QString policy =
        requests == Requests::HoldTimeUp ? u"pauseIfNetworkFetchesPending"_s : u"advance"_s;
    m_passed = false;
    m_held = true;
    m_session.post(u"Emulation.setVirtualTimePolicy"_s,
                   {{u"policy"_s, policy},
                    {u"budget"_s, static_cast<double>(duration.count())},
                    {u"maxVirtualTimeTaskStarvationCount"_s, mostTasksAtATime}});
    m_session.waitUntil([&] { return m_passed || orUntil(); }, bound);
    return m_passed;
}

void PageTime::flow(std::chrono::milliseconds duration)
{
    if (!m_held)
        return;
    m_session.post(u"Emulation.setVirtualTimePolicy"_s,
                   {{u"policy"_s, u"advance"_s}, {u"budget"_s, static_cast<double>(duration.count())}});
}
