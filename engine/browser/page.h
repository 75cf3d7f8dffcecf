#pragma once

#include "engine/browser/input.h"
#include "engine/browser/session.h"
#include "engine/job.h"

#include <QByteArray>
#include <QHash>
#include <QSet>
#include <QSize>
#include <QUrl>

/// A blank page in a browser context of its own: it shares no cookie, cache, storage or credential with any
/// other. Loads one document and prints it.
///
/// Besides its own failures, everything here fails as Session does.
class Page
{
public:
    /// Opens the context and the page in it. With a proxy everything but files is fetched through it, the
    /// machine's own servers included.
    Page(Connection &connection, const std::optional<Proxy> &proxy, Deadline deadline);

    /// Loads the job's input and returns when it is whole: after its load event, with its fonts and images,
    /// what its scripts build and what they fetch. What is not whole 30 s after the start is taken as it is.
    /// Throws Failure(NotLoaded) with the reason when there is no page.
    void load(const Job &job);

    /// Prints the loaded document on the job's paper, 10 mm of margin around it unless the page has margins
    /// of its own. Returns the PDF, tagged and with an outline unless the job wants the smallest file.
    QByteArray print(const Job &job);

private:
    struct Request {
        QString session;
        QString loader;
        /// Made to go on, such as an event stream: nobody waits for its end.
        bool lasting = false;
    };

    void listen();
    void configure(const Job &job, const Address &address);
    void noteLifecycle(const QJsonObject &event);
    void noteNavigation(const QJsonObject &frame);
    void noteRequest(const QString &session, const QJsonObject &event);
    void noteResponse(const QJsonObject &event);
    void noteRequestEnd(const QJsonObject &event);

    struct Credentials {
        QString userName;
        QString password;

        bool known() const { return !userName.isEmpty() || !password.isEmpty(); }
    };
    /// The server at `address` is the only one that is told `forServer`.
    void answerAuthentication(const QUrl &address, const Credentials &forServer, const Credentials &forProxy);

    void navigate(const Address &address);
    void awaitLoadEvent();
    void settle(const Job &job);
    void letTimePass(std::chrono::milliseconds duration);
    void spendTime(const QString &policy, std::chrono::milliseconds duration,
                   const std::function<bool()> &orUntil);
    void awaitRequests();
    void letTimeFlow(std::chrono::milliseconds duration);
    void awaitWorkers(const Job &job);
    void awaitFrame();
    /// What has been found, and done, in the documents of all frames.
    struct Preparation {
        bool changed = false; ///< something has been set going
        bool animated = false;
        bool watchesScrolling = false;
        bool awaitsWorker = false;
        bool hasScripts = false;
    };
    std::optional<Preparation> prepare(const Job &job);
    bool inspectSheets();
    void findClosedTrees();
    void changeUnreadableSheets(QJsonObject settings);
    struct FrameResult {
        QString frame;
        QJsonObject value;
    };
    QList<FrameResult> runInFrames(const char *script, const QJsonObject &argument);
    void enlargeText(double minimumPixels, int byBrowser);
    bool fetchPictures(const QList<FrameResult> &results, QJsonObject &pictures);
    void setViewport(double width, double height);
    void showWhole();
    void takeAsItIs(const Job &job);
    bool isQuiet() const;
    Session::Reply printed(const QJsonObject &settings);

    Session m_browser;
    QString m_context;
    /// Also the id of the page's main frame.
    QString m_target;
    Session m_session;

    QString m_shownAddress;
    /// In CSS pixels.
    QSize m_viewport;
    /// Identifies the document that the main frame holds or is about to.
    QString m_loader;
    bool m_loadEvent = false;
    bool m_timeHasPassed = false;
    bool m_inspectsSheets = false;
    /// Ids of sheets from files that have not been looked at yet.
    QStringList m_newSheets;
    /// Elements that bring sheets along: the ids of their frames, and their own, which have not been looked
    /// at yet.
    QList<std::pair<QString, QJsonValue>> m_newStyles;
    /// By request id.
    QHash<QString, Request> m_requests;
    /// Requests whose question for a name and password has been answered.
    QSet<QString> m_answered;
    /// Counts what has happened to the page: documents, requests.
    int m_events = 0;
    Deadline m_patience;
};
