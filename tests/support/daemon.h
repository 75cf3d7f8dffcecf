#pragma once

#include <QProcess>

/// A server program on a loopback port, for as long as this object lives.
class Daemon
{
public:
    /// Starts the program and waits until `port` answers; ends the test program, with what stands in
    /// `log`, if it does not. The program's own output is added to `log`.
    Daemon(const QString &program, const QStringList &arguments, int port, const QString &log);
    Daemon(const Daemon &) = delete;
    Daemon &operator=(const Daemon &) = delete;
    ~Daemon();

private:
    QProcess m_process;
};
