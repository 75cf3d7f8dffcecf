#pragma once

#include "engine/devtools/connection.h"
#include "tests/support/waiting.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

#include <array>
#include <memory>
#include <poll.h>
#include <unistd.h>
#include <utility>

/// The browser's end of the pipes, played by the test, and the connection under test at ours.
class PipePeer
{
public:
    PipePeer() : m_commands(makePipe()), m_replies(makePipe()), m_errors(makePipe()) {}
    PipePeer(const PipePeer &) = delete;
    PipePeer &operator=(const PipePeer &) = delete;
    ~PipePeer()
    {
        m_connection.reset();
        for (const int end :
             {m_commands[0], m_commands[1], m_replies[0], m_replies[1], m_errors[0], m_errors[1]}) {
            if (end >= 0)
                ::close(end);
        }
    }

    Connection &connection() { return *m_connection; }

    void say(const QByteArray &bytes)
    {
        QCOMPARE(::write(m_replies[1], bytes.constData(), size_t(bytes.size())), bytes.size());
    }
    void sayMessage(const QByteArray &json) { say(json + '\0'); }
    void sayError(const QByteArray &bytes)
    {
        QCOMPARE(::write(m_errors[1], bytes.constData(), size_t(bytes.size())), bytes.size());
    }

    /// The next command, without its end; empty if there is none within so many milliseconds.
    QJsonObject hear(int milliseconds = 10000)
    {
        while (!m_heard.contains('\0')) {
            pollfd source{m_commands[0], POLLIN, 0};
            char buffer[65536];
            const ssize_t count =
                ::poll(&source, 1, milliseconds) > 0 ? ::read(m_commands[0], buffer, sizeof buffer) : 0;
            if (count <= 0)
                return {};
            m_heard.append(buffer, count);
        }
        const qsizetype end = m_heard.indexOf('\0');
        QJsonObject command = QJsonDocument::fromJson(m_heard.left(end)).object();
        m_heard.remove(0, end + 1);
        return command;
    }

    /// Waits until commands fill their pipe; false if they do not.
    bool awaitFullPipe() const
    {
        return waitUntil([this] {
            pollfd commands{m_commands[1], POLLOUT, 0};
            return ::poll(&commands, 1, 0) == 0;
        });
    }

    void hangUp()
    {
        for (int *end : {&m_replies[1], &m_errors[1]})
            ::close(std::exchange(*end, -1));
    }
    /// No command is read any more.
    void turnAway() { ::close(std::exchange(m_commands[0], -1)); }

private:
    static std::array<int, 2> makePipe()
    {
        std::array<int, 2> ends{};
        if (::pipe(ends.data()) != 0)
            qFatal("no pipe");
        return ends;
    }

    std::array<int, 2> m_commands;
    std::array<int, 2> m_replies;
    std::array<int, 2> m_errors;
    QByteArray m_heard;
    std::unique_ptr<Connection> m_connection =
        std::make_unique<Connection>(m_commands[1], m_replies[0], m_errors[0]);
};
