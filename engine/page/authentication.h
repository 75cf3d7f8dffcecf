#pragma once

#include "engine/devtools/session.h"
#include "engine/job/input.h"
#include "engine/job/job.h"
#include "engine/page/challenge.h"

#include <QHash>
#include <QJsonObject>
#include <QSet>
#include <QUrl>

/// Sends the job's headers and cookies, and answers the proxy and the server that ask for a user name and
/// password while the page of a session is loaded: the proxy always; the server only if it is the one that
/// the address names, and asks for a request of its own documents.
///
/// The browser itself never learns the server's credentials: it would send them with every request to that
/// server, whoever makes it. Instead each request is intercepted, and gets an Authorization header if its
/// frame and all frames around it have shown nothing but documents of that server. What is not intercepted
/// (web sockets, shared workers, new windows) gets none. The job's headers are sent with the same requests,
/// or with all. Its cookies are the browser's, for what scripts read of them, but all other requests lose
/// them: of themselves cookies go to every port of a host.
class Authentication
{
public:
    Authentication(Session &session, const QString &mainFrame) : m_session(session), m_mainFrame(mainFrame) {}
    Authentication(const Authentication &) = delete;
    Authentication &operator=(const Authentication &) = delete;

    /// The parameters of the command Fetch.enable that each session of the page needs from now on; empty for
    /// a job without credentials, headers and cookies, since intercepting requests has its price.
    QJsonObject begin(const Job &job, const Address &address);
    /// Whether the browser's caches must not be used: foreign frames would be given what own documents have
    /// loaded.
    bool forbidsCaches() const;
    /// Gives the browser the job's cookies. Throws Failure(BadArguments) for one that it refuses.
    void setCookies(const Job &job);

private:
    void noteFrame(const QJsonObject &event);
    void noteRequest(const QJsonObject &event, const QString &session);
    void noteResponse(const QJsonObject &event, const QString &session);
    void noteQuestion(const QJsonObject &event, const QString &session);
    bool isNamed(const QString &url) const;
    bool isOwn(const QJsonObject &event) const;
    bool isAmongOwnDocuments(const QString &frame) const;
    QString authorization(const QJsonObject &request);
    void addHeaders(QJsonObject &headers) const;
    QString withoutCookies(const QString &cookies) const;

    Session &m_session;
    QString m_mainFrame;
    QUrl m_server;
    QList<Header> m_headers;
    bool m_everywhere = false;
    /// The names of those that are for the named server alone.
    QSet<QString> m_cookies;
    Credentials m_forServer;
    Credentials m_forProxy;
    /// The parents of frames.
    QHash<QString, QString> m_parents;
    /// Frames that have ever been about to show a document of another server.
    QSet<QString> m_foreign;
    std::optional<Challenge> m_challenge;
    /// How often it has been answered.
    int m_answers = 0;
    /// Requests that have been answered for the proxy.
    QSet<QString> m_answeredForProxy;
};
