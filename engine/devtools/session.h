#pragma once

#include "engine/devtools/connection.h"
#include "engine/job/failure.h"

#include <QHash>
#include <QStringList>

#include <exception>
#include <functional>
#include <utility>
#include <vector>

/// Thrown by a wait that Session::cancel() has ended. No Failure: nobody is told of it.
struct Cancelled : std::exception {
    const char *what() const noexcept override { return "cancelled"; }
};

/// One conversation over the connection: with the browser itself (empty id) or with a page. Used by one
/// thread, which sends commands and is handed events while it waits.
///
/// Every wait ends at the session's deadline with Failure(OutOfTime), which names the activity, and at the
/// browser's end with Failure(Crashed), or Failure(NoBrowser) if it has never answered.
class Session
{
public:
    using Handler = std::function<void(const QJsonObject &parameters, const QString &session)>;

    Session(Connection &connection, const QString &id, Deadline deadline);
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;
    ~Session();

    /// Empty for the browser itself.
    const QString &id() const { return m_id; }

    /// What is being done, for messages: "loading the page".
    void setActivity(const QString &activity) { m_activity = activity; }

    /// What a command came back with: a result, or the browser's words for refusing it.
    struct Reply {
        QJsonObject result;
        /// What Message::data says.
        QByteArray data;
        QString error;
    };

    /// Sends a command and waits for its reply, handing out events meanwhile.
    Reply ask(const QString &method, const QJsonObject &parameters = {});
    /// Same, with at most this bound: nothing when no reply came in time. A reply that comes later is
    /// dropped. To the child session `to`, if that is not empty.
    std::optional<Reply> ask(const QString &method, const QJsonObject &parameters, Deadline bound,
                             const QString &to = {});
    /// Sends several commands at once and waits for the replies of all: those that have come by the bound.
    std::vector<std::optional<Reply>> askAll(const std::vector<std::pair<QString, QJsonObject>> &commands,
                                             Deadline bound);
    /// Same as the first, calling `nudge` whenever the reply has been out for another `interval`; nothing at
    /// the bound, if there is one.
    std::optional<Reply> askUrgently(const QString &method, const QJsonObject &parameters,
                                     std::chrono::milliseconds interval, const std::function<void()> &nudge,
                                     std::optional<Deadline> bound = std::nullopt);
    /// Same as the first, for a command that is never refused in the state the page is in; throws
    /// Failure(Crashed) if it is.
    QJsonObject call(const QString &method, const QJsonObject &parameters = {});
    /// Sends a command whose reply is of no interest, here or to the child session `to`.
    void post(const QString &method, const QJsonObject &parameters = {}, const QString &to = {});

    /// `handler` gets the parameters of every event of this name from now on; without one nobody does.
    /// Returns the handler that did so far, if any.
    Handler on(const QString &event, const Handler &handler);
    /// Events of the child session `id`, of a frame in another process or of a worker, come here as well.
    void adopt(const QString &id, bool isFrame);
    /// The child session is gone.
    void release(const QString &id);
    /// The ids of this session and of its children that are frames.
    QStringList family() const;
    /// The ids of its children, frames and workers.
    QStringList children() const { return m_children.keys(); }
    /// Events of the browser's own session come here as well.
    void hearBrowser();
    /// Sends a command to the browser itself.
    void postToBrowser(const QString &method, const QJsonObject &parameters);

    /// Hands out events until `condition` holds; returns whether it does by the bound.
    bool waitUntil(const std::function<bool()> &condition, Deadline bound);

    void setDeadline(Deadline deadline) { m_deadline = deadline; }
    /// In bytes; the reply to a command that has a larger one is the error tooLargeError.
    void setMaximumReply(qsizetype bytes) { m_mailbox->setMaximumReply(bytes); }

    /// Ends the wait at hand, or the next one, with Cancelled. From any thread.
    void cancel();

    /// Ends every wait with this failure as soon as the events at hand are dealt with.
    void fail(const Failure &failure);

private:
    std::optional<Reply> replyTo(int id, Deadline bound);
    static Reply replyIn(const Message &message);
    /// Takes one message, hands it out if it is an event, and returns it if it is a reply. Returns nothing
    /// when the bound passed; throws at the session's deadline and at the browser's end.
    std::optional<Message> step(Deadline bound);

    Connection &m_connection;
    QString m_id;
    /// Whether it is a frame, by session id.
    QHash<QString, bool> m_children;
    Deadline m_deadline;
    QString m_activity;
    std::shared_ptr<Mailbox> m_mailbox;
    QHash<QString, Handler> m_handlers;
    std::optional<Failure> m_failure;
};
