#pragma once

#include <memory>
#include <thread>

struct sockaddr;

/// Whether this IPv4 or IPv6 address belongs to the Internet: not to this machine, its network or its
/// provider's, and to no special purpose (the IANA registries of special-purpose addresses).
bool isPublicAddress(const sockaddr &address);

/// A SOCKS 5 proxy on a loopback port that connects to public addresses only. A browser that uses it for
/// everything leaves the lookup of names to it: the address that has been checked is the one connected to.
class AddressFilter
{
public:
    /// Listens from now on. Throws Failure(NoBrowser) if that is impossible.
    AddressFilter();
    AddressFilter(const AddressFilter &) = delete;
    AddressFilter &operator=(const AddressFilter &) = delete;
    /// Ends all connections. A lookup that is under way ends by itself.
    ~AddressFilter();

    int port() const { return m_port; }

private:
    class Connections;

    void accept();

    int m_listening = -1;
    int m_wake[2]{-1, -1};
    int m_port = 0;
    std::shared_ptr<Connections> m_connections;
    std::thread m_acceptor;
};
