#include "tests/support/silentserver.h"

#include <QDeadlineTimer>
#include <QTcpServer>
#include <QTcpSocket>

SilentServer::SilentServer() : m_server(std::make_unique<QTcpServer>())
{
    if (!m_server->listen(QHostAddress::LocalHost))
        qFatal("no server: %s", qPrintable(m_server->errorString()));
}

SilentServer::~SilentServer() = default;

QString SilentServer::address(const QString &path) const
{
    return QStringLiteral("http://127.0.0.1:%1%2").arg(m_server->serverPort()).arg(path);
}

QByteArray SilentServer::awaitRequest(std::chrono::milliseconds bound)
{
    QDeadlineTimer deadline(bound);
    // A browser may open a connection ahead and leave it unused.
    while (!deadline.hasExpired()) {
        if (!m_server->hasPendingConnections() &&
            !m_server->waitForNewConnection(static_cast<int>(deadline.remainingTime())))
            continue;
        m_connection = m_server->nextPendingConnection();
        while (!deadline.hasExpired()) {
            const QByteArray request = m_connection->peek(65536);
            if (request.contains("\r\n\r\n"))
                return m_connection->readAll();
            if (m_connection->state() != QAbstractSocket::ConnectedState || m_server->hasPendingConnections())
                break;
            m_connection->waitForReadyRead(100);
        }
    }
    return {};
}

bool SilentServer::isConnectedTo() const
{
    return m_server->hasPendingConnections() || m_server->waitForNewConnection(0);
}

void SilentServer::answer(const QByteArray &bytes)
{
    m_connection->write(bytes);
    m_connection->waitForBytesWritten();
}

void SilentServer::hangUp()
{
    m_connection->disconnectFromHost();
    if (m_connection->state() != QAbstractSocket::UnconnectedState)
        m_connection->waitForDisconnected();
}

bool SilentServer::awaitHangUp(std::chrono::milliseconds bound)
{
    return m_connection->state() == QAbstractSocket::UnconnectedState ||
           m_connection->waitForDisconnected(static_cast<int>(bound.count()));
}

int freePort()
{
    QTcpServer server;
    server.listen(QHostAddress::LocalHost);
    return server.serverPort();
}
