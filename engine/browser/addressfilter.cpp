#include "engine/browser/addressfilter.h"

#include "engine/base/deadline.h"
#include "engine/base/descriptor.h"
#include "engine/job/failure.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <mutex>
#include <netdb.h>
#include <optional>
#include <poll.h>
#include <set>
#include <span>
#include <string>
#include <system_error>
#include <unistd.h>
#include <utility>

using namespace std::chrono_literals;

namespace
{

/// For the browser's SOCKS request.
constexpr auto requestTimeout = 10s;
constexpr auto connectTimeout = 20s;

struct Range4 {
    std::array<unsigned char, 4> prefix;
    int bits;
};

/// Not public: the IANA registry of special-purpose IPv4 addresses (RFC 6890).
constexpr Range4 specialRanges4[] = {
    {{0}, 8},                 // this host
    {{10}, 8},                // private
    {{100, 64}, 10},          // shared by the customers of a provider
    {{127}, 8},               // loopback
    {{168, 63, 129, 16}, 32}, // a cloud's service for the machines in it
    {{169, 254}, 16},         // link-local, metadata of clouds
    {{172, 16}, 12},          // private
    {{192, 0, 0}, 24},        // protocols
    {{192, 0, 2}, 24},        // documentation
    {{192, 88, 99}, 24},      // relays
    {{192, 168}, 16},         // private
    {{198, 18}, 15},          // benchmarks
    {{198, 51, 100}, 24},     // documentation
    {{203, 0, 113}, 24},      // documentation
    {{224}, 4},               // multicast
    {{240}, 4},               // reserved, broadcast
};

struct Range6 {
    std::array<unsigned char, 16> prefix;
    int bits;
};

/// Global unicast, all that is allocated so far.
constexpr Range6 publicRange6 = {{0x20}, 3};
/// Special-purpose ranges within it.
constexpr Range6 specialRanges6[] = {
    {{0x20, 0x01}, 23},             // protocols, Teredo
    {{0x20, 0x01, 0x0d, 0xb8}, 32}, // documentation
    {{0x20, 0x02}, 16},             // 6to4, can lead to any IPv4 address
    {{0x3f, 0xff}, 20},             // documentation
};
/// Their last four bytes are an IPv4 address.
constexpr Range6 embeddingRanges6[] = {
    {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff}, 96}, // IPv4-mapped
    {{0x00, 0x64, 0xff, 0x9b}, 96},                   // NAT64
};

template <typename Range>
bool isIn(const Range &range, std::span<const unsigned char> address)
{
    const auto whole = static_cast<size_t>(range.bits / 8);
    if (!std::equal(address.begin(), address.begin() + range.bits / 8, range.prefix.begin()))
        return false;
    const int mask = 0xff00 >> range.bits % 8 & 0xff;
    return mask == 0 || ((address[whole] ^ range.prefix[whole]) & mask) == 0;
}

bool isPublic4(std::span<const unsigned char> address)
{
    return std::none_of(std::begin(specialRanges4), std::end(specialRanges4),
                        [&](const Range4 &range) { return isIn(range, address); });
}

bool isPublic6(std::span<const unsigned char> address)
{
    const auto contains = [&](const Range6 &range) { return isIn(range, address); };
    if (std::any_of(std::begin(embeddingRanges6), std::end(embeddingRanges6), contains))
        return isPublic4(address.last(4));
    return contains(publicRange6) &&
           std::none_of(std::begin(specialRanges6), std::end(specialRanges6), contains);
}

void makeNonBlocking(int descriptor)
{
    ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    ::fcntl(descriptor, F_SETFL, O_NONBLOCK);
}

bool await(int descriptor, short events, Deadline deadline)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline.time() - Deadline::Clock::now());
    pollfd source{descriptor, events, 0};
    return ::poll(&source, 1, static_cast<int>(std::max<long long>(left.count(), 0))) > 0;
}

/// Reads `count` bytes; fewer when the deadline passes or the connection ends.
std::string readExactly(int socket, size_t count, Deadline deadline)
{
    std::string bytes(count, '\0');
    size_t size = 0;
    while (size < count && await(socket, POLLIN, deadline)) {
        const ssize_t received = ::recv(socket, bytes.data() + size, count - size, 0);
        if (received <= 0)
            break;
        size += static_cast<size_t>(received);
    }
    bytes.resize(size);
    return bytes;
}

struct Target {
    std::string host;
    std::string port;
};

/// What the browser asks to connect to (RFC 1928). It sends names, and addresses as text in a name; an empty
/// host for any other request.
Target readTarget(int socket)
{
    const Deadline deadline = Deadline::in(requestTimeout);
    const auto size = [](const std::string &byte) {
        return byte.empty() ? size_t(0) : static_cast<unsigned char>(byte.back());
    };
    // SOCKS 5, and the methods of authentication; answer "none".
    const std::string greeting = readExactly(socket, 2, deadline);
    if (greeting.size() != 2 || greeting[0] != 5)
        return {};
    readExactly(socket, size(greeting), deadline);
    if (::send(socket, "\5\0", 2, MSG_NOSIGNAL) != 2)
        return {};
    // CONNECT, to a domain name.
    const std::string request = readExactly(socket, 5, deadline);
    if (request.substr(0, 4) != std::string("\5\1\0\3", 4))
        return {};
    const std::string host = readExactly(socket, size(request), deadline);
    const std::string port = readExactly(socket, 2, deadline);
    if (port.size() != 2)
        return {};
    return {host,
            std::to_string(static_cast<unsigned char>(port[0]) << 8 | static_cast<unsigned char>(port[1]))};
}

Descriptor connectTo(const sockaddr &address, socklen_t size)
{
    Descriptor socket(::socket(address.sa_family, SOCK_STREAM, 0));
    makeNonBlocking(socket.get());
    const Deadline deadline = Deadline::in(connectTimeout);
    int error = ::connect(socket.get(), &address, size) == 0 ? 0 : errno;
    if (error == EINPROGRESS) {
        socklen_t length = sizeof(error);
        if (!await(socket.get(), POLLOUT, deadline) ||
            ::getsockopt(socket.get(), SOL_SOCKET, SO_ERROR, &error, &length) != 0)
            error = ETIMEDOUT;
    }
    return error == 0 ? std::move(socket) : Descriptor();
}

/// A connection to the first public address of the target that accepts one, or none.
Descriptor connectTo(const Target &target)
{
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV;
    addrinfo *addresses = nullptr;
    if (target.host.empty() || target.host.find('\0') != std::string::npos ||
        ::getaddrinfo(target.host.c_str(), target.port.c_str(), &hints, &addresses) != 0)
        return {};
    const std::unique_ptr<addrinfo, void (*)(addrinfo *)> owner(addresses, ::freeaddrinfo);
    for (const addrinfo *each = addresses; each; each = each->ai_next) {
        if (!isPublicAddress(*each->ai_addr))
            continue;
        if (Descriptor socket = connectTo(*each->ai_addr, each->ai_addrlen))
            return socket;
    }
    return {};
}

/// One direction of a connection.
struct Flow {
    int from;
    int to;
    std::array<char, 1 << 16> buffer{};
    size_t begin = 0;
    size_t end = 0;

    bool wantsToRead() const { return begin == end; }
    bool wantsToWrite() const { return begin < end; }

    /// False when the connection is to be closed.
    bool move(short readable, short writable)
    {
        if (wantsToRead() && readable != 0) {
            const ssize_t count = ::recv(from, buffer.data(), buffer.size(), 0);
            // At this point everything received so far has been sent.
            if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR))
                return false;
            begin = 0;
            end = static_cast<size_t>(std::max<ssize_t>(count, 0));
        } else if (wantsToWrite() && writable != 0) {
            const ssize_t count = ::send(to, buffer.data() + begin, end - begin, MSG_NOSIGNAL);
            if (count < 0 && errno != EAGAIN && errno != EINTR)
                return false;
            begin += static_cast<size_t>(std::max<ssize_t>(count, 0));
        }
        return true;
    }
};

void relay(int browser, int server)
{
    const auto up = std::make_unique<Flow>(Flow{browser, server});
    const auto down = std::make_unique<Flow>(Flow{server, browser});
    for (;;) {
        const auto source = [](int descriptor, const Flow &out, const Flow &in) {
            const auto events =
                static_cast<short>((out.wantsToRead() ? POLLIN : 0) | (in.wantsToWrite() ? POLLOUT : 0));
            // Without events it is left out: POLLHUP would be reported at every call.
            return pollfd{events != 0 ? descriptor : -1, events, 0};
        };
        std::array<pollfd, 2> sources{source(browser, *up, *down), source(server, *down, *up)};
        if (::poll(sources.data(), sources.size(), -1) < 0 && errno != EINTR)
            return;
        if (!up->move(sources[0].revents, sources[1].revents) ||
            !down->move(sources[1].revents, sources[0].revents))
            return;
    }
}

} // namespace

bool isPublicAddress(const sockaddr &address)
{
    if (address.sa_family == AF_INET) {
        const auto &in = reinterpret_cast<const sockaddr_in &>(address);
        return isPublic4({reinterpret_cast<const unsigned char *>(&in.sin_addr), sizeof(in.sin_addr)});
    }
    if (address.sa_family == AF_INET6) {
        const auto &in = reinterpret_cast<const sockaddr_in6 &>(address);
        return isPublic6({reinterpret_cast<const unsigned char *>(&in.sin6_addr), sizeof(in.sin6_addr)});
    }
    return false;
}

/// The browser's connections. Shared with the thread of each connection, which may outlive the filter.
class AddressFilter::Connections
{
public:
    /// Serves one connection to its end.
    void serve(const Descriptor &browser)
    {
        if (!add(browser.get()))
            return;
        serve(browser.get());
        const std::lock_guard lock(m_mutex);
        m_sockets.erase(browser.get());
    }

    void end()
    {
        const std::lock_guard lock(m_mutex);
        m_ended = true;
        for (const int socket : m_sockets)
            ::shutdown(socket, SHUT_RDWR);
    }

private:
    bool add(int socket)
    {
        const std::lock_guard lock(m_mutex);
        if (!m_ended)
            m_sockets.insert(socket);
        return !m_ended;
    }

    static void serve(int browser)
    {
        const Descriptor server = connectTo(readTarget(browser));
        // "Succeeded" or "not allowed by ruleset", with an empty bound address.
        std::string reply("\5\0\0\1\0\0\0\0\0\0", 10);
        reply[1] = server ? 0 : 2;
        const bool sent = ::send(browser, reply.data(), reply.size(), MSG_NOSIGNAL) == 10;
        if (sent && server)
            relay(browser, server.get());
    }

    std::mutex m_mutex;
    std::set<int> m_sockets;
    bool m_ended = false;
};

AddressFilter::AddressFilter() : m_connections(std::make_shared<Connections>())
{
    constexpr int waitingConnections = 256;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    auto *any = reinterpret_cast<sockaddr *>(&address);
    m_listening.reset(::socket(AF_INET, SOCK_STREAM, 0));
    std::optional<Pipe> stop;
    if (!m_listening || ::bind(m_listening.get(), any, size) != 0 ||
        ::listen(m_listening.get(), waitingConnections) != 0 ||
        ::getsockname(m_listening.get(), any, &size) != 0 || !(stop = makePipe())) {
        throw Failure(ExitCode::NoBrowser, QStringLiteral("cannot listen for the browser's connections: %1")
                                               .arg(QString::fromLocal8Bit(strerror(errno))));
    }
    m_stop = std::move(*stop);
    makeNonBlocking(m_listening.get());
    m_port = ntohs(address.sin_port);
    m_acceptor = std::thread([this] { accept(); });
}

AddressFilter::~AddressFilter()
{
    m_stop.writeEnd.reset();
    m_acceptor.join();
    m_connections->end();
}

void AddressFilter::accept()
{
    for (;;) {
        std::array<pollfd, 2> sources{{{m_listening.get(), POLLIN, 0}, {m_stop.readEnd.get(), POLLIN, 0}}};
        if (::poll(sources.data(), sources.size(), -1) < 0 && errno != EINTR)
            return;
        if (sources[1].revents != 0)
            return;
        Descriptor browser(::accept(m_listening.get(), nullptr, nullptr));
        if (!browser)
            continue;
        makeNonBlocking(browser.get());
        try {
            std::thread([connections = m_connections, socket = std::move(browser)] {
                connections->serve(socket);
            }).detach();
        } catch (const std::system_error &) {
            // No more threads can be created: the connection is closed.
        }
    }
}
