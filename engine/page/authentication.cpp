#include "engine/page/authentication.h"

#include <QJsonArray>
#include <QRandomGenerator>

namespace
{

using namespace Qt::StringLiterals;

/// Whether `asked` is the server that the user has named: the same, or the same host gone over to a secure
/// connection.
bool isSameServer(const QUrl &named, const QUrl &asked)
{
    const auto port = [](const QUrl &url) { return url.port(url.scheme() == "https"_L1 ? 443 : 80); };
    const bool same = named.scheme() == asked.scheme() && port(named) == port(asked);
    const bool secured = named.scheme() == "http"_L1 && port(named) == 80 && asked.scheme() == "https"_L1 &&
                         port(asked) == 443;
    return named.host() == asked.host() && (same || secured);
}

/// Whether a document with this address comes from a server; others are made by the document they are in.
bool isFromServer(const QUrl &url)
{
    static const QStringList inner{u"about"_s, u"data"_s, u"blob"_s, u"javascript"_s};
    return !inner.contains(url.scheme());
}

/// The path and query of an address, as they are sent.
QByteArray targetOf(const QString &url)
{
    const qsizetype path = url.indexOf(u'/', url.indexOf(u"://"_s) + 3);
    return path < 0 ? QByteArray("/") : url.mid(path).toUtf8();
}

QByteArrayList challengesIn(const QJsonObject &event)
{
    QByteArrayList values;
    const QJsonArray headers = event["responseHeaders"_L1].toArray();
    for (const auto &header : headers) {
        if (header["name"_L1].toString().compare("www-authenticate"_L1, Qt::CaseInsensitive) == 0)
            values += header["value"_L1].toString().toUtf8();
    }
    return values;
}

/// Null if there is none of that name.
QString headerOf(const QJsonObject &request, const QString &name)
{
    const QJsonObject headers = request["headers"_L1].toObject();
    for (auto header = headers.begin(); header != headers.end(); ++header) {
        if (header.key().compare(name, Qt::CaseInsensitive) == 0)
            return header->toString();
    }
    return {};
}

bool hasAuthorization(const QJsonObject &request)
{
    return !headerOf(request, u"authorization"_s).isNull();
}

} // namespace

QJsonObject Authentication::begin(const Job &job, const Address &address)
{
    const bool byOptions = !job.userName.isEmpty() || !job.password.isEmpty();
    m_server = QUrl(address.url);
    m_forServer = {byOptions ? job.userName : address.userName, byOptions ? job.password : address.password};
    if (job.proxy)
        m_forProxy = {job.proxy->userName, job.proxy->password};
    m_headers = job.headers;
    m_everywhere = job.headersEverywhere;
    for (const Cookie &cookie : job.cookies) {
        if (!m_everywhere)
            m_cookies.insert(cookie.name);
    }
    if (!m_forServer.known() && !m_forProxy.known() && m_headers.isEmpty() && m_cookies.isEmpty())
        return {};

    m_session.on(u"Page.frameAttached"_s,
                 [this](const QJsonObject &event, const QString &) { noteFrame(event); });
    m_session.on(u"Fetch.requestPaused"_s, [this](const QJsonObject &event, const QString &from) {
        if (event.contains("responseStatusCode"_L1) || event.contains("responseErrorReason"_L1))
            noteResponse(event, from);
        else
            noteRequest(event, from);
    });
    m_session.on(u"Fetch.authRequired"_s,
                 [this](const QJsonObject &event, const QString &from) { noteQuestion(event, from); });
    QJsonArray patterns{QJsonObject{{u"requestStage"_s, u"Request"_s}}};
    if (m_forServer.known())
        patterns.append(QJsonObject{{u"requestStage"_s, u"Response"_s}});
    return {{u"handleAuthRequests"_s, true}, {u"patterns"_s, patterns}};
}

bool Authentication::forbidsCaches() const
{
    return m_forServer.known() || !m_headers.isEmpty() || !m_cookies.isEmpty();
}

void Authentication::setCookies(const Job &job)
{
    const QString server = m_server.host(QUrl::FullyEncoded);
    for (const Cookie &cookie : job.cookies) {
        const bool isForServer =
            server == cookie.domain || (cookie.forSubdomains && server.endsWith(u'.' + cookie.domain));
        if (!m_everywhere && (!isForServer || m_server.scheme() == "file"_L1))
            continue;
        QString host = m_everywhere ? cookie.domain : server;
        if (host.contains(u':'))
            host = u'[' + host + u']';
        QJsonObject parameters{{u"name"_s, cookie.name},
                               {u"value"_s, cookie.value},
                               {u"url"_s, (cookie.isSecure ? u"https://"_s : u"http://"_s) + host},
                               {u"path"_s, cookie.path},
                               {u"secure"_s, cookie.isSecure},
                               {u"httpOnly"_s, cookie.isHttpOnly}};
        // Otherwise for this host alone.
        if (m_everywhere && cookie.forSubdomains)
            parameters.insert(u"domain"_s, cookie.domain);
        if (cookie.expires > 0)
            parameters.insert(u"expires"_s, cookie.expires);
        const Session::Reply reply = m_session.ask(u"Network.setCookie"_s, parameters);
        if (!reply.error.isEmpty() || !reply.result["success"_L1].toBool())
            throw Failure(ExitCode::BadArguments,
                          u"the browser refuses a cookie of --cookie-jar for %1"_s.arg(cookie.domain),
                          Failure::Retry::IsInVain);
    }
}

void Authentication::noteFrame(const QJsonObject &event)
{
    m_parents.insert(event["frameId"_L1].toString(), event["parentFrameId"_L1].toString());
}

bool Authentication::isNamed(const QString &url) const
{
    return m_server.scheme() != "file"_L1 && isSameServer(m_server, QUrl(url));
}

/// Whether this is a request to the named server that its own documents make.
bool Authentication::isOwn(const QJsonObject &event) const
{
    const QJsonObject request = event["request"_L1].toObject();
    const QString frame = event["frameId"_L1].toString();
    if (!isNamed(request["url"_L1].toString()) || !isAmongOwnDocuments(frame))
        return false;
    // Foreign frames can lead the whole page elsewhere, but not in the name of another document.
    const bool leadsThePage = frame == m_mainFrame && event["resourceType"_L1].toString() == "Document"_L1;
    return !leadsThePage || m_foreign.isEmpty() || isNamed(headerOf(request, u"referer"_s));
}

/// Whether the frame and those around it have shown documents of the named server alone.
bool Authentication::isAmongOwnDocuments(const QString &frame) const
{
    QString each = frame;
    while (!m_foreign.contains(each)) {
        if (each == m_mainFrame)
            return true;
        const auto parent = m_parents.constFind(each);
        // A worker, which may belong to any frame.
        if (parent == m_parents.constEnd())
            return m_foreign.isEmpty();
        each = *parent;
    }
    return false;
}

QString Authentication::authorization(const QJsonObject &request)
{
    const QByteArray nonce = QByteArray::number(QRandomGenerator::system()->generate64(), 16);
    return QString::fromUtf8(authorizationFor(*m_challenge, m_forServer,
                                              request["method"_L1].toString().toUtf8(),
                                              targetOf(request["url"_L1].toString()), ++m_answers, nonce));
}

/// The job's headers instead of those of the same names; cookies beside the browser's.
void Authentication::addHeaders(QJsonObject &headers) const
{
    for (const Header &header : m_headers) {
        QString value = header.value;
        const QStringList names = headers.keys();
        for (const QString &name : names) {
            if (name.compare(header.name, Qt::CaseInsensitive) != 0)
                continue;
            const QString own = headers.take(name).toString();
            if (name.compare("cookie"_L1, Qt::CaseInsensitive) == 0 && !own.isEmpty())
                value += u"; "_s + own;
        }
        headers.insert(header.name, value);
    }
}

/// A Cookie header without the job's cookies.
QString Authentication::withoutCookies(const QString &cookies) const
{
    QStringList kept = cookies.split(u';');
    kept.removeIf([this](const QString &cookie) {
        return m_cookies.contains(cookie.contains(u'=') ? cookie.section(u'=', 0, 0).trimmed() : QString());
    });
    return kept.join(u';').trimmed();
}

void Authentication::noteRequest(const QJsonObject &event, const QString &session)
{
    const QJsonObject request = event["request"_L1].toObject();
    const QString url = request["url"_L1].toString();
    if (event["resourceType"_L1].toString() == "Document"_L1 && !isNamed(url) && isFromServer(QUrl(url)))
        m_foreign.insert(event["frameId"_L1].toString());
    const bool isOwnRequest = isOwn(event);
    const QJsonObject before = request["headers"_L1].toObject();
    QJsonObject headers = before;
    if (isOwnRequest && m_challenge && !hasAuthorization(request))
        headers.insert(u"Authorization"_s, authorization(request));
    if (isOwnRequest || (m_everywhere && url.startsWith("http"_L1)))
        addHeaders(headers);
    // Without this header the browser would add all of its own.
    if (!isOwnRequest && !m_cookies.isEmpty() && headers.contains("Cookie"_L1))
        headers.insert(u"Cookie"_s, withoutCookies(headers["Cookie"_L1].toString()));
    QJsonObject continued{{u"requestId"_s, event["requestId"_L1]}};
    if (headers != before) {
        QJsonArray list;
        for (auto header = headers.begin(); header != headers.end(); ++header)
            list.append(QJsonObject{{u"name"_s, header.key()}, {u"value"_s, *header}});
        continued.insert(u"headers"_s, list);
    }
    m_session.post(u"Fetch.continueRequest"_s, continued, session);
}

/// Has a request that the server has refused made again, now with an answer.
void Authentication::noteResponse(const QJsonObject &event, const QString &session)
{
    const QJsonObject request = event["request"_L1].toObject();
    std::optional<Challenge> challenge;
    if (m_forServer.known() && event["responseStatusCode"_L1].toInt() == 401 && isOwn(event))
        challenge = challengeIn(challengesIn(event));
    // Refused again after an answer, the answer was wrong, or only too old.
    const bool isStale = challenge && challenge->parameters["stale"].toLower() == "true";
    if (!challenge || (hasAuthorization(request) && !isStale)) {
        m_session.post(u"Fetch.continueRequest"_s, {{u"requestId"_s, event["requestId"_L1]}}, session);
        return;
    }
    m_challenge = challenge;
    m_answers = 0;
    const QJsonObject location{{u"name"_s, u"Location"_s}, {u"value"_s, request["url"_L1]}};
    m_session.post(u"Fetch.fulfillRequest"_s,
                   {{u"requestId"_s, event["requestId"_L1]},
                    {u"responseCode"_s, 307},
                    {u"responseHeaders"_s, QJsonArray{location}},
                    // Without one the browser would wait for it.
                    {u"body"_s, QString()}},
                   session);
}

/// What the browser asks for itself: the proxy's credentials, or the server's, which it is not to know.
void Authentication::noteQuestion(const QJsonObject &event, const QString &session)
{
    const QString request = event["requestId"_L1].toString();
    const bool byProxy = event["authChallenge"_L1].toObject()["source"_L1].toString() == "Proxy"_L1;
    QJsonObject answer{{u"response"_s, u"CancelAuth"_s}};
    // Asked again after an answer, the answer was wrong.
    if (byProxy && m_forProxy.known() && !m_answeredForProxy.contains(request)) {
        m_answeredForProxy.insert(request);
        answer = {{u"response"_s, u"ProvideCredentials"_s},
                  {u"username"_s, m_forProxy.userName},
                  {u"password"_s, m_forProxy.password}};
    }
    m_session.post(u"Fetch.continueWithAuth"_s,
                   {{u"requestId"_s, request}, {u"authChallengeResponse"_s, answer}}, session);
}
