#pragma once

#include "engine/base/deadline.h"
#include "engine/base/descriptor.h"

#include <QByteArray>
#include <QHash>
#include <QJsonObject>
#include <QString>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

/// One message from the browser: a reply or an event.
struct Message : QJsonObject {
    /// The decoded base64 "data" of a large reply's result; that entry is then empty.
    QByteArray data;
    bool cancels = false; ///< put by Session::cancel(); never comes from the browser
};

/// In bytes. Only messages with a PDF come near this.
inline constexpr qsizetype maximumMessageBytes = 512LL << 20;

/// The queue of messages for one session, taken by the session's thread.
class Mailbox
{
public:
    /// Adds a message; called by the connection's reader thread.
    void put(Message message);
    /// No further messages will be put.
    void close();
    /// Removes and returns the oldest message; nothing if there is none by the deadline, or none and the
    /// mailbox is closed.
    std::optional<Message> take(Deadline deadline);
    bool closed() const;

    /// A reply of more bytes than this, by default maximumMessageBytes, is replaced by the error
    /// tooLargeError and not kept in memory.
    void setMaximumReply(qsizetype bytes) { m_maximumReply = bytes; }
    qsizetype maximumReply() const { return m_maximumReply; }

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Message> m_messages;
    bool m_closed = false;
    std::atomic<qsizetype> m_maximumReply = maximumMessageBytes;
};

inline constexpr char tooLargeError[] = "the reply is too large";

/// The browser's pipe: null-terminated JSON messages in both directions. Any thread may send. A reader thread
/// puts each reply into the mailbox given with the command, and each event into the mailboxes of its session.
class Connection
{
public:
    /// Borrows the descriptors, which must stay open longer than this object. `errors` is the browser's
    /// standard error; it is read so that the browser never blocks on it, and its last lines are kept.
    Connection(int toBrowser, int fromBrowser, int errors);
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;
    ~Connection();

    /// From now on puts events of the session `id` into `mailbox` too; the empty id is the browser's session.
    void attach(const QString &id, const std::shared_ptr<Mailbox> &mailbox);
    void detach(const QString &id, const std::shared_ptr<Mailbox> &mailbox);

    /// Sends a command and returns its id, which the reply will have. The reply goes to `replyTo`, or is
    /// discarded if that is null. If the browser has ended, the command is discarded; its mailboxes are
    /// closed. Throws Failure(OutOfTime) if the pipe does not take the command by the deadline. A command
    /// written in part is completed before the next one.
    int send(const QString &session, const QString &method, const QJsonObject &parameters, Deadline deadline,
             const std::shared_ptr<Mailbox> &replyTo);

    /// Whether the browser has ever sent a message.
    bool hasResponded() const;
    /// Whether the browser has closed the pipe.
    bool ended() const;
    /// The last lines that the browser wrote to its standard error, at most 4096 bytes.
    QByteArray lastErrors() const;

private:
    bool writePending(Deadline deadline);
    void read();
    bool isTooLarge(const QByteArray &beginning) const;
    void deliver(QByteArray text);
    void keepErrors(const char *bytes, size_t count);

    int m_toBrowser;
    int m_fromBrowser;
    int m_errors;
    /// Its write end is closed to stop the reader.
    Pipe m_stop;
    std::timed_mutex m_sending;
    /// The unwritten rest of a command.
    QByteArray m_pending;
    int m_lastId = 0;
    mutable std::mutex m_mutex;
    QMultiHash<QString, std::shared_ptr<Mailbox>> m_mailboxes;
    QHash<int, std::shared_ptr<Mailbox>> m_awaited;
    QByteArray m_lastErrors;
    bool m_hasResponded = false;
    bool m_ended = false;
    std::thread m_reader;
};
