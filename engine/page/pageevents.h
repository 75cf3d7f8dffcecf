#pragma once

#include "engine/devtools/session.h"
#include "engine/page/warnings.h"

#include <QHash>
#include <QSet>

#include <chrono>

/// What happens to a page, as the browser tells it: documents, requests, frames, workers, sockets, dialogs.
/// Fails the session with NotLoaded when the page turns out to be none, and with Crashed when it crashes.
class PageEvents
{
public:
    /// Listens from now on. `mainFrame` is the id of the page's main frame, `context` that of its browser
    /// context, empty for the browser's own.
    PageEvents(Session &session, const QString &mainFrame, const QString &context);

    /// What messages call the page.
    void setShownAddress(const QString &address) { m_shownAddress = address; }

    /// Sends this command to every child frame and worker from now on, before it runs.
    void sendToChildren(const QString &method, const QJsonObject &parameters)
    {
        m_forChildren.emplace_back(method, parameters);
    }

    /// Identifies the document that the main frame holds or is about to.
    const QString &document() const { return m_document; }
    /// Whether that document has had its load event.
    bool isLoaded() const { return m_loaded; }
    /// Whether it has been read to its end, or as far as it goes.
    bool isParsed() const { return m_parsed; }
    /// Whether a navigation of the main frame is scheduled for later.
    bool leadsOn() const { return m_leadsOn; }
    /// Whether the document has called window.print().
    bool asksForPrint() const { return m_asksForPrint; }

    /// Requests and navigations under way, but for requests made to last.
    int requests() const;
    /// Whether requests that are made to last, such as an event stream, are under way.
    bool hasLastingRequests() const;
    /// For how long the page's sockets and event streams are still waited for: one that connects, and one
    /// that may be about to say something.
    std::chrono::milliseconds channelWait() const;
    bool hasWorkers() const { return !m_workers.isEmpty(); }
    /// Of the document at hand, without credentials.
    const QString &address() const { return m_address; }
    /// How many requests there have been in all.
    int requestCount() const { return m_requestCount; }
    /// Counts what has happened: documents, requests, their ends, messages from servers, workers.
    int count() const { return m_count; }

    /// What is under way, for people: "a request to http://127.0.0.1/a.png".
    QStringList requestsUnderWay() const;
    /// Of the document at hand: requests that failed, and exceptions of its scripts.
    const PageProblems &problems() const { return m_problems; }

private:
    struct Request {
        QString session;
        QString document;
        QString address;
        /// Made to go on: nobody waits for its end.
        bool lasting = false;
        /// Of something that would be seen, or do something, in the page.
        bool isPart = true;
    };
    struct Channel {
        bool isConnected = false;
        std::chrono::steady_clock::time_point lastHeard;
    };

    void listenToDocuments();
    void listenToRequests();
    void listenToChannels();
    void listenToChildren(const QString &context);

    void noteLifecycle(const QJsonObject &event);
    void noteNavigation(const QJsonObject &frame);
    void noteDialog(const QString &session, const QJsonObject &event);
    void noteRequest(const QString &session, const QJsonObject &event);
    void noteResponse(const QJsonObject &event);
    void noteRequestEnd(const QJsonObject &event);
    void noteRequestFailure(const QJsonObject &event);
    void noteProblem(const QString &request, const QString &reason);
    void noteException(const QJsonObject &details);
    void noteChannel(const QString &id, bool isConnected);
    void noteChild(const QJsonObject &event);
    void noteChildsEnd(const QString &child);

    Session &m_session;
    QString m_mainFrame;
    QString m_shownAddress;
    QString m_document;
    QString m_address;
    int m_requestCount = 0;
    bool m_parsed = false;
    bool m_loaded = false;
    bool m_leadsOn = false;
    bool m_asksForPrint = false;
    std::vector<std::pair<QString, QJsonObject>> m_forChildren;
    /// By request id.
    QHash<QString, Request> m_requests;
    /// Frames on their way to another document, by id.
    QSet<QString> m_navigating;
    /// Sockets and event streams, by request id.
    QHash<QString, Channel> m_channels;
    /// Sessions of workers, with their kinds ("worker", "service_worker").
    QHash<QString, QString> m_workers;
    int m_count = 0;
    PageProblems m_problems;
};
