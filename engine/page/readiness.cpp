#include "engine/page/readiness.h"

#include "engine/page/frames.h"
#include "engine/page/scripts.h"

#include <QJsonArray>

#include <algorithm>
#include <utility>

using namespace std::chrono_literals;

namespace
{

using namespace Qt::StringLiterals;

/// How much of the page's own time is let pass after its load event, for timers, animations and delayed
/// redirects; how much more after it has done something late, and how much more in all.
constexpr std::chrono::milliseconds pageTime = 5s;
constexpr std::chrono::milliseconds furtherTime = 1s;
constexpr std::chrono::milliseconds maximumFurtherTime = 10s;
/// What a timer has asked the browser for comes before whatever was to end the wait for it only if that is in
/// another step. Each in which nothing is done is followed by one twice as long.
constexpr std::chrono::milliseconds firstTimeStep = 250ms;
constexpr std::chrono::milliseconds longestTimeStep = 1s;
/// After a frame in which scripts have run, as those of observers do, the next is drawn in so much of the
/// page's time, as often as this.
constexpr std::chrono::milliseconds frameStep = 20ms;
constexpr int maximumFrameSteps = 200;
/// How long a page may compute while its time passes.
constexpr auto computingTime = 3s;
/// How long a look takes: so many questions and answers between the page and the browser, at least so long.
constexpr int lookAnswers = 8;
constexpr std::chrono::milliseconds lookTime = 5ms;
/// In so much time a browser that draws by itself draws twice.
constexpr std::chrono::milliseconds ownFrames = 40ms;
/// After the page has worked: how long a browser that works is taken to work for it: so many questions and
/// answers, at least so long.
constexpr int servingAnswers = 40;
constexpr std::chrono::milliseconds servingTime = 300ms;
/// How long a frame is waited for: so many questions and answers, at least so long.
constexpr int drawingAnswers = 40;
constexpr std::chrono::milliseconds drawingTime = 200ms;
/// How long a page loads before it is drawn: hardly any needs that before its load event.
constexpr auto undrawnTime = 1s;
/// How often sockets and event streams are looked at.
constexpr auto channelInterval = 50ms;
/// After requests have ended: the time in which further ones are expected.
constexpr auto quietTime = 30ms;
/// How often a page is shown that works after it has been shown, and one that has grown since.
constexpr int maximumShows = 2;
constexpr int maximumGrowths = 10;
/// How often a page that goes on changing is prepared for paper.
constexpr int maximumPreparations = 6;
/// How long a page that is on its way to another document is waited for.
constexpr auto arrivalTime = 1s;
/// How long a page that had to be stopped may take to be made ready for paper, and how often it is stopped.
constexpr auto preparingTime = 2s;
constexpr int maximumStops = 4;

} // namespace

Readiness::Readiness(Session &session, const QString &mainFrame, const PageEvents &events, VirtualTime &time,
                     Preparation &preparation, ThreadWatch threads)
    : m_session(session), m_mainFrame(mainFrame), m_events(events), m_time(time), m_preparation(preparation),
      m_threads(std::move(threads))
{
}

void Readiness::awaitLoadEvent(Deadline bound)
{
    const auto isLoaded = [this] { return m_events.isLoaded(); };
    if (!m_session.waitUntil(isLoaded, Deadline::in(undrawnTime).earlier(bound)))
        m_time.waitUntil(isLoaded, VirtualTime::Pace::Real, bound);
}

void Readiness::awaitWhole(const Job &job, Deadline bound)
{
    m_bound = bound;
    m_unfinished.clear();
    beginDocument();
    for (;;) {
        if (m_document != m_events.document())
            beginDocument();
        const Step step = nextStep(facts());
        if (step == Step::Print) {
            noteUnfinished();
            break;
        }
        carryOut(step, job);
        if (step == Step::GiveUp)
            break;
    }
}

void Readiness::beginDocument()
{
    m_document = m_events.document();
    m_time.beginDocument();
    m_facts = {};
    m_facts.pageTimeLeft = pageTime;
    m_lastWork = {};
    m_timeStep = firstTimeStep;
    m_furtherTime = maximumFurtherTime;
    m_isLate = false;
    m_frameSteps = 0;
    m_shows = 0;
    m_growths = 0;
    m_grows = false;
    m_isTooLong = false;
    m_preparations = 0;
    m_shownHeight = 0;
    m_workingSince = std::nullopt;
    m_lastWorked = std::chrono::steady_clock::now();
    m_lookBegin = std::nullopt;
    m_isDrawn = false;
    m_isStill = false;
}

PageFacts Readiness::facts()
{
    PageFacts facts = m_facts;
    facts.patienceIsOver = m_bound.passed();
    facts.isLoaded = m_events.isLoaded();
    facts.requests = m_events.requests();
    facts.leadsOn = m_events.leadsOn();
    facts.asksForPrint = m_events.asksForPrint();
    facts.channelWait = m_events.channelWait();
    facts.isTimeReal = m_time.isReal();
    if (m_workingSince)
        facts.workTime = std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now() - *m_workingSince);
    return facts;
}

void Readiness::carryOut(Step step, const Job &job)
{
    switch (step) {
    case Step::AwaitLoad:
        return awaitLoadEvent(m_bound);
    case Step::Prepare:
        return prepare(job);
    case Step::AwaitRequests:
        return awaitRequests();
    case Step::Look:
        return look();
    case Step::PassTime:
        return passTime();
    case Step::Show:
        return show();
    case Step::AwaitChannels:
        m_time.waitUntil([] { return false; }, VirtualTime::Pace::Real,
                         Deadline::in(channelInterval).earlier(m_bound));
        noteWork();
        return;
    case Step::GiveUp:
        return giveUp(job);
    case Step::Print:
        return;
    }
}

Readiness::WorkAsked Readiness::askForWork()
{
    WorkAsked asked;
    for (const QString &session : m_session.family())
        asked.replies[session] = m_session.begin(u"Performance.getMetrics"_s, {}, session);
    asked.events = m_events.count();
    return asked;
}

/// Of the renderers of all its frames; nothing if the page does not answer in time.
std::optional<Readiness::Work> Readiness::workFrom(const WorkAsked &asked)
{
    Work sum;
    sum.events = asked.events;
    for (const auto &[session, id] : asked.replies) {
        const auto reply = m_session.replyTo(id, m_bound);
        if (!reply)
            return std::nullopt;
        const QJsonArray metrics = reply->result["metrics"_L1].toArray();
        for (const auto &metric : metrics) {
            const QString name = metric["name"_L1].toString();
            const double value = metric["value"_L1].toDouble();
            if (name == "ScriptDuration"_L1)
                sum.scripts += value;
            else if (name == "ThreadTime"_L1)
                sum.mainThreadTimes[session.toStdString()] = value;
            else if (name == "Timestamp"_L1 && session == m_session.id())
                sum.time = value;
            else if (name == "JSEventListeners"_L1)
                sum.listeners += value;
            else if (name == "LayoutCount"_L1 || name == "RecalcStyleCount"_L1)
                sum.layouts += value;
        }
    }
    return sum;
}

/// Whether something has been done for the page since this was asked last.
bool Readiness::noteWork()
{
    const auto begin = std::chrono::steady_clock::now();
    const bool any = noteWork(askForWork());
    const auto taken = std::chrono::steady_clock::now() - begin;
    // On a busy machine answers take very different times: the slowest counts for a while.
    m_answerTime =
        std::max(std::chrono::duration_cast<std::chrono::microseconds>(taken), m_answerTime * 3 / 4);
    return any;
}

bool Readiness::noteWork(const WorkAsked &asked)
{
    const std::optional<Work> now = workFrom(asked);
    if (!now)
        return false;
    const bool any = now->scripts != m_lastWork.scripts || now->events != m_lastWork.events;
    m_facts.hasRunScripts = m_facts.hasRunScripts || now->scripts > 0;
    // What preparing the page has changed shows in the first figures after it.
    m_hasWorked = m_hasWorked || (any && m_preparedLayouts);
    if (!m_preparedLayouts && !any)
        m_preparedLayouts = now->layouts;
    m_facts.hasChanged =
        (m_hasWorked || m_preparedLayouts != now->layouts) && m_preparations < maximumPreparations;
    m_isDrawn = m_isDrawn && !any;
    m_isStill = m_isStill && !any;
    m_lastWork = *now;
    m_time.noteTime(now->time);
    return any;
}

/// The page has done something late, which may be followed by more.
void Readiness::noteChange()
{
    m_facts.quietLooks = 0;
    m_lookBegin = std::nullopt;
    m_grows = m_grows || m_growths >= maximumGrowths;
    m_facts.isShown = m_shows >= maximumShows || m_growths >= maximumGrowths;
}

std::chrono::milliseconds Readiness::answers(int count) const
{
    return std::chrono::ceil<std::chrono::milliseconds>(count * m_answerTime);
}

std::chrono::milliseconds Readiness::lookLength() const
{
    return std::max(m_time.compositor().drawsItself() ? ownFrames : lookTime, answers(lookAnswers));
}

void Readiness::beginLook()
{
    m_lookBegin = std::chrono::steady_clock::now();
    m_threads.sinceLast({});
}

void Readiness::look()
{
    if (!m_workingSince)
        m_workingSince = std::chrono::steady_clock::now();
    if (!m_lookBegin || m_time.compositor().drawsItself())
        beginLook();
    if (m_time.isReal())
        draw(Compositor::Output::Shown);
    m_time.waitUntil([] { return false; },
                     m_time.isReal() ? VirtualTime::Pace::Real : VirtualTime::Pace::Still,
                     Deadline::after(*m_lookBegin, lookLength()).earlier(m_bound));
    const bool hasWorked = noteWork();
    const auto now = std::chrono::steady_clock::now();
    const ThreadWatch::Work threads = m_threads.sinceLast(m_lastWork.mainThreadTimes);
    m_facts.hasBusyWorkers = m_events.hasWorkers() && threads.ofPage;
    if (!hasWorked) {
        // The next look begins.
        m_lookBegin = now;
        // What serves all pages may be busy for others.
        const auto serving = std::max(servingTime, answers(servingAnswers));
        if (threads.ofPage || (threads.ofServices && now - m_lastWorked < serving))
            return;
        ++m_facts.quietLooks;
        m_workingSince = std::nullopt;
        return;
    }
    m_lastWorked = now;
    noteChange();
    // What it has awaited from elsewhere may be followed by timers.
    addTime();
    m_timeStep = firstTimeStep;
}

/// The page has done something late: it gets more of its time, in which it may do the next thing.
void Readiness::addTime()
{
    m_isLate = true;
    const auto added = std::min(furtherTime - std::min(furtherTime, m_facts.pageTimeLeft), m_furtherTime);
    m_facts.pageTimeLeft += added;
    m_furtherTime -= added;
}

void Readiness::prepare(const Job &job)
{
    const bool isFirst = !std::exchange(m_facts.isPrepared, true);
    m_lookBegin = std::nullopt;
    WorkAsked before;
    if (isFirst) {
        m_session.post(u"Emulation.setEmulatedMedia"_s,
                       {{u"media"_s, job.screenMedia ? u"screen"_s : u"print"_s}});
        before = askForWork();
    }
    const auto findings = m_preparation.prepare(job, m_bound);
    if (isFirst) {
        noteWork(before);
        // Among them are attributes such as onanimationend.
        m_facts.hasRunScripts = m_facts.hasRunScripts || m_lastWork.listeners > 0;
    }
    m_facts.hasBegunLoading = findings && findings->changed;
    // What goes by the media is told with a frame, for which the page asks in this one; and so is the end of
    // animations that have been finished.
    if (m_facts.hasBegunLoading || (isFirst && m_facts.hasRunScripts))
        draw(Compositor::Output::Discarded, [this] { beginLook(); });
    if (!isFirst && m_facts.hasBegunLoading)
        m_facts.quietLooks = 0;
    m_facts.hasChanged = false;
    m_preparedLayouts = std::nullopt;
    // The end of an animation may be followed by the next.
    m_hasWorked = !isFirst && m_facts.hasBegunLoading;
    ++m_preparations;
}

bool Readiness::draw(Compositor::Output output, const std::function<void()> &meanwhile)
{
    const bool isDrawn = m_time.draw(output, std::max(drawingTime, answers(drawingAnswers)), meanwhile);
    m_isDrawn = isDrawn && output == Compositor::Output::Shown;
    return isDrawn;
}

/// Timers and animations run as fast as they can be computed, except while requests are under way.
void Readiness::passTime()
{
    // A short remainder gets no step of its own.
    const bool isLast = m_timeStep >= firstTimeStep && m_facts.pageTimeLeft <= m_timeStep + firstTimeStep;
    const auto step = isLast ? m_facts.pageTimeLeft : std::min(m_timeStep, m_facts.pageTimeLeft);
    const auto requests = m_events.hasLastingRequests() ? VirtualTime::Requests::LetTimePass
                                                        : VirtualTime::Requests::HoldTimeUp;
    const auto begin = std::chrono::steady_clock::now();
    if (!m_isDrawn)
        draw(Compositor::Output::Shown);
    const bool passed = m_time.pass(step, requests, Deadline::in(computingTime).earlier(m_bound),
                                    [this] { return m_document != m_events.document(); });
    // What is computed while time passes is no work without a pause, unless it has no end.
    if (!passed && !m_workingSince)
        m_workingSince = begin;
    else if (passed && m_workingSince)
        *m_workingSince += std::chrono::steady_clock::now() - begin;
    m_timeStep = std::min(2 * m_timeStep, longestTimeStep);
    const double before = m_lastWork.time;
    bool hasWorked = noteWork();
    // Its clock tells whether all of the step has passed.
    const auto gone = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::duration<double>(m_lastWork.time - before) + 1ms);
    m_facts.pageTimeLeft -= passed ? std::clamp(gone, 1ms, step) : step;
    bool hasFrameWorked = false;
    const bool wasStill = m_isStill;
    if (!wasStill || m_facts.pageTimeLeft == 0ms) {
        const double scripts = m_lastWork.scripts;
        // The frame after some work may be the first of a transition, which shows nothing new.
        m_isStill = draw(Compositor::Output::Shown) && !hasWorked && !m_time.compositor().hasDamage();
        const bool any = noteWork();
        hasFrameWorked = m_lastWork.scripts != scripts;
        hasWorked = hasWorked || any;
        // What a delayed animation does has been late for its last frame.
        m_isLate = m_isLate || (wasStill && any);
    }
    if (hasWorked) {
        m_timeStep = hasFrameWorked && m_frameSteps++ < maximumFrameSteps ? frameStep : firstTimeStep;
        m_lastWorked = std::chrono::steady_clock::now();
        noteChange();
        if (m_isLate)
            addTime();
    }
}

/// Waits until nothing is under way, and nothing further begins for a while.
void Readiness::awaitRequests()
{
    const auto none = [this] { return m_events.requests() == 0 || m_document != m_events.document(); };
    do {
        m_time.waitUntil(none, VirtualTime::Pace::Real, m_bound);
    } while (!m_bound.passed() && m_time.waitUntil([&] { return !none(); }, VirtualTime::Pace::Real,
                                                   Deadline::in(quietTime).earlier(m_bound)));
    noteWork();
    noteChange();
}

/// Draws the page as somebody who scrolls through it would see it, for what is filled in when it comes into
/// view. Nothing changes its size.
void Readiness::show()
{
    QJsonObject argument{{u"begin"_s, m_shownHeight}, {u"isFirst"_s, true}};
    QJsonObject reach;
    while (!m_bound.passed() && m_document == m_events.document()) {
        const auto view = runInFrame(m_session, m_preparation.mainFrame(), showScript, argument, m_bound);
        reach = view ? view->value : QJsonObject();
        if (!view || reach["isOver"_L1].toBool())
            break;
        drawView();
        argument.insert(u"isFirst"_s, false);
    }
    m_isTooLong = m_bound.passed() && !m_time.compositor().hasUnfinishedFrame();
    noteShown(reach);
    if (!noteWork() && !m_grows)
        return;
    m_facts.quietLooks = std::min(m_facts.quietLooks, 1);
    m_facts.pageTimeLeft = std::max(m_facts.pageTimeLeft, furtherTime);
    m_isLate = true;
    m_timeStep = furtherTime;
    m_lookBegin = std::nullopt;
}

void Readiness::drawView()
{
    // Its next frame is asked for by a script, which looks like work of the page's.
    if (m_time.compositor().drawsItself())
        m_time.ask(u"Runtime.evaluate"_s,
                   {{u"expression"_s, u"new Promise(requestAnimationFrame)"_s},
                    {u"contextId"_s, m_preparation.mainFrame().context},
                    {u"awaitPromise"_s, true}},
                   m_bound);
    const auto isDrawn = [this] { return !m_time.compositor().hasUnfinishedFrame(); };
    while (!draw(Compositor::Output::Discarded) &&
           m_time.waitUntil(isDrawn, VirtualTime::Pace::Still, m_bound)) {
    }
}

/// Lists that are loaded piece by piece grow when their end comes into view, some of them without end.
/// `reach` is what showScript has returned at its end; empty if it did not come to it.
void Readiness::noteShown(const QJsonObject &reach)
{
    const double shown = reach["shown"_L1].toDouble();
    ++(shown > m_shownHeight ? m_growths : m_shows);
    m_shownHeight = std::max(m_shownHeight, shown);
    m_grows = reach["height"_L1].toDouble() > m_shownHeight;
    m_facts.isShown =
        reach["isOver"_L1].toBool() ? !m_grows || m_growths >= maximumGrowths : m_shows >= maximumShows;
}

/// A page that works without a pause is printed while it does.
void Readiness::noteUnfinished()
{
    if (m_grows && m_growths >= maximumGrowths)
        m_unfinished += u"a document that grows when its end comes into view"_s;
    if (facts().workTime <= longestWork && !m_bound.passed())
        return;
    if (m_facts.hasBusyWorkers)
        m_unfinished += u"a worker that keeps running"_s;
    else if (m_isTooLong)
        m_unfinished += u"a document that takes long to be shown to its end"_s;
    else if (m_workingSince || m_unfinished.isEmpty())
        m_unfinished += u"scripts that keep running"_s;
}

/// What is there is printed, also when a script never ends or a server never finishes its answer.
void Readiness::giveUp(const Job &job)
{
    m_unfinished = m_events.requestsUnderWay();
    noteUnfinished();
    // What is stopped may be followed by the next that never ends. And a page that reloads without end has
    // nothing to print between its documents.
    for (int attempt = 0; attempt < maximumStops; ++attempt) {
        m_time.beginDocument();
        m_time.waitUntil([this] { return m_events.isParsed(); }, VirtualTime::Pace::Real,
                         Deadline::in(arrivalTime));
        const QString document = m_events.document();
        m_session.post(u"Page.stopLoading"_s);
        m_time.hold();
        m_session.post(u"Runtime.terminateExecution"_s);
        if (m_preparation.prepare(job, Deadline::in(preparingTime)) && document == m_events.document())
            return;
    }
}
