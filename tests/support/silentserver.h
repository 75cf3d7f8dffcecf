#pragma once

#include <QString>

#include <chrono>
#include <memory>

class QTcpServer;
class QTcpSocket;

/// A server on a free loopback port that accepts connections and does not reply by itself. A request that it
/// has got shows that a job is in progress.
class SilentServer
{
public:
    SilentServer();
    ~SilentServer();

    QString address(const QString &path = QStringLiteral("/")) const;
    /// Waits until someone has connected and sent a whole request head; returns that, or null at the bound.
    QByteArray awaitRequest(std::chrono::milliseconds bound = std::chrono::seconds(20));
    /// Whether anybody has connected since the last request.
    bool isConnectedTo() const;
    /// Answers the last request with these bytes, and leaves the connection open.
    void answer(const QByteArray &bytes);
    /// Ends the connection of the last request.
    void hangUp();
    /// Waits until the one who made the last request has ended the connection; false at the bound.
    bool awaitHangUp(std::chrono::milliseconds bound = std::chrono::seconds(20));

private:
    std::unique_ptr<QTcpServer> m_server;
    QTcpSocket *m_connection = nullptr;
};

/// A loopback port that nobody listened on a moment ago.
int freePort();
