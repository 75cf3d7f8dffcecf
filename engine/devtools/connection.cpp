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

/// Every message both ways, for QT_LOGGING_RULES="quirelle.pipe.debug=true". Holds the pages' own secrets:
/// never on by itself.
Q_LOGGING_CATEGORY(pipeLog, "quirelle.pipe", QtWarningMsg)

namespace
{

constexpr qsizetype keptErrorBytes = 4096;
constexpr qsizetype longestLogged = 400;
/// How long the next last words are waited for, in milliseconds.
constexpr int lastWordsTime = 200;
constexpr int mostLastReads = 20;

void makeNonBlocking(int descriptor)
{
    ::fcntl(descriptor, F_SETFL, ::fcntl(descriptor, F_GETFL) | O_NONBLOCK);
}

/// The beginning of a message, without the passwords that the user has given and what they are sent as.
QByteArray logged(const QByteArray &message)
{
    static const QRegularExpression secret(
        QStringLiteral(R"re("(username|password|(?:proxy-)?authorization)":"(?:[^"\\]|\\.)*)re"),
        QRegularExpression::CaseInsensitiveOption);
    QString text = QString::fromUtf8(message.left(longestLogged));
    return text.replace(secret, QStringLiteral("\"\\1\":\"***")).toUtf8();
}

int millisecondsUntil(Deadline deadline)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline.time() - Deadline::Clock::now());
    return static_cast<int>(std::max<qint64>(left.count(), 0));
}

/// Takes the base64 text of a large reply's "data" out of it, before the rest is parsed, and returns what it
/// stands for; nothing if there is none.
QByteArray takeData(QByteArray &message)
{
    constexpr qsizetype large = 1 << 15;
    constexpr qsizetype farthest = 100;
    constexpr QByteArrayView key = "\"data\":\"";
    if (message.size() < large || !message.startsWith("{\"id\":"))
        return {};
    const qsizetype start = QByteArrayView(message).first(farthest).indexOf(key) + key.size();
    const qsizetype end = message.indexOf('"', start);
    if (start < key.size() || end < 0)
        return {};
    const auto text = QByteArray::fromRawData(message.constData() + start, end - start);
    QByteArray data = *QByteArray::fromBase64Encoding(text, QByteArray::AbortOnBase64DecodingErrors);
    if (!data.isEmpty())
        message.remove(start, end - start);
    return data;
}

/// The number of the command that a message which begins so replies to; 0 if it is no reply.
int repliedTo(const QByteArray &beginning)
{
    constexpr QByteArrayView key = "{\"id\":";
    return beginning.startsWith(key) ? std::atoi(beginning.constData() + key.size()) : 0;
}

QByteArray errorReply(int id)
{
    return "{\"id\":" + QByteArray::number(id) + ",\"error\":{\"message\":\"" + tooLargeError + "\"}}";
}

void enlarge(int pipe)
{
#ifdef __linux__
    // The most that any user may have by default; a smaller one serves as well.
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
    if (::pipe(m_wakeReader) != 0)
        throw Failure(ExitCode::NoBrowser, QStringLiteral("no file descriptor left"));
    for (const int end : m_wakeReader)
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
    makeNonBlocking(m_toBrowser);
    makeNonBlocking(m_fromBrowser);
    makeNonBlocking(m_errors);
    // A whole PDF comes as one message.
    enlarge(m_fromBrowser);
    m_reader = std::thread([this] { read(); });
}

Connection::~Connection()
{
    ::close(m_wakeReader[1]);
    m_reader.join();
    ::close(m_wakeReader[0]);
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
    const std::lock_guard lock(m_sending);
    QJsonObject command{{QStringLiteral("id"), ++m_lastId}, {QStringLiteral("method"), method}};
    if (!parameters.isEmpty())
        command.insert(QStringLiteral("params"), parameters);
    if (!session.isEmpty())
        command.insert(QStringLiteral("sessionId"), session);
    QByteArray bytes = QJsonDocument(command).toJson(QJsonDocument::Compact);
    qCDebug(pipeLog) << ">" << logged(bytes).constData();
    bytes.append('\0');
    if (replyTo) {
        const std::lock_guard awaitedLock(m_mutex);
        m_awaited.insert(m_lastId, replyTo);
    }

    const char *next = bytes.constData();
    const char *end = next + bytes.size();
    while (next < end) {
        const ssize_t written = ::write(m_toBrowser, next, static_cast<size_t>(end - next));
        if (written > 0) {
            next += written;
        } else if (errno == EAGAIN) {
            pollfd pipe{m_toBrowser, POLLOUT, 0};
            if (::poll(&pipe, 1, millisecondsUntil(deadline)) == 0)
                throw Failure(ExitCode::OutOfTime, QStringLiteral("the browser takes no commands any more"));
        } else if (errno != EINTR) {
            break;
        }
    }
    return m_lastId;
}

bool Connection::ended() const
{
    const std::lock_guard lock(m_mutex);
    return m_ended;
}

bool Connection::heardOf() const
{
    const std::lock_guard lock(m_mutex);
    return m_heardOf;
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
    bool passingOver = false;
    bool errorsOpen = true;
    bool hasEnded = false;
    for (;;) {
        std::array<pollfd, 3> sources{{{m_fromBrowser, POLLIN, 0},
                                       {m_wakeReader[0], POLLIN, 0},
                                       {errorsOpen ? m_errors : -1, POLLIN, 0}}};
        if (::poll(sources.data(), sources.size(), -1) < 0 && errno != EINTR)
            break;
        if (sources[1].revents != 0)
            break; // nobody asks any more
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
            if (!passingOver)
                message.append(next, (stop ? stop : end) - next);
            if (isTooLarge(message)) {
                deliver(errorReply(repliedTo(std::exchange(message, {}))));
                passingOver = true;
            }
            if (!stop)
                break;
            if (!std::exchange(passingOver, false))
                deliver(std::exchange(message, {}));
            next = stop + 1;
        }
    }
    // What the browser wrote just before it ended may say why. One that cannot start may have been started by
    // a shell, which has the last word.
    pollfd errors{m_errors, POLLIN, 0};
    const int patience = hasEnded && !m_heardOf ? lastWordsTime : 0;
    for (int reads = 0; errorsOpen && reads < mostLastReads; ++reads) {
        if (::poll(&errors, 1, patience) <= 0)
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
    // Nearly all are small, and need no look at who waits for them.
    constexpr qsizetype small = 1 << 18;
    if (beginning.size() <= small)
        return false;
    const std::lock_guard lock(m_mutex);
    const auto mailbox = m_awaited.value(repliedTo(beginning));
    return beginning.size() > (mailbox ? mailbox->largestReply() : largestMessage);
}

void Connection::deliver(QByteArray text)
{
    qCDebug(pipeLog) << "<" << logged(text).constData();
    QByteArray data = takeData(text);
    Message object{QJsonDocument::fromJson(text).object(), std::move(data)};
    const QString session = object.value(QLatin1String("sessionId")).toString();
    const QJsonValue id = object.value(QLatin1String("id"));
    const std::lock_guard lock(m_mutex);
    m_heardOf = true;
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
    m_lastErrors = m_lastErrors.right(keptErrorBytes);
}
