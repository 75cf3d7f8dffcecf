#include "engine/page/readiness.h"

#include "engine/page/frames.h"
#include "engine/page/waits.h"

#include <algorithm>
#include <utility>

using namespace std::chrono_literals;

namespace
{

using namespace Qt::StringLiterals;

/// How much of the page's own time is let pass after something has come in late.
constexpr auto furtherPageTime = 1s;
/// How long a page that had to be stopped may take to be made ready for paper.
constexpr auto preparingTime = 2s;
/// How long a page may compute while its time passes; animations without end are cut short here.
constexpr std::chrono::milliseconds computingTime = 3s;
/// After requests have ended: the time in which further ones are expected.
constexpr auto quietTime = 100ms;
/// How long is waited for what goes on for the page elsewhere.
constexpr auto workTime = 3s;
/// How long a page may take to draw itself, where that is waited for.
constexpr auto frameTime = 1s;
/// In CSS pixels.
constexpr double tallestViewport = 50000;

} // namespace

Readiness::Readiness(Session &session, const QString &mainFrame, const PageEvents &events, PageTime &time,
                     Preparation &preparation)
    : m_session(session), m_mainFrame(mainFrame), m_events(events), m_time(time), m_preparation(preparation)
{
}

void Readiness::awaitLoadEvent(Deadline bound)
{
    m_session.waitUntil([this] { return m_events.isLoaded(); }, bound);
}

void Readiness::awaitWhole(const Job &job, Deadline bound)
{
    m_bound = bound;
    awaitLoadEvent(bound);
    settle(job);
    if (bound.passed())
        takeAsItIs(job);
}

void Readiness::settle(const Job &job)
{
    m_session.post(u"Emulation.setEmulatedMedia"_s, {{u"media"_s, u"print"_s}});
    // What comes in at the end of a round may be built into the page in the next; but a page that goes on for
    // ever is not followed for ever.
    int rounds = 0;
    bool cameLate = false;
    int heardWork = 0;
    int drawings = 0;
    bool isShownWhole = false;
    while (rounds < mostRounds && !m_bound.passed()) {
        const QString document = m_events.document();
        const int before = m_events.count();
        const Preparation::Findings now = prepare(job);
        const bool awaitsWork = now.awaitsWork && m_workEnds;
        // Page time has run on while it was done.
        cameLate = cameLate || now.heardWork != heardWork;
        const bool awaitsDrawing = now.awaitedDrawings != drawings;
        if (rounds > 0 && !now.changed && !awaitsWork && !cameLate && !awaitsDrawing)
            return;
        if (!now.changed && !now.livesOn && !awaitsWork && !m_events.hasSuccessor() && m_events.isIdle())
            return;
        if (now.animated || awaitsDrawing)
            awaitFrame();
        drawings = now.awaitedDrawings;
        // Before any time is passed, because a worker that is starting would hold it up.
        heardWork = awaitsWork ? awaitWork(job).heardWork : now.heardWork;
        letTimePass(rounds == 0 ? pageTime : furtherPageTime);
        const int atEndOfTime = m_events.count();
        awaitRequests();
        cameLate = m_events.count() != atEndOfTime;
        if (now.watchesScrolling && !std::exchange(isShownWhole, true))
            showWhole();
        if (!m_events.isLoaded())
            awaitLoadEvent(m_bound);
        if (!now.changed && !now.hasScripts && m_events.count() == before)
            return;
        ++rounds;
        if (document != m_events.document()) {
            rounds = heardWork = drawings = 0;
            isShownWhole = false;
        }
    }
}

Preparation::Findings Readiness::prepare(const Job &job)
{
    return m_preparation.prepare(job, m_bound).value_or(Preparation::Findings());
}

/// What is there is printed, also when a script never ends or a server never finishes its answer.
void Readiness::takeAsItIs(const Job &job)
{
    m_session.post(u"Page.stopLoading"_s);
    // What is stopped may be followed by the next that never ends.
    for (int attempt = 0; attempt < mostRounds; ++attempt) {
        m_session.post(u"Runtime.terminateExecution"_s);
        if (m_preparation.prepare(job, Deadline::in(preparingTime)))
            return;
    }
}

/// The page's time passes in one go: timers and animations run as fast as they can be computed, except while
/// requests are under way.
void Readiness::letTimePass(std::chrono::milliseconds duration)
{
    const Deadline bound = Deadline::in(computingTime).earlier(m_bound);
    const bool passed = m_time.pass(duration, PageTime::Requests::HoldTimeUp, bound,
                                    [this] { return !m_events.isLoaded() || m_events.isHeldUp(); });
    // Requests made to last, or slow ones, do not hold the time up for ever.
    if (!passed && m_events.isLoaded())
        m_time.pass(std::min(duration, computingTime), PageTime::Requests::LetTimePass,
                    Deadline::in(computingTime).earlier(m_bound), [this] { return !m_events.isLoaded(); });
}

/// Waits until nothing is under way, and nothing further begins for a while.
void Readiness::awaitRequests()
{
    const auto quiet = [this] { return m_events.isQuiet(); };
    while (!quiet() && !m_bound.passed()) {
        const auto noMore = [&] { return !m_events.isLoaded() || quiet(); };
        const bool passed = m_time.pass(quietTime, PageTime::Requests::HoldTimeUp,
                                        Deadline::in(quietTime).earlier(m_bound), noMore);
        // With the page's time standing still, its requests would not be told of their ends, nor would
        // anything else in it go on. While there are any, that time keeps to the real one.
        if (!passed && !noMore())
            m_time.pass(quietTime, PageTime::Requests::LetTimePass,
                        Deadline::in(computingTime).earlier(m_bound), noMore);
        else if (!quiet())
            m_session.waitUntil(quiet, Deadline::in(quietTime).earlier(m_bound));
        if (quiet())
            m_session.waitUntil([&] { return !quiet(); }, Deadline::in(quietTime).earlier(m_bound));
    }
}

/// Workers and the browser have a time of their own, which does not pass any faster.
Preparation::Findings Readiness::awaitWork(const Job &job)
{
    const Deadline bound = Deadline::in(workTime).earlier(m_bound);
    Preparation::Findings now;
    while (!bound.passed()) {
        m_time.flow(flowInterval);
        m_session.waitUntil([] { return false; }, Deadline::in(flowInterval));
        now = prepare(job);
        if (!now.awaitsWork)
            return now;
    }
    // It may be waiting for the answer to a request.
    m_workEnds = !m_events.isQuiet();
    return now;
}

/// Waits until the page has been drawn anew, which is when it learns what is in view and what has been
/// animated.
void Readiness::awaitFrame()
{
    const Deadline bound = Deadline::in(frameTime).earlier(m_bound);
    const std::optional<QJsonValue> context = engineContext(m_session, m_mainFrame, bound);
    if (!context)
        return;
    m_time.flow(flowInterval);
    m_session.askUrgently(
        u"Runtime.evaluate"_s,
        {{u"expression"_s,
          u"new Promise(done => requestAnimationFrame(() => requestAnimationFrame(done)))"_s},
         {u"contextId"_s, *context},
         {u"awaitPromise"_s, true}},
        flowInterval, [this] { m_time.flow(flowInterval); }, bound);
}

/// For pages that fill in their parts when these come into view.
void Readiness::showWhole()
{
    const auto metrics = m_session.ask(u"Page.getLayoutMetrics"_s, {}, m_bound);
    if (!metrics)
        return;
    const QSize usual = m_preparation.viewport();
    const double height = metrics->result["cssContentSize"_L1].toObject()["height"_L1].toDouble();
    m_preparation.setViewport(QSizeF(usual.width(), std::clamp(height, 1.0, tallestViewport)));
    awaitFrame();
    letTimePass(furtherPageTime);
    awaitRequests();
    m_preparation.setViewport(usual);
}
