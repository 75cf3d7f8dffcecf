#pragma once

#include "engine/devtools/session.h"

#include <QHash>

/// What happens to a page, as the browser tells it: documents, requests, child frames and workers, dialogs.
/// Fails the session with NotLoaded when the page turns out to be none, and with Crashed when it crashes.
class PageEvents
{
public:
    /// Listens from now on. `mainFrame` is the id of the page's main frame.
    PageEvents(Session &session, const QString &mainFrame);

    /// What messages call the page.
    void setShownAddress(const QString &address) { m_shownAddress = address; }

    /// Identifies the document that the main frame holds or is about to.
    const QString &document() const { return m_document; }
    /// Whether that document has had its load event.
    bool isLoaded() const { return m_loaded; }
    /// Whether the server has named a page to go on to after a while.
    bool hasSuccessor() const { return m_hasSuccessor; }
    bool isIdle() const { return m_requests.isEmpty(); }
    /// Whether nothing is under way but what is made to last, such as an event stream.
    bool isQuiet() const;
    /// Whether all that is under way is made to last, and something is.
    bool isHeldUp() const { return !m_requests.isEmpty() && isQuiet(); }
    /// Counts what has happened: documents, requests, their ends.
    int count() const { return m_count; }

private:
    struct Request {
        QString session;
        QString document;
        /// Made to go on: nobody waits for its end.
        bool lasting = false;
    };

    void noteLifecycle(const QJsonObject &event);
    void noteNavigation(const QJsonObject &frame);
    void noteDialog(const QString &session, const QJsonObject &event);
    void noteRequest(const QString &session, const QJsonObject &event);
    void noteResponse(const QJsonObject &event);
    void noteRequestEnd(const QJsonObject &event);
    void noteRequestFailure(const QJsonObject &event);
    void noteChild(const QJsonObject &event);
    void noteChildsEnd(const QString &child);

    Session &m_session;
    QString m_mainFrame;
    QString m_shownAddress;
    QString m_document;
    bool m_loaded = false;
    bool m_hasSuccessor = false;
    /// By request id.
    QHash<QString, Request> m_requests;
    int m_count = 0;
};
