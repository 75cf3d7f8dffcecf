#include "engine/server/client.h"

#include "engine/job/descriptor.h"
#include "engine/server/endpoint.h"
#include "engine/server/message.h"
#include "engine/server/start.h"

#include <QCoreApplication>
#include <QFile>

#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <fcntl.h>
#include <limits>
#include <poll.h>
#include <stdexcept>
#include <unistd.h>

using namespace std::chrono_literals;

namespace
{

/// A server that says nothing for this long is given up.
constexpr auto longestSilence = 400ms;
/// A job that the server has not ended so long after its time is over has got lost there.
constexpr auto longestDelay = 5s;

class Socket
{
public:
    /// The first word must come by `firstWord`.
    Socket(Descriptor descriptor, Deadline firstWord)
        : m_descriptor(std::move(descriptor)), m_nextWord(firstWord)
    {
    }

    bool connected() const { return bool(m_descriptor); }

    /// Waits until it can be read or written (POLLIN, POLLOUT); false if the next word is overdue.
    bool wait(short events) const
    {
        pollfd poll{m_descriptor.get(), events, 0};
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(m_nextWord.time() - Deadline::Clock::now());
        const int ready = ::poll(&poll, 1, static_cast<int>(std::max<qint64>(left.count(), 0)));
        return ready > 0 || (ready < 0 && errno == EINTR);
    }

    bool send(const QByteArray &bytes) const
    {
        qsizetype sent = 0;
        while (sent < bytes.size()) {
            const ssize_t count = ::send(m_descriptor.get(), bytes.constData() + sent,
                                         static_cast<size_t>(bytes.size() - sent), MSG_NOSIGNAL);
            if (count > 0)
                sent += count;
            else if ((errno != EAGAIN && errno != EINTR) || !wait(POLLOUT))
                return false;
        }
        return true;
    }

    /// Appends what has come to `bytes`; false at the end of the connection and after the longest silence.
    bool receive(QByteArray &bytes)
    {
        char buffer[1 << 16];
        if (!wait(POLLIN))
            return false;
        const ssize_t count = ::recv(m_descriptor.get(), buffer, sizeof(buffer), 0);
        if (count > 0) {
            bytes.append(buffer, count);
            m_nextWord = Deadline::in(longestSilence);
        }
        return count > 0 || (count < 0 && (errno == EAGAIN || errno == EINTR));
    }

private:
    Descriptor m_descriptor;
    Deadline m_nextWord;
};

Descriptor connectTo(const Endpoint &endpoint)
{
    Descriptor connection(::socket(AF_UNIX, SOCK_STREAM, 0));
    ::fcntl(connection.get(), F_SETFD, FD_CLOEXEC);
    ::fcntl(connection.get(), F_SETFL, O_NONBLOCK);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    endpoint.socket.copy(address.sun_path, sizeof(address.sun_path) - 1);
    if (::connect(connection.get(), reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0 ||
        !peerIsSameUser(connection.get()))
        connection.reset();
    return connection;
}

/// A connection to the server, which is started if need be; none if there is none to be had by the bound.
Descriptor connectOrStart(Deadline bound)
{
    const std::string executable = QFile::encodeName(QCoreApplication::applicationFilePath()).toStdString();
    bool started = false;
    for (;;) {
        const std::optional<Endpoint> endpoint = findEndpoint(executable);
        if (!endpoint)
            return {};
        Descriptor connection = connectTo(*endpoint);
        // One that cannot be met although it has just been started will not be the next time.
        if (connection || started || bound.passed())
            return connection;
        const StartOutcome outcome = startServer(*endpoint, executable);
        if (outcome == StartOutcome::Impossible)
            return {};
        started = outcome == StartOutcome::Started;
        // Who holds the lock is about to listen, or about to end.
        if (!started)
            ::usleep(2000);
    }
}

/// Whether the job may come out better with a browser of its own.
bool isServersFault(const Failure &failure)
{
    return !failure.isFinal() &&
           (failure.code() == ExitCode::NoBrowser || failure.code() == ExitCode::Crashed);
}

} // namespace

std::optional<QByteArray> renderOnServer(const Order &order, const ActivityListener &listener)
{
    if (idleSeconds() == 0)
        return std::nullopt;
    const Deadline firstWord = Deadline::in(longestSilence);
    Socket socket(connectOrStart(firstWord), firstWord);
    if (!socket.connected() || !socket.send(frameBytes(FrameKind::Order, orderBody(order))))
        return std::nullopt;
    const Deadline lost = Deadline::in(
        std::chrono::ceil<std::chrono::milliseconds>(order.deadline.time() - Deadline::Clock::now()) +
        longestDelay);
    QByteArray bytes;
    try {
        while (socket.receive(bytes)) {
            if (lost.passed())
                throw Failure(ExitCode::OutOfTime, QStringLiteral("out of time on the server"));
            while (const std::optional<Frame> frame = takeFrame(bytes, std::numeric_limits<int>::max())) {
                switch (frame->kind) {
                case FrameKind::Alive:
                    listener(QString::fromUtf8(frame->body));
                    break;
                case FrameKind::Pdf:
                    return frame->body;
                case FrameKind::Failure: {
                    const Failure failure = failureFrom(frame->body);
                    if (isServersFault(failure))
                        return std::nullopt;
                    throw Failure(failure);
                }
                default:
                    return std::nullopt;
                }
            }
        }
    } catch (const std::runtime_error &) {
        // Whatever speaks there is no server of ours.
    }
    return std::nullopt;
}
