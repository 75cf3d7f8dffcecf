#include "engine/browser/page.h"

#include "engine/browser/launch.h"
#include "engine/browser/neterror.h"
#include "engine/browser/paper.h"
#include "engine/browser/scripts.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QUrl>

#include <algorithm>

using namespace std::chrono_literals;

namespace
{

using namespace Qt::StringLiterals;

/// A page that is not whole after this time is taken as it is.
constexpr auto patience = 30s;
/// How much of the page's own time is let pass after its load event, for timers, animations and delayed
/// redirects. It passes at once, not by waiting.
constexpr auto pageTime = 5s;
/// The same after something has come in late.
constexpr auto furtherPageTime = 1s;
/// How often late things are followed.
constexpr int mostRounds = 4;
/// How long a page that had to be stopped may take to be made ready for paper.
constexpr auto preparingTime = 2s;
/// How long a page may compute while its time passes; animations without end are cut short here.
constexpr auto computingTime = 3s;
/// After requests have ended: the time in which further ones are expected.
constexpr auto quietTime = 100ms;
/// The step in which the page's time goes on where it keeps to the real one.
constexpr auto flowInterval = 30ms;
/// The same while a page is printed, in the page's time.
constexpr auto printingStep = 500ms;
/// How long workers are heard.
constexpr auto workerTime = 3s;

constexpr double marginMillimetres = 10;
constexpr double pointsPerInch = 72;
constexpr double millimetresPerInch = 25.4;
constexpr double pixelsPerInch = 96;
constexpr double pixelsPerPoint = pixelsPerInch / pointsPerInch;
/// How long a page may print before scripts that hold it up are stopped.
constexpr auto printingTime = 5s;
/// How long a page may take to draw itself, where that is waited for.
constexpr auto frameTime = 1s;
/// In CSS pixels.
constexpr double tallestViewport = 50000;
/// How far the browser goes in shrinking a page that is wider than the paper (Blink's print layout).
constexpr double largestShrinking = 1.5;

/// Kinds of request that have no end to wait for, or none that changes the page.
constexpr const char *lastingTypes[] = {"EventSource", "WebSocket", "Media",
                                        "Ping",        "Prefetch",  "CSPViolationReport"};

/// Scripts of the engine run in this world, apart from those of the page.
const QString worldName = u"quirelle"_s;

bool isLasting(const QString &type)
{
    return std::any_of(std::begin(lastingTypes), std::end(lastingTypes),
                       [&](const char *lasting) { return type == QLatin1String(lasting); });
}

/// Whether `asking` is the server that the user has named: the same, or the same host gone over to a secure
/// connection.
bool isSameServer(const QUrl &named, const QUrl &asking)
{
    const auto port = [](const QUrl &url) { return url.port(url.scheme() == "https"_L1 ? 443 : 80); };
    const bool same = named.scheme() == asking.scheme() && port(named) == port(asking);
    const bool secured = named.scheme() == "http"_L1 && port(named) == 80 && asking.scheme() == "https"_L1 &&
                         port(asking) == 443;
    return named.host() == asking.host() && (same || secured);
}

/// The ids of the frames in a frame tree of the protocol's domain Page.
QStringList framesOf(const QJsonObject &tree)
{
    QStringList frames{tree["frame"_L1].toObject()["id"_L1].toString()};
    const QJsonArray children = tree["childFrames"_L1].toArray();
    for (const auto &child : children)
        frames += framesOf(child.toObject());
    return frames;
}

QString openContext(Session &browser, const std::optional<Proxy> &proxy)
{
    browser.setActivity(u"starting the browser"_s);
    QJsonObject settings;
    if (proxy) {
        // Without the bypass rule the browser would go to this machine's own servers directly.
        settings = {{u"proxyServer"_s, proxy->server}, {u"proxyBypassList"_s, u"<-loopback>"_s}};
    }
    return browser.call(u"Target.createBrowserContext"_s, settings)["browserContextId"_L1].toString();
}

QString openTarget(Session &browser, const QString &context)
{
    return browser
        .call(u"Target.createTarget"_s,
              {{u"url"_s, u"about:blank"_s}, {u"browserContextId"_s, context}})["targetId"_L1]
        .toString();
}

QString attachTo(Session &browser, const QString &target)
{
    return browser
        .call(u"Target.attachToTarget"_s, {{u"targetId"_s, target}, {u"flatten"_s, true}})["sessionId"_L1]
        .toString();
}

} // namespace

Page::Page(Connection &connection, const std::optional<Proxy> &proxy, Deadline deadline)
    : m_browser(connection, {}, deadline), m_context(openContext(m_browser, proxy)),
      m_target(openTarget(m_browser, m_context)),
      m_session(connection, attachTo(m_browser, m_target), deadline), m_patience(Deadline::in(patience))
{
    listen();
    m_browser.post(u"Browser.setDownloadBehavior"_s,
                   {{u"behavior"_s, u"deny"_s}, {u"browserContextId"_s, m_context}});
    m_session.setActivity(u"opening a page"_s);
    m_session.post(u"Inspector.enable"_s);
    m_session.post(u"Target.setAutoAttach"_s,
                   {{u"autoAttach"_s, true}, {u"waitForDebuggerOnStart"_s, true}, {u"flatten"_s, true}});
    m_session.post(u"Page.enable"_s);
    m_session.post(u"Page.setLifecycleEventsEnabled"_s, {{u"enabled"_s, true}});
    // Commands are carried out in order: once this one is, no event of the document to come is missed.
    m_session.call(u"Network.enable"_s);
}

void Page::listen()
{
    m_session.on(u"Page.lifecycleEvent"_s,
                 [this](const QJsonObject &event, const QString &) { noteLifecycle(event); });
    m_session.on(u"Page.frameNavigated"_s, [this](const QJsonObject &event, const QString &) {
        noteNavigation(event["frame"_L1].toObject());
    });
    m_session.on(u"Page.javascriptDialogOpening"_s, [this](const QJsonObject &event, const QString &session) {
        // Only a page that asks whether it may be left is told yes.
        const bool leaving = event["type"_L1].toString() == "beforeunload"_L1;
        m_session.post(u"Page.handleJavaScriptDialog"_s, {{u"accept"_s, leaving}}, session);
    });
    m_session.on(u"Network.requestWillBeSent"_s,
                 [this](const QJsonObject &event, const QString &session) { noteRequest(session, event); });
    m_session.on(u"Network.responseReceived"_s,
                 [this](const QJsonObject &event, const QString &) { noteResponse(event); });
    for (const QString &end : {u"Network.loadingFinished"_s, u"Network.loadingFailed"_s}) {
        m_session.on(end, [this](const QJsonObject &event, const QString &) { noteRequestEnd(event); });
    }
    m_session.on(u"CSS.styleSheetAdded"_s, [this](const QJsonObject &event, const QString &) {
        const QJsonObject header = event["header"_L1].toObject();
        // Others can be read by scripts.
        if (!header["isInline"_L1].toBool() && !header["isConstructed"_L1].toBool())
            m_newSheets += header["styleSheetId"_L1].toString();
        // The browser's own trees, which crash it when scripts touch them, have no styles made by a parser.
        if (header["isInline"_L1].toBool())
            m_newStyles.append({header["frameId"_L1].toString(), header["ownerNode"_L1]});
    });
    m_session.on(u"Emulation.virtualTimeBudgetExpired"_s,
                 [this](const QJsonObject &, const QString &) { m_timeHasPassed = true; });
    m_session.on(u"Inspector.targetCrashed"_s, [this](const QJsonObject &, const QString &) {
        m_session.fail(Failure(ExitCode::Crashed, u"%1: the page crashed the browser"_s.arg(m_shownAddress)));
    });
    // Frames from elsewhere and workers live in processes of their own; they wait until they are listened to.
    m_session.on(u"Target.attachedToTarget"_s, [this](const QJsonObject &event, const QString &) {
        const QString child = event["sessionId"_L1].toString();
        const QJsonObject target = event["targetInfo"_L1].toObject();
        const bool isFrame = target["type"_L1].toString() == "iframe"_L1;
        m_session.adopt(child, isFrame);
        // Nobody reports the end of the request for a worker's own script.
        if (!isFrame)
            m_requests.remove(target["targetId"_L1].toString());
        m_session.post(u"Page.enable"_s, {}, child);
        m_session.post(u"Network.enable"_s, {}, child);
        m_session.post(u"Runtime.runIfWaitingForDebugger"_s, {}, child);
    });
    m_session.on(u"Target.detachedFromTarget"_s, [this](const QJsonObject &event, const QString &) {
        const QString child = event["sessionId"_L1].toString();
        m_session.release(child);
        m_requests.removeIf([&](const auto &request) { return request->session == child; });
    });
}

void Page::noteLifecycle(const QJsonObject &event)
{
    if (event["frameId"_L1].toString() != m_target || event["name"_L1].toString() != "load"_L1)
        return;
    m_loadEvent = event["loaderId"_L1].toString() == m_loader;
}

void Page::noteNavigation(const QJsonObject &frame)
{
    if (frame["id"_L1].toString() != m_target)
        return;
    const QString unreachable = frame["unreachableUrl"_L1].toString();
    if (!unreachable.isEmpty() && !m_loader.isEmpty())
        m_session.fail(Failure(ExitCode::NotLoaded, u"%1 leads on to %2, which cannot be loaded"_s.arg(
                                                        m_shownAddress, withoutCredentials(unreachable))));
    m_loader = frame["loaderId"_L1].toString();
    m_loadEvent = false;
    ++m_events;
    m_requests.removeIf([&](const auto &request) {
        return request->session == m_session.id() && request->loader != m_loader;
    });
}

void Page::noteRequest(const QString &session, const QJsonObject &event)
{
    ++m_events;
    m_requests.insert(event["requestId"_L1].toString(),
                      {session, event["loaderId"_L1].toString(), isLasting(event["type"_L1].toString())});
}

void Page::noteResponse(const QJsonObject &event)
{
    // Only the document of the main frame has the loader as its request.
    const QString request = event["requestId"_L1].toString();
    if (event["frameId"_L1].toString() != m_target || request != event["loaderId"_L1].toString())
        return;
    const QJsonObject response = event["response"_L1].toObject();
    const int status = response["status"_L1].toInt();
    if (status >= 400) {
        m_session.fail(Failure(ExitCode::NotLoaded, u"%1: the server answered %2 %3"_s.arg(m_shownAddress)
                                                        .arg(status)
                                                        .arg(response["statusText"_L1].toString())
                                                        .trimmed()));
    }
}

void Page::noteRequestEnd(const QJsonObject &event)
{
    ++m_events;
    m_requests.remove(event["requestId"_L1].toString());
}

void Page::load(const Job &job)
{
    const Address address = resolveInput(job.input);
    m_shownAddress = address.shown;
    m_patience = Deadline::in(patience);
    configure(job, address);
    navigate(address);
    m_session.setActivity(u"loading %1"_s.arg(m_shownAddress));
    awaitLoadEvent();
    settle(job);
    if (m_patience.passed())
        takeAsItIs(job);
    else if (job.minimumFontSize > 0)
        prepare(job);
}

void Page::configure(const Job &job, const Address &address)
{
    const QSizeF paper = paperFor(job);
    const double margins = 2 * marginMillimetres / millimetresPerInch * pointsPerInch;
    setViewport((paper.width() - margins) * pixelsPerPoint, (paper.height() - margins) * pixelsPerPoint);
    // Without scripts the browser runs none from the start; see LaunchFlags.
    if (job.javaScript) {
        m_session.post(u"Page.addScriptToEvaluateOnNewDocument"_s,
                       {{u"source"_s, QString::fromLatin1(listenScript)}, {u"worldName"_s, worldName}});
        m_session.post(u"Page.addScriptToEvaluateOnNewDocument"_s,
                       {{u"source"_s, QString::fromLatin1(noticeScript)}});
    }
    const bool byOptions = !job.userName.isEmpty() || !job.password.isEmpty();
    const Credentials forServer{byOptions ? job.userName : address.userName,
                                byOptions ? job.password : address.password};
    const Credentials forProxy =
        job.proxy ? Credentials{job.proxy->userName, job.proxy->password} : Credentials();
    if (forServer.known() || forProxy.known())
        answerAuthentication(QUrl(address.url), forServer, forProxy);
}

/// Only for jobs with a name and password: intercepting requests has its price.
void Page::answerAuthentication(const QUrl &address, const Credentials &forServer,
                                const Credentials &forProxy)
{
    m_session.on(u"Fetch.requestPaused"_s, [this](const QJsonObject &event, const QString &session) {
        m_session.post(u"Fetch.continueRequest"_s, {{u"requestId"_s, event["requestId"_L1]}}, session);
    });
    m_session.on(u"Fetch.authRequired"_s, [=, this](const QJsonObject &event, const QString &session) {
        const QJsonObject challenge = event["authChallenge"_L1].toObject();
        const bool byProxy = challenge["source"_L1].toString() == "Proxy"_L1;
        const Credentials &credentials = byProxy ? forProxy : forServer;
        const bool trusted = byProxy || isSameServer(address, QUrl(challenge["origin"_L1].toString()));
        // Asked again after an answer, the answer was wrong.
        const QString question = event["requestId"_L1].toString() + (byProxy ? u"/proxy"_s : QString());
        QJsonObject answer{{u"response"_s, u"CancelAuth"_s}};
        if (credentials.known() && trusted && !m_answered.contains(question)) {
            m_answered.insert(question);
            answer = {{u"response"_s, u"ProvideCredentials"_s},
                      {u"username"_s, credentials.userName},
                      {u"password"_s, credentials.password}};
        }
        m_session.post(u"Fetch.continueWithAuth"_s,
                       {{u"requestId"_s, event["requestId"_L1]}, {u"authChallengeResponse"_s, answer}},
                       session);
    });
    m_session.post(u"Fetch.enable"_s, {{u"handleAuthRequests"_s, true}});
}

/// The viewport is as wide as the text on paper, so that what scripts measure and draw fits there.
void Page::setViewport(double width, double height)
{
    const QSize viewport(std::max(qRound(width), 1), std::max(qRound(height), 1));
    if (viewport == m_viewport)
        return;
    m_viewport = viewport;
    m_session.post(u"Emulation.setDeviceMetricsOverride"_s, {{u"width"_s, viewport.width()},
                                                             {u"height"_s, viewport.height()},
                                                             {u"deviceScaleFactor"_s, 1},
                                                             {u"mobile"_s, false}});
}

void Page::navigate(const Address &address)
{
    m_session.setActivity(u"waiting for %1"_s.arg(m_shownAddress));
    const Session::Reply reply = m_session.ask(u"Page.navigate"_s, {{u"url"_s, address.url}});
    const auto refuse = [&](const QString &reason) {
        throw Failure(ExitCode::NotLoaded, u"%1: %2"_s.arg(m_shownAddress, reason));
    };
    if (!reply.error.isEmpty())
        refuse(explainNetworkError(u"net::ERR_INVALID_URL"_s));
    const QString error = reply.result["errorText"_L1].toString();
    if (error == "net::ERR_NAME_NOT_RESOLVED"_L1 && !m_shownAddress.contains(u"://"_s))
        refuse(u"there is no such file, and no host of that name"_s);
    if (!error.isEmpty())
        refuse(explainNetworkError(error));
}

void Page::awaitLoadEvent()
{
    m_session.waitUntil([this] { return m_loadEvent; }, m_patience);
}

/// Nothing under way but what is made to last, if anything is.
bool Page::isQuiet() const
{
    return std::all_of(m_requests.begin(), m_requests.end(),
                       [](const Request &request) { return request.lasting; });
}

void Page::settle(const Job &job)
{
    m_session.post(u"Emulation.setEmulatedMedia"_s, {{u"media"_s, u"print"_s}});
    // What comes in at the end of a round may be built into the page in the next; but a page that goes on for
    // ever is not followed for ever.
    int rounds = 0;
    bool cameLate = false;
    while (rounds < mostRounds && !m_patience.passed()) {
        const QString document = m_loader;
        const int before = m_events;
        const Preparation now = prepare(job).value_or(Preparation());
        if (rounds > 0 && !now.changed && !now.awaitsWorker && !cameLate)
            return;
        if (now.animated)
            awaitFrame();
        // Before any time is passed, because a worker that is starting would hold it up.
        if (now.awaitsWorker)
            awaitWorkers(job);
        letTimePass(rounds == 0 ? pageTime : furtherPageTime);
        const int atEndOfTime = m_events;
        awaitRequests();
        cameLate = m_events != atEndOfTime;
        if (rounds == 0 && now.watchesScrolling)
            showWhole();
        if (!m_loadEvent)
            awaitLoadEvent();
        if (!now.changed && !now.hasScripts && m_events == before)
            return;
        rounds = document == m_loader ? rounds + 1 : 0;
    }
}

/// What is there is printed, also when a script never ends or a server never finishes its answer.
void Page::takeAsItIs(const Job &job)
{
    m_session.post(u"Page.stopLoading"_s);
    // What is stopped may be followed by the next that never ends.
    for (int attempt = 0; attempt < mostRounds; ++attempt) {
        m_session.post(u"Runtime.terminateExecution"_s);
        m_patience = Deadline::in(preparingTime);
        if (prepare(job))
            return;
    }
}

/// The page's time passes in one go: timers and animations run as fast as they can be computed, except while
/// requests are under way.
void Page::letTimePass(std::chrono::milliseconds duration)
{
    const auto isHeldUp = [this] { return !m_requests.isEmpty() && isQuiet(); };
    spendTime(u"pauseIfNetworkFetchesPending"_s, duration, isHeldUp);
    // Requests made to last, or slow ones, do not hold the time up for ever.
    if (!m_timeHasPassed && m_loadEvent)
        spendTime(u"advance"_s, std::min<std::chrono::milliseconds>(duration, computingTime),
                  [] { return false; });
}

void Page::spendTime(const QString &policy, std::chrono::milliseconds duration,
                     const std::function<bool()> &orUntil)
{
    m_timeHasPassed = false;
    m_session.post(u"Emulation.setVirtualTimePolicy"_s, {{u"policy"_s, policy},
                                                         {u"budget"_s, static_cast<double>(duration.count())},
                                                         {u"maxVirtualTimeTaskStarvationCount"_s, 10000}});
    m_session.waitUntil([&] { return m_timeHasPassed || !m_loadEvent || orUntil(); },
                        Deadline::in(computingTime).earlier(m_patience));
}

/// Waits until nothing is under way, and nothing further begins for a while.
void Page::awaitRequests()
{
    while (!isQuiet() && !m_patience.passed()) {
        // With the page's time standing still, its requests would not be told of their ends.
        spendTime(u"pauseIfNetworkFetchesPending"_s, quietTime, [this] { return isQuiet(); });
        if (!isQuiet())
            m_session.waitUntil([this] { return isQuiet(); }, Deadline::in(quietTime).earlier(m_patience));
        if (isQuiet())
            m_session.waitUntil([this] { return !isQuiet(); }, Deadline::in(quietTime).earlier(m_patience));
    }
}

/// Lets so much of the page's time pass, alongside whatever is asked of the page meanwhile.
void Page::letTimeFlow(std::chrono::milliseconds duration)
{
    m_session.post(u"Emulation.setVirtualTimePolicy"_s,
                   {{u"policy"_s, u"advance"_s}, {u"budget"_s, static_cast<double>(duration.count())}});
}

/// Workers have a time of their own, which does not pass any faster.
void Page::awaitWorkers(const Job &job)
{
    const Deadline bound = Deadline::in(workerTime).earlier(m_patience);
    while (!bound.passed()) {
        letTimeFlow(flowInterval);
        m_session.waitUntil([] { return false; }, Deadline::in(flowInterval));
        if (!prepare(job).value_or(Preparation()).awaitsWorker)
            return;
    }
}

/// Waits until the page has been drawn anew, which is when it learns what is in view and what has been
/// animated.
void Page::awaitFrame()
{
    const Deadline bound = Deadline::in(frameTime).earlier(m_patience);
    const auto world = m_session.ask(u"Page.createIsolatedWorld"_s,
                                     {{u"frameId"_s, m_target}, {u"worldName"_s, worldName}}, bound);
    if (!world)
        return;
    letTimeFlow(flowInterval);
    m_session.askUrgently(
        u"Runtime.evaluate"_s,
        {{u"expression"_s,
          u"new Promise(done => requestAnimationFrame(() => requestAnimationFrame(done)))"_s},
         {u"contextId"_s, world->result["executionContextId"_L1]},
         {u"awaitPromise"_s, true}},
        flowInterval, [this] { letTimeFlow(flowInterval); }, bound);
}

/// For pages that fill in their parts when these come into view.
void Page::showWhole()
{
    const auto metrics = m_session.ask(u"Page.getLayoutMetrics"_s, {}, m_patience);
    if (!metrics)
        return;
    const QSize usual = m_viewport;
    const double height = metrics->result["cssContentSize"_L1].toObject()["height"_L1].toDouble();
    setViewport(usual.width(), std::clamp(height, 1.0, tallestViewport));
    awaitFrame();
    letTimePass(furtherPageTime);
    awaitRequests();
    setViewport(usual.width(), usual.height());
}

/// Nothing if the page does not answer.
std::optional<Page::Preparation> Page::prepare(const Job &job)
{
    const auto orNull = [](const QString &text) { return text.isEmpty() ? QJsonValue() : QJsonValue(text); };
    const QSizeF paper = paperFor(job);
    QString orientation;
    if (job.orientation)
        orientation = *job.orientation == PaperOrientation::Landscape ? u"landscape"_s : u"portrait"_s;
    QJsonObject settings{
        {u"size"_s, orNull(job.paper ? u"%1pt %2pt"_s.arg(paper.width()).arg(paper.height()) : QString())},
        {u"orientation"_s, orNull(orientation)},
        {u"background"_s, job.background},
        {u"images"_s, job.images},
        {u"width"_s, paper.width() * pixelsPerPoint},
        {u"height"_s, paper.height() * pixelsPerPoint},
        {u"margin"_s, marginMillimetres / millimetresPerInch * pixelsPerInch},
        {u"animationTime"_s, static_cast<double>(std::chrono::milliseconds(pageTime).count())}};
    if (!job.background)
        findClosedTrees();
    QList<FrameResult> results = runInFrames(prepareScript, settings);
    if (results.isEmpty())
        return std::nullopt;
    const bool unreadable = std::any_of(results.begin(), results.end(), [](const FrameResult &result) {
        return result.value["unreadable"_L1].toBool();
    });
    const bool wantsSheets = job.paper || job.orientation || !job.background;
    if (unreadable && wantsSheets)
        changeUnreadableSheets(settings);

    Preparation preparation;
    for (const FrameResult &result : results) {
        const auto says = [&](const char *name) { return result.value[QLatin1String(name)].toBool(); };
        preparation.changed = says("loading") || says("animated") || preparation.changed;
        preparation.animated = says("animated") || preparation.animated;
        preparation.watchesScrolling = says("watchesScrolling") || preparation.watchesScrolling;
        preparation.awaitsWorker = says("awaitsWorker") || preparation.awaitsWorker;
        preparation.hasScripts = says("hasScripts") || preparation.hasScripts;
        if (result.frame == m_target && !unreadable)
            setViewport(result.value["textWidth"_L1].toDouble(m_viewport.width()), m_viewport.height());
    }
    if (job.minimumFontSize > 0)
        enlargeText(job.minimumFontSize * pixelsPerPoint, launchFlagsFor(job).minimumFontPixels);
    return preparation;
}

/// Whether the inspector tells of sheets.
bool Page::inspectSheets()
{
    if (!m_inspectsSheets) {
        m_session.post(u"DOM.enable"_s);
        m_inspectsSheets = m_session.ask(u"CSS.enable"_s, {}, m_patience).has_value();
    }
    return m_inspectsSheets;
}

/// Scripts find no way into a closed shadow tree, but from a style within it they find the way out.
void Page::findClosedTrees()
{
    if (!inspectSheets())
        return;
    for (const auto &[frame, node] : std::exchange(m_newStyles, {})) {
        const auto world = m_session.ask(u"Page.createIsolatedWorld"_s,
                                         {{u"frameId"_s, frame}, {u"worldName"_s, worldName}}, m_patience);
        if (!world)
            return;
        const auto style = m_session.ask(
            u"DOM.resolveNode"_s,
            {{u"backendNodeId"_s, node}, {u"executionContextId"_s, world->result["executionContextId"_L1]}},
            m_patience);
        if (!style)
            return;
        m_session.post(u"Runtime.callFunctionOn"_s,
                       {{u"objectId"_s, style->result["object"_L1].toObject()["objectId"_L1]},
                        {u"functionDeclaration"_s,
                         u"function() { const root = this.getRootNode(); if (root.mode === 'closed') "
                         "globalThis.closedTrees = (globalThis.closedTrees || new Set()).add(root); }"_s}});
    }
}

/// Scripts cannot read the sheets of other origins, among them every file beside a file; the browser's own
/// inspector can.
void Page::changeUnreadableSheets(QJsonObject settings)
{
    if (!inspectSheets())
        return;
    QStringList ids;
    QJsonArray texts;
    for (const QString &id : std::exchange(m_newSheets, {})) {
        const auto reply = m_session.ask(u"CSS.getStyleSheetText"_s, {{u"styleSheetId"_s, id}}, m_patience);
        if (!reply || !reply->error.isEmpty())
            continue;
        const QString text = reply->result["text"_L1].toString();
        if (text.contains("@page"_L1, Qt::CaseInsensitive) ||
            text.contains("print-color-adjust"_L1, Qt::CaseInsensitive)) {
            ids += id;
            texts += text;
        }
    }
    if (ids.isEmpty())
        return;
    settings.insert(u"sheets"_s, texts);
    const QList<FrameResult> results = runInFrames(prepareScript, settings);
    if (results.isEmpty() || results.first().frame != m_target)
        return;
    const QJsonObject value = results.first().value;
    const QJsonArray changed = value["sheets"_L1].toArray();
    for (qsizetype i = 0; i < ids.size() && i < changed.size(); ++i) {
        if (changed[i] != texts[i])
            m_session.post(u"CSS.setStyleSheetText"_s,
                           {{u"styleSheetId"_s, ids[i]}, {u"text"_s, changed[i]}});
    }
    setViewport(value["textWidth"_L1].toDouble(m_viewport.width()), m_viewport.height());
}

/// A page that is wider than the paper is shrunk onto it, down to two thirds, and its text with it.
void Page::enlargeText(double minimumPixels, int byBrowser)
{
    double shrinking = 1;
    QJsonObject pictures;
    // Larger text may make the page wider still, and pictures have to be fetched once.
    for (int round = 0; round < 4; ++round) {
        const QList<FrameResult> results =
            runInFrames(enlargeScript, {{u"minimum"_s, minimumPixels * shrinking},
                                        {u"byBrowser"_s, byBrowser},
                                        {u"pictures"_s, pictures}});
        if (fetchPictures(results, pictures))
            continue;
        const auto metrics = m_session.ask(u"Page.getLayoutMetrics"_s, {}, m_patience);
        if (!metrics)
            return;
        const double width = metrics->result["cssContentSize"_L1].toObject()["width"_L1].toDouble();
        const double wanted = std::clamp(width / m_viewport.width(), 1.0, largestShrinking);
        if (wanted <= shrinking)
            return;
        shrinking = wanted;
    }
}

/// Adds the texts of the pictures that frames miss; whether there are any.
bool Page::fetchPictures(const QList<FrameResult> &results, QJsonObject &pictures)
{
    bool any = false;
    for (const FrameResult &result : results) {
        for (const auto &missing : result.value["missing"_L1].toArray()) {
            const QString address = missing.toString();
            if (pictures.contains(address))
                continue;
            const auto reply = m_session.ask(u"Page.getResourceContent"_s,
                                             {{u"frameId"_s, result.frame}, {u"url"_s, address}}, m_patience);
            if (!reply)
                return false;
            QString text = reply->result["content"_L1].toString();
            if (reply->result["base64Encoded"_L1].toBool())
                text = QString::fromUtf8(QByteArray::fromBase64(text.toLatin1()));
            pictures.insert(address, text);
            any = true;
        }
    }
    return any;
}

/// Runs a script, the text of a function of one argument, in every frame, in a world of its own there, and
/// returns what it returned in each. A frame that is gone or busy until the patience ends is passed over.
QList<Page::FrameResult> Page::runInFrames(const char *script, const QJsonObject &argument)
{
    const QString expression =
        u"(%1)(%2)"_s.arg(QString::fromLatin1(script),
                          QString::fromUtf8(QJsonDocument(argument).toJson(QJsonDocument::Compact)));
    QList<FrameResult> results;
    for (const QString &session : m_session.family()) {
        const auto tree = m_session.ask(u"Page.getFrameTree"_s, {}, m_patience, session);
        if (!tree)
            break;
        for (const QString &frame : framesOf(tree->result["frameTree"_L1].toObject())) {
            const auto world =
                m_session.ask(u"Page.createIsolatedWorld"_s,
                              {{u"frameId"_s, frame}, {u"worldName"_s, worldName}}, m_patience, session);
            if (!world || !world->error.isEmpty())
                continue;
            const auto outcome = m_session.ask(u"Runtime.evaluate"_s,
                                               {{u"expression"_s, expression},
                                                {u"contextId"_s, world->result["executionContextId"_L1]},
                                                {u"returnByValue"_s, true}},
                                               m_patience, session);
            if (outcome)
                results.append({frame, outcome->result["result"_L1].toObject()["value"_L1].toObject()});
        }
    }
    return results;
}

QByteArray Page::print(const Job &job)
{
    m_session.setActivity(u"printing %1"_s.arg(m_shownAddress));
    const QSizeF paper = paperFor(job) / pointsPerInch;
    QJsonObject settings{{u"paperWidth"_s, paper.width()},
                         {u"paperHeight"_s, paper.height()},
                         {u"preferCSSPageSize"_s, true},
                         {u"printBackground"_s, job.background},
                         {u"generateTaggedPDF"_s, !job.lowQuality},
                         {u"generateDocumentOutline"_s, !job.lowQuality}};
    for (const QString &margin : {u"marginTop"_s, u"marginBottom"_s, u"marginLeft"_s, u"marginRight"_s})
        settings.insert(margin, marginMillimetres / millimetresPerInch);
    Session::Reply reply = printed(settings);
    // A page that moves on in this very moment can be printed when it has arrived.
    for (int attempt = 0; !reply.error.isEmpty() && attempt < mostRounds && !m_loadEvent; ++attempt) {
        m_patience = Deadline::in(patience);
        awaitLoadEvent();
        prepare(job);
        reply = printed(settings);
    }
    if (!reply.error.isEmpty())
        throw Failure(ExitCode::Crashed,
                      u"%1: the browser cannot print this page: %2"_s.arg(m_shownAddress, reply.error));
    return QByteArray::fromBase64(reply.result["data"_L1].toString().toLatin1());
}

Session::Reply Page::printed(const QJsonObject &settings)
{
    // With its time standing still, a page would wait for ever for images that printing alone asks for; where
    // there are such images, the browser waits up to two seconds of that time. And a script that never ends
    // may begin even now.
    Deadline stop = Deadline::in(printingTime);
    letTimeFlow(printingStep);
    return *m_session.askUrgently(u"Page.printToPDF"_s, settings, flowInterval, [&] {
        letTimeFlow(printingStep);
        if (stop.passed()) {
            m_session.post(u"Runtime.terminateExecution"_s);
            stop = Deadline::in(printingTime);
        }
    });
}
