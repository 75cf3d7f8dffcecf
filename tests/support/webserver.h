#pragma once

#include "tests/support/temporaryfolder.h"

#include <QProcess>

/// nginx on a free loopback port, with a configuration, root folder and log of its own, for as long as this
/// object lives.
class WebServer
{
public:
    /// `locations` stands in the server block of the configuration. Ends the test program if nginx does not
    /// start.
    explicit WebServer(const QByteArray &locations);
    WebServer(const WebServer &) = delete;
    WebServer &operator=(const WebServer &) = delete;
    ~WebServer();

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

private:
    TemporaryFolder m_folder;
    int m_port = 0;
    QProcess m_process;
};
