#pragma once

#include "engine/base/descriptor.h"

#include <memory>
#include <thread>

struct sockaddr;

/// Whether this IPv4 or IPv6 address is public: not of this machine, a private network or a provider's
/// network, and not reserved (the IANA registries of special-purpose addresses).
bool isPublicAddress(const sockaddr &address);

/// A SOCKS 5 proxy on a loopback port that connects to public addresses only. It resolves host names itself,
/// so the address that is checked is the address connected to.
class AddressFilter
{
public:
    /// Starts listening. Throws Failure(NoBrowser) if that fails.
    AddressFilter();
    AddressFilter(const AddressFilter &) = delete;
    AddressFilter &operator=(const AddressFilter &) = delete;
    /// Closes all connections. A name lookup under way is left to finish in its own thread.
    ~AddressFilter();

    int port() const { return m_port; }

private:
    class Connections;

    void accept();

    Descriptor m_listening;
    /// Its write end is closed to stop the acceptor.
    Pipe m_stop;
    int m_port = 0;
    std::shared_ptr<Connections> m_connections;
    std::thread m_acceptor;
};
