#include "engine/page/virtualtime.h"

#include <algorithm>
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
/// How often the page is drawn while real time passes.
constexpr auto frameInterval = 50ms;
/// How long workers may take to share the page's time.
constexpr auto joiningTime = 20ms;
/// After so long without its end a share is taken to be lost, as with a document that has gone.
constexpr auto shareTimeout = 1s;
/// Too little for any timer.
constexpr double stillGrant = 0.01;
constexpr double realGrant = std::chrono::duration<double, std::milli>(grantInterval).count();

} // namespace

VirtualTime::VirtualTime(Session &session) : m_session(session), m_compositor(session)
{
    session.on(u"Emulation.virtualTimeBudgetExpired"_s,
               [this](const QJsonObject &, const QString &from) { m_pending.remove(from); });
}

/// Workers and frames of other processes share the page's time only if all are granted the same.
QStringList VirtualTime::members() const
{
    return QStringList{m_session.id()} + m_session.children();
}

bool VirtualTime::isPending(const QString &member) const
{
    const auto since = m_pending.constFind(member);
    return since != m_pending.constEnd() && std::chrono::steady_clock::now() - since.value() < shareTimeout;
}

/// To those whose last share has passed: its end would hold a further one.
void VirtualTime::grant(const QString &policy, double milliseconds)
{
    QJsonObject parameters{{u"policy"_s, policy}};
    if (milliseconds > 0) {
        parameters.insert(u"budget"_s, milliseconds);
        parameters.insert(u"maxVirtualTimeTaskStarvationCount"_s, maximumTasksAtATime);
    }
    m_isReal = false;
    const QStringList all = members();
    for (const QString &member : all) {
        if (isPending(member))
            continue;
        if (member == m_session.id())
            m_now += milliseconds;
        if (milliseconds > 0)
            m_pending.insert(member, std::chrono::steady_clock::now());
        m_session.post(u"Emulation.setVirtualTimePolicy"_s, parameters, member);
    }
}

bool VirtualTime::pass(std::chrono::milliseconds duration, Requests requests, Deadline bound,
                       const std::function<bool()> &orUntil)
{
    const auto anyPending = [this] {
        const QStringList all = members();
        return std::any_of(all.begin(), all.end(), [this](const QString &one) { return isPending(one); });
    };
    // A worker that comes in with a long share holds up the others.
    const int count = static_cast<int>(members().size());
    if (std::exchange(m_members, count) != count || anyPending())
        waitUntil([&] { return !anyPending(); }, Pace::Still, Deadline::in(joiningTime).earlier(bound));
    const QString policy =
        requests == Requests::HoldTimeUp ? u"pauseIfNetworkFetchesPending"_s : u"advance"_s;
    m_isPassing = true;
    const auto passed = [&] { return !isPending(m_session.id()); };
    // The shares end a hundredth of a millisecond apart, and who has come to its end holds up the rest.
    do
        grant(policy, static_cast<double>(duration.count()));
    while (!m_session.waitUntil([&] { return passed() || orUntil(); },
                                Deadline::in(grantInterval).earlier(bound)) &&
           !bound.passed());
    m_isPassing = !passed();
    return passed() || orUntil();
}

void VirtualTime::beginFrame(Compositor::Output output)
{
    m_compositor.draw(output, m_isReal ? std::nullopt : std::optional(m_now));
}

bool VirtualTime::waitUntil(const std::function<bool()> &condition, Pace pace, Deadline bound)
{
    if (std::exchange(m_isPassing, false))
        m_pending.clear();
    const bool isFree = m_isReal && pace == Pace::Real;
    Deadline nextFrame = Deadline::in(frameInterval);
    do {
        if (!isFree)
            grant(u"advance"_s, pace == Pace::Real ? realGrant : stillGrant);
        m_session.waitUntil(condition,
                            isFree ? nextFrame.earlier(bound) : Deadline::in(grantInterval).earlier(bound));
        if (pace == Pace::Real && nextFrame.passed()) {
            beginFrame(Compositor::Output::Shown);
            nextFrame = Deadline::in(frameInterval);
        }
    } while (!condition() && !bound.passed());
    return condition();
}

std::optional<Session::Reply> VirtualTime::ask(const QString &method, const QJsonObject &parameters,
                                               Deadline bound)
{
    const int id = m_session.begin(method, parameters);
    waitUntil([&] { return m_session.hasReplied(id); }, Pace::Real, bound);
    return m_session.replyTo(id, bound);
}

bool VirtualTime::draw(Compositor::Output output, std::chrono::milliseconds patience,
                       const std::function<void()> &meanwhile)
{
    const Deadline bound = Deadline::in(patience);
    const auto awaitFrame = [&] {
        while (m_compositor.isDrawing() && !bound.passed()) {
            if (!m_isReal)
                grant(u"advance"_s, stillGrant);
            m_session.waitUntil([this] { return !m_compositor.isDrawing(); }, Deadline::in(grantInterval));
        }
        return !m_compositor.hasUnfinishedFrame();
    };
    const bool isReady = awaitFrame();
    if (isReady)
        beginFrame(output);
    if (meanwhile)
        meanwhile();
    return isReady && awaitFrame();
}

void VirtualTime::flow(std::chrono::milliseconds duration)
{
    if (!m_isReal)
        grant(u"advance"_s, static_cast<double>(duration.count()));
}

void VirtualTime::hold()
{
    m_pending.clear();
    grant(u"pause"_s, 0);
}
