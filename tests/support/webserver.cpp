#include "tests/support/webserver.h"

#include "tests/support/certificate.h"
#include "tests/support/silentserver.h"

#include <QFile>
#include <QTcpServer>

#include <unistd.h>

WebServer::WebServer(const QByteArray &locations) : WebServer(locations, nullptr) {}

WebServer::WebServer(const QByteArray &locations, const Certificate &certificate)
    : WebServer(locations, &certificate)
{
}

WebServer::WebServer(const QByteArray &locations, const Certificate *certificate)
    : m_port(freePort()), m_scheme(certificate ? QStringLiteral("https") : QStringLiteral("http"))
{
    m_folder.makeFolder(QStringLiteral("root"));
    const QByteArray folder = QFile::encodeName(m_folder.path());
    // As root nginx would hand its work to a user who may not read the folder.
    QByteArray configuration = ::geteuid() == 0 ? "user root;\n" : "";
    configuration += "daemon off;\nworker_processes 1;\npid " + folder + "/pid;\nerror_log " + folder +
                     "/errors;\nevents {}\nhttp {\n"
                     "log_format plain '$request_method $uri $status';\naccess_log " +
                     folder + "/requests plain;\n" +
                     "log_format authorization '$uri $http_authorization';\naccess_log " + folder +
                     "/authorizations authorization;\n"
                     "log_format headers '$uri|$http_cookie|$http_x_token|$http_user_agent|"
                     "$http_accept_language';\naccess_log " +
                     folder + "/headers headers;\n";
    for (const char *use : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"})
        configuration += QByteArray(use) + "_temp_path " + folder + "/" + use + ";\n";
    configuration += "types { text/html html; text/css css; text/plain txt; application/javascript js; "
                     "image/png png; application/json json; image/svg+xml svg; application/pdf pdf; "
                     "application/zip zip; font/ttf ttf; }\n"
                     "server {\nroot " +
                     folder + "/root;\n";
    const QByteArray port = QByteArray::number(m_port) + (certificate ? " ssl;\n" : ";\n");
    configuration += "listen 127.0.0.1:" + port;
    // The first address of "localhost" on many systems, and the only one that some proxies try.
    if (QTcpServer().listen(QHostAddress::LocalHostIPv6, static_cast<quint16>(m_port)))
        configuration += "listen [::1]:" + port;
    if (certificate)
        configuration += "ssl_certificate " + QFile::encodeName(certificate->file) +
                         ";\nssl_certificate_key " + QFile::encodeName(certificate->key) + ";\n";
    // A full Chromium asks for icons of its own accord.
    configuration += "location = /favicon.ico { access_log off; return 404; }\n" + locations + "\n}\n}\n";
    const QString file = m_folder.write(QStringLiteral("nginx.conf"), configuration);
    m_daemon.emplace(QStringLiteral("nginx"),
                     QStringList{QStringLiteral("-c"), file, QStringLiteral("-e"),
                                 m_folder.path(QStringLiteral("errors"))},
                     m_port, m_folder.path(QStringLiteral("errors")));
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
    return QStringLiteral("%1://127.0.0.1:%2%3").arg(m_scheme).arg(m_port).arg(path);
}

QStringList WebServer::requests() const
{
    return QString::fromUtf8(contentOf(m_folder.path(QStringLiteral("requests"))))
        .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

QStringList WebServer::authorizations() const
{
    QStringList found = QString::fromUtf8(contentOf(m_folder.path(QStringLiteral("authorizations"))))
                            .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    found.removeIf([](const QString &line) { return line.endsWith(QLatin1String(" -")); });
    return found;
}

QStringList WebServer::headers() const
{
    return QString::fromUtf8(contentOf(m_folder.path(QStringLiteral("headers"))))
        .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}
