#include "engine/page/pageevents.h"

#include "engine/page/neterror.h"

#include <algorithm>

namespace
{

using namespace Qt::StringLiterals;

/// Kinds of request that have no end to wait for, or none that changes the page.
constexpr const char *lastingTypes[] = {"EventSource", "WebSocket", "Media",
                                        "Ping",        "Prefetch",  "CSPViolationReport"};

bool isLasting(const QString &type)
{
    return std::any_of(std::begin(lastingTypes), std::end(lastingTypes),
                       [&](const char *lasting) { return type == QLatin1String(lasting); });
}

} // namespace

PageEvents::PageEvents(Session &session, const QString &mainFrame)
    : m_session(session), m_mainFrame(mainFrame)
{
    session.on(u"Page.lifecycleEvent"_s,
               [this](const QJsonObject &event, const QString &) { noteLifecycle(event); });
    session.on(u"Page.frameStoppedLoading"_s, [this](const QJsonObject &event, const QString &) {
        // Without a load event where a script has broken off the loading.
        if (event["frameId"_L1].toString() == m_mainFrame && !m_document.isEmpty())
            m_loaded = true;
    });
    session.on(u"Page.frameNavigated"_s, [this](const QJsonObject &event, const QString &) {
        noteNavigation(event["frame"_L1].toObject());
    });
    session.on(u"Page.javascriptDialogOpening"_s,
               [this](const QJsonObject &event, const QString &from) { noteDialog(from, event); });
    session.on(u"Network.requestWillBeSent"_s,
               [this](const QJsonObject &event, const QString &from) { noteRequest(from, event); });
    session.on(u"Network.responseReceived"_s,
               [this](const QJsonObject &event, const QString &) { noteResponse(event); });
    session.on(u"Network.loadingFinished"_s,
               [this](const QJsonObject &event, const QString &) { noteRequestEnd(event); });
    session.on(u"Network.loadingFailed"_s,
               [this](const QJsonObject &event, const QString &) { noteRequestFailure(event); });
    session.on(u"Target.attachedToTarget"_s,
               [this](const QJsonObject &event, const QString &) { noteChild(event); });
    session.on(u"Target.detachedFromTarget"_s, [this](const QJsonObject &event, const QString &) {
        noteChildsEnd(event["sessionId"_L1].toString());
    });
    session.on(u"Inspector.targetCrashed"_s, [this](const QJsonObject &, const QString &) {
        m_session.fail(Failure(ExitCode::Crashed, u"%1: the page crashed the browser"_s.arg(m_shownAddress)));
    });
    session.post(u"Inspector.enable"_s);
    session.post(u"Target.setAutoAttach"_s,
                 {{u"autoAttach"_s, true}, {u"waitForDebuggerOnStart"_s, true}, {u"flatten"_s, true}});
    session.post(u"Page.enable"_s);
    session.post(u"Page.setLifecycleEventsEnabled"_s, {{u"enabled"_s, true}});
    // Commands are carried out in order: once this one is, no event of the document to come is missed.
    session.call(u"Network.enable"_s);
}

bool PageEvents::isQuiet() const
{
    return std::all_of(m_requests.begin(), m_requests.end(),
                       [](const Request &request) { return request.lasting; });
}

void PageEvents::noteLifecycle(const QJsonObject &event)
{
    if (event["frameId"_L1].toString() != m_mainFrame || event["name"_L1].toString() != "load"_L1)
        return;
    m_loaded = event["loaderId"_L1].toString() == m_document;
}

void PageEvents::noteNavigation(const QJsonObject &frame)
{
    if (frame["id"_L1].toString() != m_mainFrame)
        return;
    const QString unreachable = frame["unreachableUrl"_L1].toString();
    if (!unreachable.isEmpty() && !m_document.isEmpty())
        m_session.fail(Failure(ExitCode::NotLoaded, u"%1 leads on to %2, which cannot be loaded"_s.arg(
                                                        m_shownAddress, withoutCredentials(unreachable))));
    m_document = frame["loaderId"_L1].toString();
    m_loaded = false;
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
    ++m_count;
    // The script of a shared worker, which is not the page's alone: nobody reports its end.
    if (event["loaderId"_L1].toString().isEmpty() &&
        event["documentURL"_L1] == event["request"_L1].toObject()["url"_L1])
        return;
    m_requests.insert(event["requestId"_L1].toString(),
                      {session, event["loaderId"_L1].toString(), isLasting(event["type"_L1].toString())});
}

void PageEvents::noteResponse(const QJsonObject &event)
{
    // Only the document of the main frame has its own id as the request's.
    const QString request = event["requestId"_L1].toString();
    if (event["frameId"_L1].toString() != m_mainFrame || request != event["loaderId"_L1].toString())
        return;
    const QJsonObject response = event["response"_L1].toObject();
    const QStringList headers = response["headers"_L1].toObject().keys();
    m_hasSuccessor = headers.contains(u"refresh"_s, Qt::CaseInsensitive);
    const int status = response["status"_L1].toInt();
    if (status >= 400) {
        m_session.fail(Failure(ExitCode::NotLoaded, u"%1: the server answered %2 %3"_s.arg(m_shownAddress)
                                                        .arg(status)
                                                        .arg(response["statusText"_L1].toString())
                                                        .trimmed()));
    }
}

void PageEvents::noteRequestFailure(const QJsonObject &event)
{
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
    m_requests.remove(event["requestId"_L1].toString());
}

/// Frames from elsewhere and workers live in processes of their own; they wait until they are listened to.
void PageEvents::noteChild(const QJsonObject &event)
{
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
}

void PageEvents::noteChildsEnd(const QString &child)
{
    m_session.release(child);
    m_requests.removeIf([&](const auto &request) { return request->session == child; });
}
