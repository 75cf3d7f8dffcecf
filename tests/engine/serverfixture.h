#pragma once

#include "engine/client/message.h"
#include "tests/support/engine.h"
#include "tests/support/processes.h"

#include <QDir>
#include <QObject>

#include <sys/un.h>

#include <chrono>
#include <memory>

/// The files in a folder, including hidden ones.
inline constexpr auto everything = QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot;

QByteArray bytesOf(FrameKind kind, std::string_view body = {});

sockaddr_un socketAddress(const QString &path);

/// A client of the server other than an engine.
class RawClient
{
public:
    explicit RawClient(const QString &path);
    RawClient(const RawClient &) = delete;
    RawClient &operator=(const RawClient &) = delete;
    ~RawClient();

    bool isConnected() const { return m_connected; }
    void send(const QByteArray &bytes) const;
    /// Orders the conversion of this address.
    void order(const QString &url) const;
    /// Reads until the other end closes; false if it does not by the bound. Heartbeats are let pass.
    bool awaitEnd(std::chrono::milliseconds bound);
    QByteArray received() const { return m_received; }

private:
    int m_socket;
    bool m_connected = false;
    QByteArray m_received;
};

/// What the tests of the warm server share: engines, each a process of its own, that start one. Nothing may
/// be left of them after a test.
class ServerFixture : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

protected:
    /// Does a job and returns the one server that is there then.
    ProcessInfo warmUp();
    QString socketPath() const;
    /// That a job is done without long waits, whether by the server or without.
    void verifyStillConverts();

    std::unique_ptr<Engine> m_engine;
};
