#pragma once

#include "engine/job/deadline.h"

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

/// One message of the browser: a reply or an event.
struct Message : QJsonObject {
    /// The bytes that a large reply carries as base64 in its result's "data", which is then empty.
    QByteArray data;
    bool cancels = false; ///< put by Session::cancel(); nothing that the browser says does this
};

/// In bytes. No message but one with a PDF is nearly as large.
inline constexpr qsizetype largestMessage = 512LL << 20;

/// Where the messages of one session wait until the thread that works for the session takes them.
class Mailbox
{
public:
    /// Adds a message; called by the connection's reader.
    void put(Message message);
    /// Nothing will come any more.
    void close();
    /// The oldest message; nothing when none has come by the deadline or none will come any more.
    std::optional<Message> take(Deadline deadline);
    bool closed() const;

    /// A reply of more bytes than this, at first largestMessage, is not read to its end; an error takes its
    /// place, tooLargeError.
    void setLargestReply(qsizetype bytes) { m_largestReply = bytes; }
    qsizetype largestReply() const { return m_largestReply; }

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Message> m_messages;
    bool m_closed = false;
    std::atomic<qsizetype> m_largestReply = largestMessage;
};

inline constexpr char tooLargeError[] = "the reply is too large";

/// The browser's pipe: null-terminated JSON messages both ways. Any number of threads may send; a reader of
/// its own puts a reply into the mailbox of who asked, and an event into those of its session.
class Connection
{
public:
    /// Takes the descriptors for the object's life without owning them: they must stay open longer.
    /// `errors` is read as well, so that the browser never waits for a reader, and its last lines are kept.
    Connection(int toBrowser, int fromBrowser, int errors);
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;
    ~Connection();

    /// Events of the session `id` go to `mailbox` too from now on; the empty id is the browser itself.
    void attach(const QString &id, const std::shared_ptr<Mailbox> &mailbox);
    void detach(const QString &id, const std::shared_ptr<Mailbox> &mailbox);

    /// Sends a command and returns its number, by which the reply is known; the reply goes to `replyTo`, or
    /// is dropped if that is null. A command to a browser that is gone is dropped: its mailboxes are closed.
    /// Throws Failure(OutOfTime) when the browser does not take it by the deadline.
    int send(const QString &session, const QString &method, const QJsonObject &parameters, Deadline deadline,
             const std::shared_ptr<Mailbox> &replyTo);

    /// Whether the browser has ever sent anything.
    bool heardOf() const;
    /// Whether the browser has gone.
    bool ended() const;
    /// The last lines that the browser wrote to its standard error, at most 4096 bytes.
    QByteArray lastErrors() const;

private:
    void read();
    bool isTooLarge(const QByteArray &beginning) const;
    void deliver(QByteArray text);
    void keepErrors(const char *bytes, size_t count);

    int m_toBrowser;
    int m_fromBrowser;
    int m_errors;
    int m_wakeReader[2]{-1, -1};
    std::mutex m_sending;
    int m_lastId = 0;
    mutable std::mutex m_mutex;
    QMultiHash<QString, std::shared_ptr<Mailbox>> m_mailboxes;
    QHash<int, std::shared_ptr<Mailbox>> m_awaited;
    QByteArray m_lastErrors;
    bool m_heardOf = false;
    bool m_ended = false;
    std::thread m_reader;
};
