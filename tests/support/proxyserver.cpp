#include "tests/support/proxyserver.h"

#include "tests/support/apache.h"
#include "tests/support/silentserver.h"

#include <QFile>
#include <QRegularExpression>

namespace
{

QStringList matchesIn(const QString &log, const QString &pattern)
{
    QStringList found;
    const QString text = QString::fromUtf8(contentOf(log));
    for (const QRegularExpressionMatch &match : QRegularExpression(pattern).globalMatch(text))
        found += match.captured(1);
    return found;
}

} // namespace

HttpProxyServer::HttpProxyServer(const QByteArray &settings) : m_port(freePort())
{
    const QString log = m_folder.path(QStringLiteral("log"));
    const QString file =
        m_folder.write(QStringLiteral("tinyproxy.conf"),
                       "Port " + QByteArray::number(m_port) +
                           "\nListen 127.0.0.1\nTimeout 60\nMaxClients 100\nLogLevel Connect\n"
                           "LogFile \"" +
                           QFile::encodeName(log) + "\"\n" + settings);
    m_daemon.emplace(QStringLiteral("tinyproxy"),
                     QStringList{QStringLiteral("-d"), QStringLiteral("-c"), file}, m_port, log);
}

QStringList HttpProxyServer::requests() const
{
    return matchesIn(m_folder.path(QStringLiteral("log")),
                     QStringLiteral("Request \\([^)]*\\): (\\S+ \\S+)"));
}

AskingProxy::AskingProxy(Kind kind, const QString &userName, const QString &password) : m_port(freePort())
{
    const QByteArray name = kind == Basic ? "Basic" : "Digest";
    QByteArray configuration = "ProxyRequests On\n<Proxy \"*\">\n";
    configuration += "AuthType " + name + "\nAuthName realm\nAuth" + name + "Provider file\nAuthUserFile \"" +
                     QFile::encodeName(m_folder.path(QStringLiteral("users"))) +
                     "\"\nRequire valid-user\n</Proxy>\nLogFormat \"%m %U %>s\" plain\n";
    m_folder.write(QStringLiteral("users"),
                   kind == Basic ? basicAccount(userName, password) : digestAccount(userName, password));
    startApache(m_daemon, m_folder, m_port, {"proxy", "proxy_http", "auth_basic", "auth_digest"},
                configuration);
}

QStringList AskingProxy::requests() const
{
    return QString::fromUtf8(contentOf(m_folder.path(QStringLiteral("requests"))))
        .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

SocksProxyServer::SocksProxyServer() : m_port(freePort())
{
    m_daemon.emplace(QStringLiteral("microsocks"),
                     QStringList{QStringLiteral("-i"), QStringLiteral("127.0.0.1"), QStringLiteral("-p"),
                                 QString::number(m_port)},
                     m_port, m_folder.path(QStringLiteral("log")));
}

QStringList SocksProxyServer::connections() const
{
    return matchesIn(m_folder.path(QStringLiteral("log")), QStringLiteral("connected to (\\S+)"));
}
