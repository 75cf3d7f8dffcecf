#pragma once

#include "tests/support/daemon.h"
#include "tests/support/temporaryfolder.h"

#include <optional>

struct Certificate;

/// nginx on a free loopback port, with a configuration, root folder and log of its own, for as long as this
/// object lives.
class WebServer
{
public:
    /// `locations` stands in the server block of the configuration. Ends the test program if nginx does not
    /// start.
    explicit WebServer(const QByteArray &locations);
    /// The same behind this certificate: its addresses are https.
    WebServer(const QByteArray &locations, const Certificate &certificate);
    WebServer(const WebServer &) = delete;
    WebServer &operator=(const WebServer &) = delete;

    /// Puts a file below the root.
    void write(const QString &name, const QByteArray &content) const
    {
        m_folder.write(QLatin1String("root/") + name, content);
    }
    /// Copies a file there.
    void copy(const QString &from, const QString &name) const;
    QString address(const QString &path) const;
    int port() const { return m_port; }
    /// One "METHOD path status" a request, as far as answers have been finished.
    QStringList requests() const;
    /// One "path value" for each of them that came with an Authorization header.
    QStringList authorizations() const;
    /// For each of them "path|cookies|X-Token|User-Agent|Accept-Language", with "-" for a header that did not
    /// come.
    QStringList headers() const;

private:
    WebServer(const QByteArray &locations, const Certificate *certificate);

    TemporaryFolder m_folder;
    int m_port = 0;
    QString m_scheme;
    std::optional<Daemon> m_daemon;
};
