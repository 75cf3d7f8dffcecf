#pragma once

#include <QTcpServer>
#include <QTcpSocket>

/// A web server on the loopback that sends its picture only when told to: a page with the picture keeps
/// loading for as long as a test needs.
class SlowServer
{
public:
    SlowServer()
    {
        QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] {
            while (QTcpSocket *socket = m_server.nextPendingConnection())
                serve(*socket);
        });
        m_server.listen(QHostAddress::LocalHost);
    }

    QString pictureAddress() const
    {
        return QStringLiteral("http://127.0.0.1:%1/picture.svg").arg(m_server.serverPort());
    }

    /// How many requests wait now.
    qsizetype waiting() const { return m_waiting.size(); }

    /// From now on the picture comes at once.
    void letGo()
    {
        m_held = false;
        const QList<QTcpSocket *> sockets = m_waiting;
        m_waiting.clear();
        for (QTcpSocket *socket : sockets)
            answer(*socket);
    }

private:
    void serve(QTcpSocket &socket)
    {
        QObject::connect(&socket, &QTcpSocket::disconnected, &socket, [this, &socket] {
            m_waiting.removeAll(&socket);
            socket.deleteLater();
        });
        QObject::connect(&socket, &QTcpSocket::readyRead, &socket, [this, &socket] {
            // A request for a picture is a few hundred bytes, and comes at once.
            if (!socket.readAll().contains("\r\n\r\n"))
                return;
            if (m_held)
                m_waiting << &socket;
            else
                answer(socket);
        });
    }

    static void answer(QTcpSocket &socket)
    {
        const QByteArray picture =
            "<svg xmlns='http://www.w3.org/2000/svg' width='9' height='9'><rect width='9' height='9'/></svg>";
        socket.write(
            "HTTP/1.1 200 OK\r\nContent-Type: image/svg+xml\r\nConnection: close\r\nContent-Length: " +
            QByteArray::number(picture.size()) + "\r\n\r\n" + picture);
        socket.disconnectFromHost();
    }

    bool m_held = true;
    QList<QTcpSocket *> m_waiting;
    // Last: its connections end with it, and say so.
    QTcpServer m_server;
};
