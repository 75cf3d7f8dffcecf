#include "engine/server/client.h"

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

class Socket
{
public:
    explicit Socket(int descriptor) : m_descriptor(descriptor) {}
    Socket(const Socket &) = delete;
    Socket &operator=(const Socket &) = delete;
    ~Socket()
    {
        if (m_descriptor >= 0)
            ::close(m_descriptor);
    }

    int descriptor() const { return m_descriptor; }
    bool connected() const { return m_descriptor >= 0; }

    /// Waits until it can be read or written (POLLIN, POLLOUT), at most for the longest silence.
    bool wait(short events) const
    {
        pollfd poll{m_descriptor, events, 0};
        const int ready = ::poll(&poll, 1, static_cast<int>(longestSilence.count()));
        return ready > 0 || (ready < 0 && errno == EINTR);
    }

    bool send(const QByteArray &bytes) const
    {
        qsizetype sent = 0;
        while (sent < bytes.size()) {
            const ssize_t count = ::send(m_descriptor, bytes.constData() + sent,
                                         static_cast<size_t>(bytes.size() - sent), MSG_NOSIGNAL);
            if (count > 0)
                sent += count;
            else if ((errno != EAGAIN && errno != EINTR) || !wait(POLLOUT))
                return false;
        }
        return true;
    }

    /// Appends what has come to `bytes`; false at the end of the connection and after the longest silence.
    bool receive(QByteArray &bytes) const
    {
        char buffer[1 << 16];
        if (!wait(POLLIN))
            return false;
        const ssize_t count = ::recv(m_descriptor, buffer, sizeof(buffer), 0);
        if (count > 0)
            bytes.append(buffer, count);
        return count > 0 || (count < 0 && (errno == EAGAIN || errno == EINTR));
    }

private:
    int m_descriptor;
};

int connectTo(const Endpoint &endpoint)
{
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM, 0);
    if (descriptor < 0)
        return -1;
    ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    ::fcntl(descriptor, F_SETFL, O_NONBLOCK);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    endpoint.socket.copy(address.sun_path, sizeof(address.sun_path) - 1);
    if (::connect(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0 &&
        peerIsSameUser(descriptor))
        return descriptor;
    ::close(descriptor);
    return -1;
}

/// A connection to the server, which is started if need be; -1 if there is none to be had.
int connectOrStart()
{
    const std::string executable = QFile::encodeName(QCoreApplication::applicationFilePath()).toStdString();
    const Deadline bound = Deadline::in(longestSilence);
    while (const std::optional<Endpoint> endpoint = findEndpoint(executable)) {
        const int connection = connectTo(*endpoint);
        if (connection >= 0)
            return connection;
        switch (startServer(*endpoint, executable)) {
        case StartOutcome::Started:
            break;
        case StartOutcome::SomebodyElse:
            // Who holds the lock is about to listen, or about to end.
            if (bound.passed())
                return -1;
            ::usleep(2000);
            break;
        case StartOutcome::Impossible:
            return -1;
        }
    }
    return -1;
}

/// Whether the job may come out better with a browser of its own.
bool isServersFault(const Failure &failure)
{
    return failure.code() == ExitCode::NoBrowser || failure.code() == ExitCode::Crashed;
}

} // namespace

std::optional<QByteArray> renderOnServer(const Order &order, const ActivityListener &listener)
{
    if (idleSeconds() == 0)
        return std::nullopt;
    const Socket socket(connectOrStart());
    if (!socket.connected() || !socket.send(frameBytes(FrameKind::Order, orderBody(order))))
        return std::nullopt;
    QByteArray bytes;
    try {
        while (socket.receive(bytes)) {
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
