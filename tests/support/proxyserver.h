#pragma once

#include "tests/support/daemon.h"
#include "tests/support/temporaryfolder.h"

#include <optional>

/// tinyproxy on a free loopback port, for as long as this object lives.
class HttpProxyServer
{
public:
    /// `settings` are lines added to its configuration.
    explicit HttpProxyServer(const QByteArray &settings = {});

    int port() const { return m_port; }
    /// What it has been asked for, as "METHOD target".
    QStringList requests() const;

private:
    TemporaryFolder m_folder;
    int m_port = 0;
    std::optional<Daemon> m_daemon;
};

/// Apache as a proxy for one user, who must give his password; on a free loopback port, for as long as this
/// object lives.
class AskingProxy
{
public:
    enum Kind { Basic, Digest };
    AskingProxy(Kind kind, const QString &userName, const QString &password);

    int port() const { return m_port; }
    /// What it has been asked for, as "METHOD target status".
    QStringList requests() const;

private:
    TemporaryFolder m_folder;
    int m_port = 0;
    std::optional<Daemon> m_daemon;
};

/// microsocks on a free loopback port, for as long as this object lives.
class SocksProxyServer
{
public:
    SocksProxyServer();

    int port() const { return m_port; }
    /// Where it has connected to, as "host:port".
    QStringList connections() const;

private:
    TemporaryFolder m_folder;
    int m_port = 0;
    std::optional<Daemon> m_daemon;
};
