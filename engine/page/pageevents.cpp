#include "engine/page/pageevents.h"

#include "engine/job/input.h"
#include "engine/page/neterror.h"
#include "engine/page/scripts.h"

#include <QJsonArray>

#include <algorithm>

using namespace std::chrono_literals;

namespace
{

using namespace Qt::StringLiterals;

/// Kinds of request that have no end to wait for, or none that changes the page.
constexpr const char *lastingTypes[] = {"EventSource", "WebSocket", "Media",
                                        "Ping",        "Prefetch",  "CSPViolationReport"};
/// How long is waited for a socket or event stream that connects, and for one that is silent.
constexpr std::chrono::milliseconds connectTime = 1500ms;
constexpr std::chrono::milliseconds silenceTime = 600ms;
/// What is scheduled for later than this does not happen to a page on its way to paper. In seconds.
constexpr double farAhead = 60;

bool isLasting(const QString &type)
{
    return std::any_of(std::begin(lastingTypes), std::end(lastingTypes),
                       [&](const char *lasting) { return type == QLatin1String(lasting); });
}

/// Of this browser context; empty for the browser's own.
bool isSharedWorker(const QJsonObject &target, const QString &context)
{
    return target["type"_L1].toString() == "shared_worker"_L1 &&
           (context.isEmpty() || target["browserContextId"_L1].toString() == context);
}

/// The page's icon, which a full Chromium wants for its window: nothing in the page asks for it.
bool isWindowIcon(const QJsonObject &request)
{
    const QJsonObject initiator = request["initiator"_L1].toObject();
    return request["type"_L1].toString() == "Other"_L1 && initiator["type"_L1].toString() == "other"_L1 &&
           !initiator.contains("url"_L1);
}

} // namespace

PageEvents::PageEvents(Session &session, const QString &mainFrame, const QString &context)
    : m_session(session), m_mainFrame(mainFrame)
{
    listenToDocuments();
    listenToRequests();
    listenToChannels();
    listenToChildren(context);
    session.on(u"Inspector.targetCrashed"_s, [this](const QJsonObject &, const QString &) {
        m_session.fail(Failure(ExitCode::Crashed, u"%1: the page crashed the browser"_s.arg(m_shownAddress)));
    });
    session.post(u"Inspector.enable"_s);
    session.post(u"Target.setAutoAttach"_s,
                 {{u"autoAttach"_s, true}, {u"waitForDebuggerOnStart"_s, true}, {u"flatten"_s, true}});
    session.post(u"Page.enable"_s);
    session.post(u"Performance.enable"_s);
    session.post(u"Page.setLifecycleEventsEnabled"_s, {{u"enabled"_s, true}});
    session.post(u"Runtime.addBinding"_s, {{u"name"_s, u"quirelleAsksForPrint"_s}});
    // Commands are carried out in order: once this one is, no event of the document to come is missed.
    session.call(u"Network.enable"_s);
}

void PageEvents::listenToDocuments()
{
    m_session.on(u"Page.lifecycleEvent"_s,
                 [this](const QJsonObject &event, const QString &) { noteLifecycle(event); });
    m_session.on(u"Page.frameStartedNavigating"_s, [this](const QJsonObject &event, const QString &) {
        m_navigating.insert(event["frameId"_L1].toString());
    });
    m_session.on(u"Page.frameStoppedLoading"_s, [this](const QJsonObject &event, const QString &) {
        const QString frame = event["frameId"_L1].toString();
        m_navigating.remove(frame);
        // Without a load event where a script has broken off the loading.
        if (frame == m_mainFrame && !m_document.isEmpty()) {
            m_parsed = true;
            m_loaded = true;
            m_requests.remove(m_document);
        }
    });
    m_session.on(u"Page.frameDetached"_s, [this](const QJsonObject &event, const QString &) {
        m_navigating.remove(event["frameId"_L1].toString());
    });
    m_session.on(u"Page.frameNavigated"_s, [this](const QJsonObject &event, const QString &) {
        noteNavigation(event["frame"_L1].toObject());
    });
    m_session.on(u"Page.navigatedWithinDocument"_s, [this](const QJsonObject &event, const QString &) {
        m_navigating.remove(event["frameId"_L1].toString());
        if (event["frameId"_L1].toString() == m_mainFrame)
            m_address = withoutCredentials(event["url"_L1].toString());
    });
    m_session.on(u"Page.documentOpened"_s, [this](const QJsonObject &, const QString &) { ++m_count; });
    m_session.on(u"Page.frameScheduledNavigation"_s, [this](const QJsonObject &event, const QString &) {
        if (event["frameId"_L1].toString() == m_mainFrame && event["delay"_L1].toDouble() < farAhead)
            m_leadsOn = true;
    });
    m_session.on(u"Page.frameClearedScheduledNavigation"_s,
                 [this](const QJsonObject &event, const QString &) {
                     if (event["frameId"_L1].toString() == m_mainFrame)
                         m_leadsOn = false;
                 });
    m_session.on(u"Page.javascriptDialogOpening"_s,
                 [this](const QJsonObject &event, const QString &from) { noteDialog(from, event); });
    m_session.on(u"Runtime.bindingCalled"_s, [this](const QJsonObject &, const QString &from) {
        m_asksForPrint = m_asksForPrint || from == m_session.id();
    });
}

void PageEvents::listenToRequests()
{
    m_session.on(u"Network.requestWillBeSent"_s,
                 [this](const QJsonObject &event, const QString &from) { noteRequest(from, event); });
    m_session.on(u"Network.responseReceived"_s,
                 [this](const QJsonObject &event, const QString &) { noteResponse(event); });
    m_session.on(u"Runtime.exceptionThrown"_s, [this](const QJsonObject &event, const QString &) {
        noteException(event["exceptionDetails"_L1].toObject());
    });
    m_session.on(u"Network.loadingFinished"_s,
                 [this](const QJsonObject &event, const QString &) { noteRequestEnd(event); });
    m_session.on(u"Network.loadingFailed"_s,
                 [this](const QJsonObject &event, const QString &) { noteRequestFailure(event); });
}

void PageEvents::listenToChannels()
{
    const auto on = [this](const QString &event, bool isConnected) {
        m_session.on(event, [this, isConnected](const QJsonObject &parameters, const QString &) {
            noteChannel(parameters["requestId"_L1].toString(), isConnected);
        });
    };
    on(u"Network.webSocketCreated"_s, false);
    on(u"Network.webSocketHandshakeResponseReceived"_s, true);
    on(u"Network.webSocketFrameReceived"_s, true);
    on(u"Network.webSocketFrameSent"_s, true);
    on(u"Network.eventSourceMessageReceived"_s, true);
    m_session.on(u"Network.webSocketClosed"_s, [this](const QJsonObject &event, const QString &) {
        ++m_count;
        m_channels.remove(event["requestId"_L1].toString());
    });
}

void PageEvents::listenToChildren(const QString &context)
{
    m_session.on(u"Target.attachedToTarget"_s,
                 [this, context](const QJsonObject &event, const QString &from) {
                     // What is reported to the browser's own session may be of other pages.
                     if (!from.isEmpty() || isSharedWorker(event["targetInfo"_L1].toObject(), context))
                         noteChild(event);
                 });
    m_session.on(u"Target.detachedFromTarget"_s, [this](const QJsonObject &event, const QString &) {
        noteChildsEnd(event["sessionId"_L1].toString());
    });
    // Asked to attach to them by itself, the browser would hold up windows that a page opens.
    m_session.on(u"Target.targetCreated"_s, [this, context](const QJsonObject &event, const QString &) {
        const QJsonObject target = event["targetInfo"_L1].toObject();
        if (isSharedWorker(target, context))
            m_session.postToBrowser(u"Target.attachToTarget"_s,
                                    {{u"targetId"_s, target["targetId"_L1]}, {u"flatten"_s, true}});
    });
    m_session.hearBrowser();
    m_session.postToBrowser(u"Target.setDiscoverTargets"_s,
                            {{u"discover"_s, true},
                             {u"filter"_s, QJsonArray{QJsonObject{{u"type"_s, u"shared_worker"_s}},
                                                      QJsonObject{{u"exclude"_s, true}}}}});
}

int PageEvents::requests() const
{
    const auto awaited = std::count_if(m_requests.begin(), m_requests.end(),
                                       [](const Request &request) { return !request.lasting; });
    return static_cast<int>(awaited + m_navigating.size());
}

bool PageEvents::hasLastingRequests() const
{
    return std::any_of(m_requests.begin(), m_requests.end(),
                       [](const Request &request) { return request.lasting; });
}

std::chrono::milliseconds PageEvents::channelWait() const
{
    std::chrono::milliseconds wait{};
    const auto now = std::chrono::steady_clock::now();
    for (const Channel &channel : m_channels) {
        const auto time = channel.isConnected ? silenceTime : connectTime;
        wait = std::max(wait, std::chrono::ceil<std::chrono::milliseconds>(channel.lastHeard + time - now));
    }
    return wait;
}

QStringList PageEvents::requestsUnderWay() const
{
    QStringList names;
    for (const Request &request : m_requests) {
        if (!request.lasting)
            names += u"a request to %1"_s.arg(withoutCredentials(request.address));
    }
    return names;
}

void PageEvents::noteLifecycle(const QJsonObject &event)
{
    if (event["frameId"_L1].toString() != m_mainFrame || event["loaderId"_L1].toString() != m_document)
        return;
    const QString name = event["name"_L1].toString();
    m_parsed = m_parsed || name == "DOMContentLoaded"_L1;
    m_loaded = m_loaded || name == "load"_L1;
}

void PageEvents::noteNavigation(const QJsonObject &frame)
{
    m_navigating.remove(frame["id"_L1].toString());
    if (frame["id"_L1].toString() != m_mainFrame)
        return;
    const QString unreachable = frame["unreachableUrl"_L1].toString();
    if (!unreachable.isEmpty() && !m_document.isEmpty())
        m_session.fail(Failure(ExitCode::NotLoaded, u"%1 leads on to %2, which cannot be loaded"_s.arg(
                                                        m_shownAddress, withoutCredentials(unreachable))));
    m_document = frame["loaderId"_L1].toString();
    m_address = withoutCredentials(frame["url"_L1].toString() + frame["urlFragment"_L1].toString());
    m_parsed = false;
    m_loaded = false;
    m_leadsOn = false;
    m_asksForPrint = false;
    m_channels.clear();
    m_problems = {};
    ++m_count;
    m_requests.removeIf([&](const auto &request) {
        return request->session == m_session.id() && request->document != m_document;
    });
}

void PageEvents::noteDialog(const QString &session, const QJsonObject &event)
{
    // Only a page that asks whether it may be left is told yes.
    const bool leaving = event["type"_L1].toString() == "beforeunload"_L1;
    m_session.post(u"Page.handleJavaScriptDialog"_s, {{u"accept"_s, leaving}}, session);
}

void PageEvents::noteRequest(const QString &session, const QJsonObject &event)
{
    if (isWindowIcon(event))
        return;
    ++m_count;
    ++m_requestCount;
    const QString address = event["request"_L1].toObject()["url"_L1].toString();
    // The script of a shared worker, which is not the page's alone: nobody reports its end.
    if (event["loaderId"_L1].toString().isEmpty() && event["documentURL"_L1].toString() == address)
        return;
    const QString type = event["type"_L1].toString();
    const QString id = event["requestId"_L1].toString();
    const QString loader = event["loaderId"_L1].toString();
    // The page's own failure is the job's. Others have their own kinds but for what is meant for later.
    const bool isPart = (id != loader || event["frameId"_L1].toString() != m_mainFrame) && type != "Other"_L1;
    m_requests.insert(id, {session, loader, address, isLasting(type), isPart});
    if (type == "EventSource"_L1)
        noteChannel(id, false);
}

void PageEvents::noteResponse(const QJsonObject &event)
{
    const QString request = event["requestId"_L1].toString();
    if (m_channels.contains(request))
        noteChannel(request, true);
    const QJsonObject response = event["response"_L1].toObject();
    const int status = response["status"_L1].toInt();
    if (status < 400)
        return;
    const QString reason =
        u"the server answered %1 %2"_s.arg(status).arg(response["statusText"_L1].toString()).trimmed();
    noteProblem(request, reason);
    // Only the document of the main frame has its own id as the request's.
    if (event["frameId"_L1].toString() == m_mainFrame && request == event["loaderId"_L1].toString())
        m_session.fail(Failure(ExitCode::NotLoaded, u"%1: %2"_s.arg(m_shownAddress, reason)));
}

void PageEvents::noteRequestFailure(const QJsonObject &event)
{
    const QString blocked = event["blockedReason"_L1].toString();
    if (!blocked.isEmpty())
        noteProblem(event["requestId"_L1].toString(), u"blocked by the browser (%1)"_s.arg(blocked));
    else if (!event["canceled"_L1].toBool())
        noteProblem(event["requestId"_L1].toString(), explainNetworkError(event["errorText"_L1].toString()));
    noteRequestEnd(event);
    // The document is there and breaks off. What a page or the engine itself stops is no failure.
    if (event["requestId"_L1].toString() == m_document && !event["canceled"_L1].toBool())
        m_session.fail(
            Failure(ExitCode::NotLoaded,
                    u"%1: %2"_s.arg(m_shownAddress, explainNetworkError(event["errorText"_L1].toString()))));
}

void PageEvents::noteRequestEnd(const QJsonObject &event)
{
    ++m_count;
    const QString request = event["requestId"_L1].toString();
    m_requests.remove(request);
    m_channels.remove(request);
}

/// What is no part of the page, such as a ping, is no problem.
void PageEvents::noteProblem(const QString &request, const QString &reason)
{
    const auto found = m_requests.constFind(request);
    if (found == m_requests.constEnd() || found->lasting || !found->isPart)
        return;
    const bool isKnown = std::any_of(m_problems.failedRequests.begin(), m_problems.failedRequests.end(),
                                     [&](const auto &failed) { return failed.address == found->address; });
    if (!isKnown)
        m_problems.failedRequests += {found->address, reason};
}

void PageEvents::noteException(const QJsonObject &details)
{
    const QJsonObject exception = details["exception"_L1].toObject();
    QString text = exception["description"_L1].toString().section(u'\n', 0, 0);
    if (text.isEmpty())
        text = exception["value"_L1].toVariant().toString();
    const QString where = details["url"_L1].toString();
    m_problems.exceptions += where.isEmpty() ? text
                                             : u"%1 (%2, line %3)"_s.arg(text, withoutCredentials(where))
                                                   .arg(details["lineNumber"_L1].toInt() + 1);
}

void PageEvents::noteChannel(const QString &id, bool isConnected)
{
    ++m_count;
    m_channels.insert(id, {isConnected, std::chrono::steady_clock::now()});
}

/// Workers, and frames in processes of their own, wait until they are listened to.
void PageEvents::noteChild(const QJsonObject &event)
{
    ++m_count;
    const QString child = event["sessionId"_L1].toString();
    const QJsonObject target = event["targetInfo"_L1].toObject();
    const QString type = target["type"_L1].toString();
    // A window that the page opens is of no use on paper.
    if (type == "page"_L1) {
        m_session.postToBrowser(u"Target.closeTarget"_s, {{u"targetId"_s, target["targetId"_L1]}});
        return;
    }
    const bool isFrame = type == "iframe"_L1;
    m_session.adopt(child, isFrame);
    m_session.post(u"Target.setAutoAttach"_s,
                   {{u"autoAttach"_s, true}, {u"waitForDebuggerOnStart"_s, true}, {u"flatten"_s, true}},
                   child);
    if (isFrame) {
        m_session.post(u"Page.enable"_s, {}, child);
        m_session.post(u"Performance.enable"_s, {}, child);
    } else {
        m_workers.insert(child, type);
        // Nobody reports the end of the request for a worker's own script.
        m_requests.remove(target["targetId"_L1].toString());
        m_session.post(u"Runtime.evaluate"_s, {{u"expression"_s, QString::fromLatin1(shimScript)}}, child);
    }
    m_session.post(u"Network.enable"_s, {}, child);
    m_session.post(u"Runtime.enable"_s, {}, child);
    for (const auto &[method, parameters] : m_forChildren)
        m_session.post(method, parameters, child);
    m_session.post(u"Runtime.runIfWaitingForDebugger"_s, {}, child);
}

void PageEvents::noteChildsEnd(const QString &child)
{
    // The browser tells the end of the page before this one, too.
    if (!m_session.children().contains(child))
        return;
    ++m_count;
    m_session.release(child);
    m_workers.remove(child);
    m_requests.removeIf([&](const auto &request) { return request->session == child; });
}
