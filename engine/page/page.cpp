#include "engine/page/page.h"

#include "engine/job/lengths.h"
#include "engine/job/paper.h"
#include "engine/page/conditions.h"
#include "engine/page/frames.h"
#include "engine/page/neterror.h"
#include "engine/page/scripts.h"
#include "engine/page/userscripts.h"

#include <QJsonArray>
#include <QUrl>

#include <algorithm>
#include <cmath>
#include <utility>

using namespace std::chrono_literals;

namespace
{

using namespace Qt::StringLiterals;

/// How often a page that moves on while it is printed is tried again.
constexpr int maximumAttempts = 4;
/// How much of the page's time may pass at once while it is printed.
constexpr auto printingStep = 500ms;
constexpr auto printingInterval = 30ms;
/// How long a page may take to be fitted to its paper.
constexpr auto fittingTime = 10s;
/// Of an outline that the browser does not make: printing takes a microsecond for each of them on each page.
constexpr int maximumHeadings = 1000;
/// How long a page may print before scripts that hold it up are stopped.
constexpr auto printingTime = 5s;

/// In bytes: the largest message that holds a PDF. What is edited afterwards gets smaller as a rule, so that
/// a lower bound of the job is held to only then.
qsizetype maximumPrint(const Job &job)
{
    constexpr int harmless = 256;
    constexpr qsizetype around = 1 << 10;
    const auto bytes = static_cast<qsizetype>(std::max(job.maximumOutput, harmless)) << 20;
    // In base64.
    return bytes / 3 * 4 + around;
}

/// "Chrome/156.0.8078.79"
QString versionOf(Session &browser)
{
    return browser.call(u"Browser.getVersion"_s)["product"_L1].toString();
}

/// The browser prints at this scale at least.
constexpr double minimumScale = 0.1;
constexpr int maximumUserUnit = 10;
/// By how much a page that should have been the only one gets taller.
constexpr double growthOnOnePage = 1.02;

QByteArray pdfIn(const Session::Reply &reply)
{
    return reply.data.isEmpty() ? QByteArray::fromBase64(reply.result["data"_L1].toString().toLatin1())
                                : reply.data;
}

/// Of a PDF as the browser prints it, whose objects are not compressed.
qsizetype pagesIn(const QByteArray &pdf)
{
    return pdf.count("/Type /Page\n");
}

/// After a print has failed: in this time a crash is told.
constexpr auto crashNoticeTime = 200ms;

} // namespace

Page::Place Page::opened(Session &browser, const std::optional<Proxy> &proxy)
{
    QJsonObject settings;
    if (proxy) {
        // Without the bypass rule the browser would go to this machine's own servers directly.
        settings = {{u"proxyServer"_s, proxy->server}, {u"proxyBypassList"_s, u"<-loopback>"_s}};
    }
    const QString version = versionOf(browser);
    const QString context =
        browser.call(u"Target.createBrowserContext"_s, settings)["browserContextId"_L1].toString();
    const QJsonObject made = browser.call(u"Target.createTarget"_s, {{u"url"_s, u"about:blank"_s},
                                                                     {u"browserContextId"_s, context},
                                                                     {u"enableBeginFrameControl"_s, true}});
    return attached(browser, {context, made["targetId"_L1].toString(), {}, version});
}

Page::Place Page::first(Session &browser)
{
    const QString version = versionOf(browser);
    const QJsonObject known = browser.call(u"Target.getTargets"_s);
    const QJsonArray targets = known["targetInfos"_L1].toArray();
    for (const auto &target : targets) {
        if (target["type"_L1].toString() == "page"_L1)
            return attached(browser, {{}, target["targetId"_L1].toString(), {}, version});
    }
    const QJsonObject made = browser.call(u"Target.createTarget"_s, {{u"url"_s, u"about:blank"_s}});
    return attached(browser, {{}, made["targetId"_L1].toString(), {}, version});
}

Page::Place Page::attached(Session &browser, Place place)
{
    const QJsonObject conversation =
        browser.call(u"Target.attachToTarget"_s, {{u"targetId"_s, place.target}, {u"flatten"_s, true}});
    place.session = conversation["sessionId"_L1].toString();
    return place;
}

Page::Page(Browser &browser, Deadline deadline, const std::function<Place(Session &browser)> &open)
    : m_browser(browser.connection(), {}, deadline),
      m_place((m_browser.setActivity(u"starting the browser"_s), open(m_browser))),
      m_session(browser.connection(), m_place.session, deadline),
      m_events(m_session, m_place.target, m_place.context), m_authentication(m_session, m_place.target),
      m_given(m_session), m_time(m_session), m_preparation(m_session, m_place.target),
      m_readiness(m_session, m_place.target, m_events, m_time, m_preparation,
                  ThreadWatch(browser.guardProcess())),
      m_fitting(m_browser, m_place.context, m_session, m_place.target, m_time)
{
    QJsonObject refusal{{u"behavior"_s, u"deny"_s}};
    if (!m_place.context.isEmpty())
        refusal.insert(u"browserContextId"_s, m_place.context);
    m_browser.post(u"Browser.setDownloadBehavior"_s, refusal);
}

Page::Page(Browser &browser, Deadline deadline) : Page(browser, deadline, first) {}

Page::Page(Browser &browser, const std::optional<Proxy> &proxy, Deadline deadline)
    : Page(browser, deadline, [&](Session &session) { return opened(session, proxy); })
{
}

Page::~Page()
{
    close();
}

void Page::close()
{
    if (std::exchange(m_closed, true) || m_place.context.isEmpty())
        return;
    try {
        m_browser.setDeadline(Deadline::in(1s));
        m_browser.post(u"Target.disposeBrowserContext"_s, {{u"browserContextId"_s, m_place.context}});
    } catch (const Failure &) {
        // A browser that takes no commands is at its end anyway.
    }
}

bool Page::closeWithin(std::chrono::milliseconds bound)
{
    if (std::exchange(m_closed, true) || m_place.context.isEmpty())
        return true;
    try {
        m_browser.setDeadline(Deadline::in(bound));
        m_browser.ask(u"Target.disposeBrowserContext"_s, {{u"browserContextId"_s, m_place.context}});
        return true;
    } catch (const Failure &) {
        return false;
    }
}

namespace
{

/// Throws Failure for an order that would go round the block of private addresses.
void checkReach(const Order &order)
{
    if (!order.job.blockPrivateAddresses)
        return;
    if (order.address.isFile && order.job.document)
        throw Failure(ExitCode::NotLoaded,
                      u"standard input counts as a file: give --base-url with an address, or convert it "
                      "without --block-private-addresses"_s);
    if (order.address.isFile)
        throw Failure(
            ExitCode::NotLoaded,
            u"%1 is a file: convert it without --block-private-addresses"_s.arg(order.address.shown));
    if (order.job.proxy)
        throw Failure(ExitCode::BadArguments,
                      u"--block-private-addresses and -p exclude each other, because the proxy looks up the "
                      "addresses: have it block private ones"_s);
}

} // namespace

void Page::load(const Order &order, JobRecord &record)
{
    checkReach(order);
    m_shownAddress = order.address.shown;
    m_events.setShownAddress(m_shownAddress);
    m_browser.setDeadline(order.deadline);
    m_session.setDeadline(order.deadline);
    const Deadline bound = Deadline::in(order.job.maximumWait);
    configure(order.job);
    m_preparation.announce(order.job);
    pose(order.job);
    QJsonObject interception = m_authentication.begin(order.job, order.address);
    if (order.job.document)
        interception = m_given.begin(order.address.url, *order.job.document, interception);
    if (!interception.isEmpty()) {
        m_session.post(u"Fetch.enable"_s, interception);
        m_events.sendToChildren(u"Fetch.enable"_s, interception);
    }
    if (m_authentication.forbidsCaches()) {
        const QJsonObject disabled{{u"cacheDisabled"_s, true}};
        m_session.post(u"Network.setCacheDisabled"_s, disabled);
        m_events.sendToChildren(u"Network.setCacheDisabled"_s, disabled);
    }
    m_authentication.setCookies(order.job);
    navigate(order.address, order.job);
    m_session.setActivity(u"loading %1"_s.arg(m_shownAddress));
    m_readiness.awaitLoadEvent(bound);
    record.enter(JobStep::Settle);
    // How long the user's own conditions take is up to --timeout.
    const auto patience =
        std::chrono::duration_cast<std::chrono::milliseconds>(bound.time() - Deadline::Clock::now());
    awaitConditions(m_session, m_time, m_place.target, order.job);
    m_session.setActivity(u"loading %1"_s.arg(m_shownAddress));
    m_readiness.awaitWhole(order.job, Deadline::in(patience));
    if (order.job.scripts.isEmpty())
        return;
    runScripts(m_session, m_time, order.job);
    m_session.setActivity(u"loading %1"_s.arg(m_shownAddress));
    m_readiness.awaitWhole(order.job, Deadline::in(order.job.maximumWait));
}

void Page::expect(bool javaScript)
{
    Job usual;
    usual.javaScript = javaScript;
    configure(usual);
}

void Page::configure(const Job &job)
{
    m_preparation.setViewport(job.viewport ? QSizeF(*job.viewport)
                                           : paperFor(job).shrunkBy(marginsFor(job)) * pixelsPerPoint);
    // Without scripts the browser runs none from the start; see LaunchFlags.
    if (job.javaScript && !std::exchange(m_listensToScripts, true)) {
        m_session.post(u"Runtime.enable"_s);
        m_session.post(u"Page.addScriptToEvaluateOnNewDocument"_s,
                       {{u"source"_s, QString::fromLatin1(shimScript)}});
    }
}

/// What is told of the browser, also to frames and workers.
void Page::pose(const Job &job)
{
    QList<std::pair<QString, QJsonObject>> commands;
    if (!job.userAgent.isEmpty() || !job.languages.isEmpty())
        commands.append({u"Emulation.setUserAgentOverride"_s,
                         {{u"userAgent"_s, job.userAgent}, {u"acceptLanguage"_s, job.languages.join(u',')}}});
    if (!job.languages.isEmpty())
        commands.append({u"Emulation.setLocaleOverride"_s, {{u"locale"_s, job.languages.first()}}});
    if (!job.timeZone.isEmpty())
        commands.append({u"Emulation.setTimezoneOverride"_s, {{u"timezoneId"_s, job.timeZone}}});
    for (const auto &[method, parameters] : commands) {
        m_session.post(method, parameters);
        m_events.sendToChildren(method, parameters);
    }
}

void Page::navigate(const Address &address, const Job &job)
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
    // The filter's answer, whatever has failed there.
    if (error == "net::ERR_SOCKS_CONNECTION_FAILED"_L1 && job.blockPrivateAddresses)
        refuse(
            u"cannot be reached, or has a private address only, which --block-private-addresses refuses"_s);
    if (!error.isEmpty())
        refuse(explainNetworkError(error));
}

void Page::describe(const Job &job, JobRecord &record) const
{
    PageProblems problems = m_events.problems();
    problems.unfinished = m_readiness.unfinished();
    problems.fit = m_fit;
    // Wanted without tags anyway.
    if (job.lowQuality)
        problems.fit.elements = 0;
    problems.failedRequests.removeIf(
        [&](const auto &request) { return job.ignoredHosts.contains(QUrl(request.address).host()); });
    record.warnings = warningsFor(problems);
    record.requests = m_events.requestCount();
    record.failedRequests = static_cast<int>(m_events.problems().failedRequests.size());
    record.page = m_preparation.metadata();
    record.page.address = QUrl(m_events.address());
    record.page.userUnit = m_userUnit;
    record.page.browser = m_place.browser;
    record.page.headings = m_headings;
}

void Page::rest()
{
    try {
        m_time.hold();
    } catch (const Failure &) {
        // A browser that takes no commands does not run the page either, or is about to be given up.
    }
}

QByteArray Page::print(const Job &job)
{
    m_session.setActivity(u"printing %1"_s.arg(m_shownAddress));
    const QSizeF paper = paperFor(job) / pointsPerInch;
    const QMarginsF margins = marginsFor(job) / pointsPerInch;
    QJsonObject settings{{u"paperWidth"_s, paper.width()},      {u"paperHeight"_s, paper.height()},
                         {u"marginTop"_s, margins.top()},       {u"marginRight"_s, margins.right()},
                         {u"marginBottom"_s, margins.bottom()}, {u"marginLeft"_s, margins.left()},
                         {u"preferCSSPageSize"_s, true},        {u"printBackground"_s, job.background},
                         {u"pageRanges"_s, job.pageRanges}};
    m_session.setMaximumReply(maximumPrint(job));
    const auto fitAndPrint = [&] {
        // The job's own viewport may be of another width. It is back at once, for what scripts measure.
        m_preparation.setViewport(m_preparation.textSize());
        m_fit = m_fitting.fit(job, m_preparation, m_readiness.isAsPrepared(), Deadline::in(fittingTime));
        if (job.viewport)
            m_preparation.setViewport(*job.viewport);
        settings.insert(u"scale"_s, m_fit.scale);
        const bool hasTags = !job.lowQuality && m_fit.elements <= maximumTaggedElements;
        settings.insert(u"generateTaggedPDF"_s, hasTags);
        // It is made from the tags.
        settings.insert(u"generateDocumentOutline"_s, hasTags);
        addTargets(job, !job.lowQuality && !hasTags);
        return job.singlePage ? printedOnOnePage(job, settings) : printed(settings);
    };
    // A page that moves on in this very moment can be printed when it has arrived. One that was whole may do
    // so after it is printed, but one that had to be stopped may have done so before.
    const bool wasStopped = !m_readiness.unfinished().isEmpty();
    QString document = m_events.document();
    Session::Reply reply = fitAndPrint();
    const auto hasMovedOn = [&] {
        return reply.error.isEmpty() ? wasStopped && document != m_events.document() : !m_events.isLoaded();
    };
    for (int attempt = 0; attempt < maximumAttempts && hasMovedOn(); ++attempt) {
        const Deadline bound = Deadline::in(job.maximumWait);
        m_readiness.awaitLoadEvent(bound);
        document = m_events.document();
        m_preparation.prepare(job, bound);
        reply = fitAndPrint();
    }
    if (reply.error == QLatin1String(tooLargeError))
        throw tooLargeForOutput(job.maximumOutput);
    if (!job.pageRanges.isEmpty() && reply.error.contains("exceeds page count"_L1))
        throw Failure(
            ExitCode::BadArguments,
            u"%1: the document has none of the pages %2 (--pages)"_s.arg(m_shownAddress, job.pageRanges),
            Failure::Retry::IsInVain);
    if (!reply.error.isEmpty()) {
        // That the page has crashed, which says more, may be told after it.
        m_session.waitUntil([] { return false; }, Deadline::in(crashNoticeTime));
        throw Failure(ExitCode::Crashed,
                      u"%1: the browser cannot print this page: %2"_s.arg(m_shownAddress, reply.error));
    }
    return pdfIn(reply);
}

/// Prints the page, which is fitted, on one page as tall as its content.
Session::Reply Page::printedOnOnePage(const Job &job, QJsonObject settings)
{
    const Deadline bound = Deadline::in(fittingTime);
    const Preparation::Paper paper = m_preparation.paper();
    const double shrinking = std::min(m_fit.shrinking, maximumShrinking);
    const QSizeF text = m_preparation.textSize();
    const double window = job.viewport ? job.viewport->height() : text.height();
    const auto heightIn = [&](double height, const char *step) {
        m_preparation.setViewport(QSizeF(text.width() * shrinking, height));
        const auto result = runInFrame(m_session, m_preparation.mainFrame(), heightScript,
                                       {{u"step"_s, QLatin1String(step)}}, bound);
        return result ? result->value["height"_L1].toDouble() : 0;
    };
    heightIn(window, "note");
    heightIn(2 * window, "pin");
    double height = heightIn(window, "measure") / shrinking / pixelsPerPoint;
    Job sheet = job;
    sheet.orientation.reset();
    sheet.viewport = m_preparation.viewport();
    for (int attempt = 0;; ++attempt) {
        const QSizeF size(paper.size.width(),
                          std::max(height, 1.0) + paper.margins.top() + paper.margins.bottom());
        m_userUnit = std::min(static_cast<int>(std::ceil(size.height() / maximumSide)), maximumUserUnit);
        sheet.paper = QSizeF(size.width(), std::min(size.height(), maximumSide * m_userUnit)) / m_userUnit;
        sheet.margins = paper.margins / m_userUnit;
        m_preparation.prepare(sheet, bound);
        settings.insert(u"scale"_s, std::max(m_fit.scale / m_userUnit, minimumScale));
        Session::Reply reply = printed(settings);
        if (attempt == maximumAttempts || !reply.error.isEmpty() || pagesIn(pdfIn(reply)) <= 1)
            return reply;
        height *= growthOnOnePage;
    }
}

/// Has the PDF destinations for the places that others may link to, and for the headings, if there is to be
/// an outline that the browser, without tags, does not make.
void Page::addTargets(const Job &job, bool wantsHeadings)
{
    m_headings.clear();
    if (!job.isPart && !wantsHeadings)
        return;
    // Otherwise observers of the page would notice.
    const auto disableScripts = [&](bool disabled) {
        if (job.javaScript)
            m_session.post(u"Emulation.setScriptExecutionDisabled"_s, {{u"value"_s, disabled}});
    };
    disableScripts(true);
    const auto found =
        runInFrame(m_session, m_preparation.mainFrame(), targetsScript,
                   {{u"headings"_s, wantsHeadings ? maximumHeadings : 0}, {u"all"_s, job.isPart}},
                   Deadline::in(fittingTime));
    disableScripts(false);
    const QJsonArray headings = found ? found->value["headings"_L1].toArray() : QJsonArray();
    for (const auto &heading : headings)
        m_headings.append(
            {heading["level"_L1].toInt(), heading["title"_L1].toString(), heading["name"_L1].toString()});
}

Session::Reply Page::printed(const QJsonObject &settings)
{
    // With its time standing still, a page would wait for ever for images that printing alone asks for; where
    // there are such images, the browser waits up to two seconds of that time. And a script that never ends
    // may begin even now.
    Deadline stop = Deadline::in(printingTime);
    m_time.flow(printingStep);
    return *m_session.askUrgently(u"Page.printToPDF"_s, settings, printingInterval, [&] {
        m_time.flow(printingStep);
        if (stop.passed()) {
            m_session.post(u"Runtime.terminateExecution"_s);
            stop = Deadline::in(printingTime);
        }
    });
}
