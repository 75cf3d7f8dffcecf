#include "engine/client/client.h"

#include "engine/base/descriptor.h"
#include "engine/base/modules.h"
#include "engine/base/output.h"
#include "engine/client/endpoint.h"
#include "engine/client/message.h"
#include "engine/client/start.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <unistd.h>

using namespace std::chrono_literals;

namespace
{

/// A server that sends nothing for this long is considered dead.
constexpr auto silenceTimeout = 400ms;
/// How long after the job's own timeout its result is still waited for.
constexpr auto resultDelay = 5s;

class Socket
{
public:
    /// The first frame must arrive by `nextFrame`.
    Socket(Descriptor descriptor, Deadline nextFrame)
        : m_descriptor(std::move(descriptor)), m_nextFrame(nextFrame)
    {
    }

    bool connected() const { return static_cast<bool>(m_descriptor); }

    bool send(std::string_view bytes)
    {
        while (!bytes.empty()) {
            const ssize_t count = ::send(m_descriptor.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (count > 0) {
                bytes.remove_prefix(static_cast<size_t>(count));
                m_nextFrame = Deadline::in(silenceTimeout);
            } else if ((errno != EAGAIN && errno != EINTR) || !wait(POLLOUT)) {
                return false;
            }
        }
        return true;
    }

    /// Waits, and appends what is received to `bytes`; false if the connection ends or after silenceTimeout.
    bool receive(std::string &bytes)
    {
        char buffer[1 << 16];
        if (!wait(POLLIN))
            return false;
        const ssize_t count = ::recv(m_descriptor.get(), buffer, sizeof(buffer), 0);
        if (count > 0) {
            bytes.append(buffer, static_cast<size_t>(count));
            m_nextFrame = Deadline::in(silenceTimeout);
        }
        return count > 0 || (count < 0 && (errno == EAGAIN || errno == EINTR));
    }

private:
    /// Waits until the socket is readable or writable (POLLIN, POLLOUT); false if the next frame is overdue.
    bool wait(short events) const
    {
        pollfd poll{m_descriptor.get(), events, 0};
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(m_nextFrame.time() - Deadline::Clock::now());
        const int ready = ::poll(&poll, 1, static_cast<int>(std::max<long long>(left.count(), 0)));
        return ready > 0 || (ready < 0 && errno == EINTR);
    }

    Descriptor m_descriptor;
    Deadline m_nextFrame;
};

Descriptor connectTo(const Endpoint &endpoint)
{
    Descriptor descriptor(::socket(AF_UNIX, SOCK_STREAM, 0));
    if (!descriptor)
        return descriptor;
    ::fcntl(descriptor.get(), F_SETFD, FD_CLOEXEC);
    ::fcntl(descriptor.get(), F_SETFL, O_NONBLOCK);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    endpoint.socket.copy(address.sun_path, sizeof(address.sun_path) - 1);
    if (::connect(descriptor.get(), reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0 ||
        !peerIsSameUser(descriptor.get()))
        descriptor.reset();
    return descriptor;
}

/// A connection to the server, which is started if `ifNone` says so; none if that fails by the bound.
Descriptor connection(IfNone ifNone, Deadline bound)
{
    const std::string executable = executablePath();
    bool started = false;
    for (;;) {
        // A server that has already ended has removed the folder, which must not be made again.
        const std::optional<Endpoint> endpoint = findEndpoint(executable, started ? IfNone::GiveUp : ifNone);
        if (!endpoint)
            return {};
        Descriptor connection = connectTo(*endpoint);
        // Once: if a server just started cannot be connected to, another start would not help.
        if (connection || ifNone == IfNone::GiveUp || started || bound.passed())
            return connection;
        const StartOutcome outcome = startServer(*endpoint, executable);
        if (outcome == StartOutcome::Impossible)
            return {};
        started = outcome == StartOutcome::Started;
        // Another process holds the lock: its server is about to listen, or about to end.
        if (!started)
            ::usleep(2000);
    }
}

/// Whether a retry with a browser of its own may help.
bool isServersFault(const FailureReply &failure)
{
    return !failure.isFinal && (failure.code == ExitCode::NoBrowser || failure.code == ExitCode::Crashed);
}

/// Receives the server's messages about the job.
class Conversation
{
public:
    Conversation(Socket &socket, const ActivityListener &listener) : m_socket(socket), m_listener(listener) {}

    ServerReply reply()
    {
        const Frame answer = nextFrame();
        if (answer.kind != FrameKind::Accepted)
            return useless();
        const Acceptance acceptance = acceptanceFrom(answer.body);
        JobAccount job{acceptance.name, acceptance.output, acceptance.report, acceptance.isQuiet, {}};
        checkPlaces(job.output, job.report);
        m_resultDeadline = Deadline::in(acceptance.left + resultDelay);
        for (;;) {
            Frame frame = nextFrame();
            switch (frame.kind) {
            case FrameKind::Alive:
                m_listener(frame.body);
                break;
            case FrameKind::Findings:
                job.findings = findingsFrom(frame.body);
                break;
            case FrameKind::Pdf:
                return {
                    ServerReply::Kind::Printed, ExitCode::Written, {}, std::move(frame.body), std::move(job)};
            case FrameKind::Failure:
                if (const FailureReply failure = failureFrom(frame.body); !isServersFault(failure))
                    return failed(job, failure.code, failure.message);
                return useless();
            default:
                return useless();
            }
            if (m_resultDeadline->passed())
                return failed(job, ExitCode::OutOfTime, "out of time on the server");
        }
    }

    static ServerReply useless() { return {ServerReply::Kind::Useless}; }

private:
    static ServerReply failed(const JobAccount &job, ExitCode code, const std::string &message)
    {
        return {ServerReply::Kind::Failed, code, message, {}, job};
    }

    Frame nextFrame()
    {
        for (;;) {
            if (std::optional<Frame> frame = takeFrame(m_received, maximumBody))
                return std::move(*frame);
            if (!m_socket.receive(m_received))
                throw std::runtime_error("the server is gone");
        }
    }

    Socket &m_socket;
    const ActivityListener &m_listener;
    std::string m_received;
    std::optional<Deadline> m_resultDeadline;
};

} // namespace

ServerReply askServer(const Invocation &invocation, IfNone ifNone, const ActivityListener &listener)
{
    const std::string order = frameBytes(FrameKind::Order, orderBody(invocation));
    // The server needs the working folder for relative paths.
    if (idleSeconds() == 0 || invocation.folder.empty() || order.size() > maximumOrder)
        return {};
    const Deadline bound = Deadline::in(silenceTimeout);
    Socket socket(connection(ifNone, bound), bound);
    if (!socket.connected())
        return {};
    try {
        return socket.send(order) ? Conversation(socket, listener).reply() : Conversation::useless();
    } catch (const OutputError &) {
        throw;
    } catch (const std::runtime_error &) {
        // The server has ended or hangs, or is another program.
        return Conversation::useless();
    }
}

std::string runningServer()
{
    const std::optional<Endpoint> endpoint = findEndpoint(executablePath(), IfNone::GiveUp);
    return endpoint && connectTo(*endpoint) ? endpoint->socket : std::string();
}
