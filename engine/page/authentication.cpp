#include "engine/page/authentication.h"

#include <QSet>
#include <QUrl>

namespace
{

using namespace Qt::StringLiterals;

struct Credentials {
    QString userName;
    QString password;

    bool known() const { return !userName.isEmpty() || !password.isEmpty(); }
};

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

/// What is answered to whom.
class Answers
{
public:
    Answers(const QUrl &server, const Credentials &forServer, const Credentials &forProxy)
        : m_server(server), m_forServer(forServer), m_forProxy(forProxy)
    {
    }

    QJsonObject answerTo(const QString &request, const QJsonObject &challenge)
    {
        const bool byProxy = challenge["source"_L1].toString() == "Proxy"_L1;
        const Credentials &credentials = byProxy ? m_forProxy : m_forServer;
        const bool trusted = byProxy || isSameServer(m_server, QUrl(challenge["origin"_L1].toString()));
        // Asked again after an answer, the answer was wrong.
        const QString question = request + (byProxy ? u"/proxy"_s : QString());
        if (!credentials.known() || !trusted || m_answered.contains(question))
            return {{u"response"_s, u"CancelAuth"_s}};
        m_answered.insert(question);
        return {{u"response"_s, u"ProvideCredentials"_s},
                {u"username"_s, credentials.userName},
                {u"password"_s, credentials.password}};
    }

private:
    QUrl m_server;
    Credentials m_forServer;
    Credentials m_forProxy;
    QSet<QString> m_answered;
};

} // namespace

void answerAuthentication(Session &session, const Job &job, const Address &address)
{
    const bool byOptions = !job.userName.isEmpty() || !job.password.isEmpty();
    const Credentials forServer{byOptions ? job.userName : address.userName,
                                byOptions ? job.password : address.password};
    const Credentials forProxy =
        job.proxy ? Credentials{job.proxy->userName, job.proxy->password} : Credentials();
    if (!forServer.known() && !forProxy.known())
        return;
    const auto answers = std::make_shared<Answers>(QUrl(address.url), forServer, forProxy);
    session.on(u"Fetch.requestPaused"_s, [&session](const QJsonObject &event, const QString &from) {
        session.post(u"Fetch.continueRequest"_s, {{u"requestId"_s, event["requestId"_L1]}}, from);
    });
    session.on(u"Fetch.authRequired"_s, [&session, answers](const QJsonObject &event, const QString &from) {
        const QJsonValue request = event["requestId"_L1];
        const QJsonObject answer =
            answers->answerTo(request.toString(), event["authChallenge"_L1].toObject());
        session.post(u"Fetch.continueWithAuth"_s,
                     {{u"requestId"_s, request}, {u"authChallengeResponse"_s, answer}}, from);
    });
    session.post(u"Fetch.enable"_s, {{u"handleAuthRequests"_s, true}});
}
