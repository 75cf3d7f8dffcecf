#include "tests/support/webserver.h"

#include "tests/support/silentserver.h"
#include "tests/support/waiting.h"

#include <QFile>
#include <QStandardPaths>
#include <QTcpSocket>

#include <unistd.h>

namespace
{

QString nginx()
{
    const QString onPath = QStandardPaths::findExecutable(QStringLiteral("nginx"));
    return onPath.isEmpty() ? QStringLiteral("/usr/sbin/nginx") : onPath;
}

bool listens(int port)
{
    QTcpSocket socket;
    socket.connectToHost(QStringLiteral("127.0.0.1"), static_cast<quint16>(port));
    return socket.waitForConnected(1000);
}

} // namespace

WebServer::WebServer(const QByteArray &locations) : m_port(freePort())
{
    m_folder.makeFolder(QStringLiteral("root"));
    const QByteArray folder = QFile::encodeName(m_folder.path());
    // As root nginx would hand its work to a user who may not read the folder.
    QByteArray configuration = ::geteuid() == 0 ? "user root;\n" : "";
    configuration += "daemon off;\nworker_processes 1;\npid " + folder + "/pid;\nerror_log " + folder +
                     "/errors;\nevents {}\nhttp {\n"
                     "log_format plain '$request_method $uri $status';\naccess_log " +
                     folder + "/requests plain;\n";
    for (const char *use : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"})
        configuration += QByteArray(use) + "_temp_path " + folder + "/" + use + ";\n";
    configuration += "types { text/html html; text/css css; text/plain txt; application/javascript js; "
                     "image/png png; application/json json; image/svg+xml svg; application/pdf pdf; "
                     "application/zip zip; font/ttf ttf; }\n"
                     "server {\nlisten 127.0.0.1:" +
                     QByteArray::number(m_port) + ";\nroot " + folder + "/root;\n" + locations + "\n}\n}\n";
    const QString file = m_folder.write(QStringLiteral("nginx.conf"), configuration);
    m_process.start(
        nginx(), {QStringLiteral("-c"), file, QStringLiteral("-e"), m_folder.path(QStringLiteral("errors"))});
    const bool up = m_process.waitForStarted() &&
                    waitUntil([this] { return listens(m_port) || m_process.waitForFinished(0); }) &&
                    m_process.state() == QProcess::Running;
    if (!up)
        qFatal("nginx does not start: %s%s", m_process.readAllStandardError().constData(),
               contentOf(m_folder.path(QStringLiteral("errors"))).constData());
}

WebServer::~WebServer()
{
    m_process.terminate();
    if (!m_process.waitForFinished(10000))
        m_process.kill();
}

void WebServer::copy(const QString &from, const QString &name) const
{
    const QByteArray content = contentOf(from);
    if (content.isEmpty())
        qFatal("there is no %s", qPrintable(from));
    write(name, content);
}

QString WebServer::address(const QString &path) const
{
    return QStringLiteral("http://127.0.0.1:%1%2").arg(m_port).arg(path);
}

QStringList WebServer::requests() const
{
    return QString::fromUtf8(contentOf(m_folder.path(QStringLiteral("requests"))))
        .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}
