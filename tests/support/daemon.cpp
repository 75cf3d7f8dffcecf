#include "tests/support/daemon.h"

#include "tests/support/temporaryfolder.h"
#include "tests/support/waiting.h"

#include <QStandardPaths>
#include <QTcpSocket>

namespace
{

/// Server programs are not on the path of ordinary users.
QString whereIs(const QString &program)
{
    const QString onPath = QStandardPaths::findExecutable(program);
    return onPath.isEmpty() ? QStringLiteral("/usr/sbin/") + program : onPath;
}

bool listens(int port)
{
    QTcpSocket socket;
    socket.connectToHost(QStringLiteral("127.0.0.1"), static_cast<quint16>(port));
    return socket.waitForConnected(1000);
}

} // namespace

Daemon::Daemon(const QString &program, const QStringList &arguments, int port, const QString &log)
{
    m_process.setProcessChannelMode(QProcess::MergedChannels);
    m_process.setStandardOutputFile(log, QIODevice::Append);
    m_process.start(whereIs(program), arguments);
    const bool up = m_process.waitForStarted() &&
                    waitUntil([&] { return listens(port) || m_process.waitForFinished(0); }) &&
                    m_process.state() == QProcess::Running;
    if (!up)
        qFatal("%s does not start: %s %s", qPrintable(program), qPrintable(m_process.errorString()),
               contentOf(log).constData());
}

Daemon::~Daemon()
{
    m_process.terminate();
    if (!m_process.waitForFinished(10000))
        m_process.kill();
}
