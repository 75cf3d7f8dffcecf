#include "engine/devtools/connection.h"

#include "engine/job/failure.h"

#include <QJsonDocument>
#include <QLoggingCategory>
#include <QRegularExpression>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>
#include <utility>
#include <vector>

/// All messages in both directions, enabled by QT_LOGGING_RULES="quirelle.pipe.debug=true". They may contain
/// secrets of pages, so this is off by default.
Q_LOGGING_CATEGORY(pipeLog, "quirelle.pipe", QtWarningMsg)

namespace
{

constexpr qsizetype maximumErrorBytes = 4096;
constexpr qsizetype maximumLoggedBytes = 400;
/// How long to wait for more lines on standard error once the browser has ended, in milliseconds.
constexpr int finalErrorsTimeout = 200;
constexpr int maximumFinalReads = 20;

void makeNonBlocking(int descriptor)
{
    ::fcntl(descriptor, F_SETFL, ::fcntl(descriptor, F_GETFL) | O_NONBLOCK);
}

/// The beginning of a message, without user names, passwords, cookies, and the values of headers.
QByteArray logged(const QByteArray &message)
{
    static const QRegularExpression secret(
        QStringLiteral(R"re(("(?:username|password|(?:proxy-)?authorization)":|)re"
                       R"re("name":"[^"]*","value":)"(?:[^"\\]|\\.)*)re"),
        QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression headers(
        QStringLiteral(R"re(("headers(?:Text)?":)(?:\{(?:"(?:[^"\\]|\\.)*"?|[^"}])*|"(?:[^"\\]|\\.)*))re"),
        QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression cookies(
        QStringLiteral(R"re(("method":"Network\.(?:setCookie|[A-Za-z]+ExtraInfo)").*)re"),
        QRegularExpression::DotMatchesEverythingOption);
    QString text = QString::fromUtf8(message.left(maximumLoggedBytes));
    text.replace(cookies, QStringLiteral("\\1***"));
    text.replace(headers, QStringLiteral("\\1***"));
    return text.replace(secret, QStringLiteral("\\1\"***")).toUtf8();
}

int millisecondsUntil(Deadline deadline)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline.time() - Deadline::Clock::now());
    return static_cast<int>(std::max<qint64>(left.count(), 0));
}

/// Removes the base64 text of "data" from a large reply, so that it need not be parsed as JSON, and returns
/// the decoded bytes; empty if there is none.
QByteArray takeData(QByteArray &message)
{
    constexpr qsizetype minimumSize = 1 << 15;
    constexpr qsizetype maximumOffset = 100;
    constexpr QByteArrayView key = "\"data\":\"";
    if (message.size() < minimumSize || !message.startsWith("{\"id\":"))
        return {};
    const qsizetype start = QByteArrayView(message).first(maximumOffset).indexOf(key) + key.size();
    const qsizetype end = message.indexOf('"', start);
    if (start < key.size() || end < 0)
        return {};
    const auto text = QByteArray::fromRawData(message.constData() + start, end - start);
    QByteArray data = *QByteArray::fromBase64Encoding(text, QByteArray::AbortOnBase64DecodingErrors);
    if (!data.isEmpty())
        message.remove(start, end - start);
    return data;
}

/// The number of the command that the message with this beginning is the reply to; 0 if it is no reply.
int repliedTo(const QByteArray &beginning)
{
    constexpr QByteArrayView key = "{\"id\":";
    return beginning.startsWith(key) ? std::atoi(beginning.constData() + key.size()) : 0;
}

Failure sendTimeout()
{
    return {ExitCode::OutOfTime, QStringLiteral("the browser accepts no more commands")};
}

QByteArray errorReply(int id)
{
    return "{\"id\":" + QByteArray::number(id) + ",\"error\":{\"message\":\"" + tooLargeError + "\"}}";
}

void enlargeBuffer(int pipe)
{
#ifdef __linux__
    // The default maximum for ordinary users. A failure only makes reading slower.
    constexpr int pipeSize = 1 << 20;
    ::fcntl(pipe, F_SETPIPE_SZ, pipeSize);
#endif
}

} // namespace

void Mailbox::put(Message message)
{
    {
        const std::lock_guard lock(m_mutex);
        m_messages.push_back(std::move(message));
    }
    m_changed.notify_one();
}

void Mailbox::close()
{
    {
        const std::lock_guard lock(m_mutex);
        m_closed = true;
    }
    m_changed.notify_one();
}

std::optional<Message> Mailbox::take(Deadline deadline)
{
    std::unique_lock lock(m_mutex);
    m_changed.wait_until(lock, deadline.time(), [this] { return !m_messages.empty() || m_closed; });
    if (m_messages.empty())
        return std::nullopt;
    Message message = std::move(m_messages.front());
    m_messages.pop_front();
    return message;
}

bool Mailbox::closed() const
{
    const std::lock_guard lock(m_mutex);
    return m_closed && m_messages.empty();
}

Connection::Connection(int toBrowser, int fromBrowser, int errors)
    : m_toBrowser(toBrowser), m_fromBrowser(fromBrowser), m_errors(errors)
{
    std::optional<Pipe> stop = makePipe();
    if (!stop)
        throw Failure(ExitCode::NoBrowser, QStringLiteral("no file descriptor left"));
    m_stop = std::move(*stop);
    makeNonBlocking(m_toBrowser);
    makeNonBlocking(m_fromBrowser);
    makeNonBlocking(m_errors);
    // A whole PDF is one message.
    enlargeBuffer(m_fromBrowser);
    m_reader = std::thread([this] { read(); });
}

Connection::~Connection()
{
    m_stop.writeEnd.reset();
    m_reader.join();
}

void Connection::attach(const QString &id, const std::shared_ptr<Mailbox> &mailbox)
{
    const std::lock_guard lock(m_mutex);
    if (m_ended)
        mailbox->close();
    m_mailboxes.insert(id, mailbox);
}

void Connection::detach(const QString &id, const std::shared_ptr<Mailbox> &mailbox)
{
    const std::lock_guard lock(m_mutex);
    m_mailboxes.remove(id, mailbox);
}

int Connection::send(const QString &session, const QString &method, const QJsonObject &parameters,
                     Deadline deadline, const std::shared_ptr<Mailbox> &replyTo)
{
    std::unique_lock lock(m_sending, deadline.time());
    if (!lock || !writePending(deadline))
        throw sendTimeout();
    QJsonObject command{{QStringLiteral("id"), ++m_lastId}, {QStringLiteral("method"), method}};
    if (!parameters.isEmpty())
        command.insert(QStringLiteral("params"), parameters);
    if (!session.isEmpty())
        command.insert(QStringLiteral("sessionId"), session);
    m_pending = QJsonDocument(command).toJson(QJsonDocument::Compact);
    qCDebug(pipeLog) << ">" << logged(m_pending).constData();
    m_pending.append('\0');
    if (replyTo) {
        const std::lock_guard awaitedLock(m_mutex);
        m_awaited.insert(m_lastId, replyTo);
    }
    const qsizetype size = m_pending.size();
    if (!writePending(deadline)) {
        // The exception leaves nobody waiting for the reply.
        const std::lock_guard awaitedLock(m_mutex);
        m_awaited.remove(m_lastId);
        if (m_pending.size() == size)
            m_pending.clear();
        throw sendTimeout();
    }
    return m_lastId;
}

/// Writes m_pending. False if the deadline passes; the unwritten rest then stays in m_pending. Discards it if
/// the browser has ended.
bool Connection::writePending(Deadline deadline)
{
    const char *next = m_pending.constData();
    const char *end = next + m_pending.size();
    while (next < end) {
        const ssize_t written = ::write(m_toBrowser, next, static_cast<size_t>(end - next));
        if (written > 0) {
            next += written;
        } else if (errno == EAGAIN) {
            pollfd pipe{m_toBrowser, POLLOUT, 0};
            if (::poll(&pipe, 1, millisecondsUntil(deadline)) == 0)
                break;
        } else if (errno != EINTR) {
            next = end;
        }
    }
    m_pending.remove(0, next - m_pending.constData());
    return m_pending.isEmpty();
}

bool Connection::ended() const
{
    const std::lock_guard lock(m_mutex);
    return m_ended;
}

bool Connection::hasResponded() const
{
    const std::lock_guard lock(m_mutex);
    return m_hasResponded;
}

QByteArray Connection::lastErrors() const
{
    const std::lock_guard lock(m_mutex);
    return m_lastErrors;
}

void Connection::read()
{
    std::vector<char> buffer(size_t(1) << 18);
    QByteArray message;
    bool skipping = false;
    bool errorsOpen = true;
    bool hasEnded = false;
    for (;;) {
        std::array<pollfd, 3> sources{{{m_fromBrowser, POLLIN, 0},
                                       {m_stop.readEnd.get(), POLLIN, 0},
                                       {errorsOpen ? m_errors : -1, POLLIN, 0}}};
        if (::poll(sources.data(), sources.size(), -1) < 0 && errno != EINTR)
            break;
        if (sources[1].revents != 0)
            break; // the destructor
        if (sources[2].revents != 0) {
            const ssize_t count = ::read(m_errors, buffer.data(), buffer.size());
            if (count > 0)
                keepErrors(buffer.data(), static_cast<size_t>(count));
            else if (count == 0 || (errno != EAGAIN && errno != EINTR))
                errorsOpen = false;
        }
        if (sources[0].revents == 0)
            continue;
        const ssize_t count = ::read(m_fromBrowser, buffer.data(), buffer.size());
        if (count < 0 && (errno == EAGAIN || errno == EINTR))
            continue;
        if (count <= 0) {
            hasEnded = true;
            break;
        }
        const char *next = buffer.data();
        const char *end = next + count;
        while (next < end) {
            const auto *stop = static_cast<const char *>(memchr(next, '\0', static_cast<size_t>(end - next)));
            if (!skipping)
                message.append(next, (stop ? stop : end) - next);
            if (isTooLarge(message)) {
                deliver(errorReply(repliedTo(std::exchange(message, {}))));
                skipping = true;
            }
            if (!stop)
                break;
            if (!std::exchange(skipping, false))
                deliver(std::exchange(message, {}));
            next = stop + 1;
        }
    }
    // The last lines on standard error may tell why the browser ended. If it never started, a wrapper script
    // may still be writing an error.
    pollfd errors{m_errors, POLLIN, 0};
    const int timeout = hasEnded && !m_hasResponded ? finalErrorsTimeout : 0;
    for (int reads = 0; errorsOpen && reads < maximumFinalReads; ++reads) {
        if (::poll(&errors, 1, timeout) <= 0)
            break;
        const ssize_t count = ::read(m_errors, buffer.data(), buffer.size());
        if (count <= 0)
            break;
        keepErrors(buffer.data(), static_cast<size_t>(count));
    }

    const std::lock_guard lock(m_mutex);
    m_ended = true;
    for (const std::shared_ptr<Mailbox> &mailbox : std::as_const(m_mailboxes))
        mailbox->close();
}

bool Connection::isTooLarge(const QByteArray &beginning) const
{
    // Saves looking up the mailbox for most messages.
    constexpr qsizetype small = 1 << 18;
    if (beginning.size() <= small)
        return false;
    const std::lock_guard lock(m_mutex);
    const auto mailbox = m_awaited.value(repliedTo(beginning));
    return beginning.size() > (mailbox ? mailbox->maximumReply() : maximumMessageBytes);
}

void Connection::deliver(QByteArray text)
{
    qCDebug(pipeLog) << "<" << logged(text).constData();
    QByteArray data = takeData(text);
    Message object{QJsonDocument::fromJson(text).object(), std::move(data)};
    const QString session = object.value(QLatin1String("sessionId")).toString();
    const QJsonValue id = object.value(QLatin1String("id"));
    const std::lock_guard lock(m_mutex);
    m_hasResponded = true;
    if (!id.isUndefined()) {
        if (const auto mailbox = m_awaited.take(id.toInt()))
            mailbox->put(std::move(object));
        return;
    }
    for (auto entry = m_mailboxes.constFind(session);
         entry != m_mailboxes.constEnd() && entry.key() == session; ++entry)
        entry.value()->put(object);
}

void Connection::keepErrors(const char *bytes, size_t count)
{
    const std::lock_guard lock(m_mutex);
    m_lastErrors.append(bytes, static_cast<qsizetype>(count));
    m_lastErrors = m_lastErrors.right(maximumErrorBytes);
}
