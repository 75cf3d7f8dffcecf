#pragma once

#include "engine/devtools/connection.h"
#include "engine/job/failure.h"

#include <QHash>
#include <QStringList>

#include <exception>
#include <functional>
#include <utility>
#include <vector>

/// Thrown by a wait that Session::cancel() has ended. Not a Failure, as it is not reported to the user.
struct Cancelled : std::exception {
    const char *what() const noexcept override { return "cancelled"; }
};

/// One protocol session: with the browser itself (empty id) or with a page. Used by one thread, which sends
/// commands; event handlers run in it while it waits.
///
/// Every wait throws Failure(OutOfTime), naming the activity, when the session's deadline passes, and
/// Failure(Crashed) when the browser ends, or Failure(NoBrowser) if it has never responded.
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

    /// What is being done, for error messages: "loading the page".
    void setActivity(const QString &activity) { m_activity = activity; }

    /// The reply to a command: a result, or the browser's error message.
    struct Reply {
        QJsonObject result;
        /// See Message::data.
        QByteArray data;
        QString error;
    };

    /// Sends a command and waits for its reply; events are handled meanwhile.
    Reply ask(const QString &method, const QJsonObject &parameters = {});
    /// Same, but waits no longer than `bound` and then returns nothing; a later reply is discarded. Sends to
    /// the child session `to` if that is not empty.
    std::optional<Reply> ask(const QString &method, const QJsonObject &parameters, Deadline bound,
                             const QString &to = {});
    /// The two halves of ask(): sends the command, for which something else can be done meanwhile; and waits
    /// for its reply, once.
    int begin(const QString &method, const QJsonObject &parameters = {}, const QString &to = {});
    std::optional<Reply> replyTo(int id, Deadline bound);
    bool hasReplied(int id) const { return m_begun.value(id).has_value(); }
    /// Same as the first ask(), but calls `nudge` after every `interval` without the reply, and returns
    /// nothing when `bound`, if given, passes.
    std::optional<Reply> askUrgently(const QString &method, const QJsonObject &parameters,
                                     std::chrono::milliseconds interval, const std::function<void()> &nudge,
                                     std::optional<Deadline> bound = std::nullopt);
    /// Same as the first ask(), for a command that must succeed: throws Failure(Crashed) if the reply is an
    /// error.
    QJsonObject call(const QString &method, const QJsonObject &parameters = {});
    /// Sends a command without waiting for its reply, to the child session `to` if that is not empty.
    void post(const QString &method, const QJsonObject &parameters = {}, const QString &to = {});

    /// From now on calls `handler` with the parameters of every event of this name; an empty one ends that.
    /// Returns the handler until now, if any.
    Handler on(const QString &event, const Handler &handler);
    /// From now on handles events of the child session `id` too: of a frame in another process or of a
    /// worker.
    void adopt(const QString &id, bool isFrame);
    /// Stops handling events of the child session, which has ended.
    void release(const QString &id);
    /// The ids of this session and of its children that are frames.
    QStringList family() const;
    /// The ids of its children, frames and workers.
    QStringList children() const { return m_children.keys(); }
    /// From now on handles events of the browser's session too.
    void hearBrowser();
    /// Sends a command to the browser itself.
    void postToBrowser(const QString &method, const QJsonObject &parameters);

    /// Handles events until `condition` holds, which is checked after each; false if it does not by the
    /// bound.
    bool waitUntil(const std::function<bool()> &condition, Deadline bound);

    void setDeadline(Deadline deadline) { m_deadline = deadline; }
    Deadline deadline() const { return m_deadline; }
    /// In bytes. A larger reply is replaced by the error tooLargeError.
    void setMaximumReply(qsizetype bytes) { m_mailbox->setMaximumReply(bytes); }

    /// Makes the current wait, or else the next one, throw Cancelled. Callable from any thread.
    void cancel();

    /// To be called by an event handler: makes the wait that called it, and every later one, throw this
    /// failure.
    void fail(const Failure &failure);

private:
    static Reply replyIn(const Message &message);
    /// Handles one message. False when the bound passes; throws when the session's deadline passes or the
    /// browser ends.
    bool step(Deadline bound);

    Connection &m_connection;
    QString m_id;
    /// Whether it is a frame, by session id.
    QHash<QString, bool> m_children;
    Deadline m_deadline;
    QString m_activity;
    std::shared_ptr<Mailbox> m_mailbox;
    QHash<QString, Handler> m_handlers;
    /// The replies, as far as they have come, by the command's id. Others are discarded.
    QHash<int, std::optional<Reply>> m_begun;
    std::optional<Failure> m_failure;
};
