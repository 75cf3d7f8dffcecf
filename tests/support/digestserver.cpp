#include "tests/support/digestserver.h"

#include "tests/support/apache.h"
#include "tests/support/silentserver.h"

#include <QFile>

DigestServer::DigestServer(const QString &userName, const QString &password) : m_port(freePort())
{
    m_folder.makeFolder(QStringLiteral("root"));
    m_folder.write(QStringLiteral("users"), digestAccount(userName, password));
    const QByteArray folder = QFile::encodeName(m_folder.path());
    startApache(m_daemon, m_folder, m_port, {"auth_digest"},
                "DocumentRoot " + folder + "/root\n<Directory " + folder +
                    "/root>\nAuthType Digest\nAuthName realm\nAuthDigestProvider file\nAuthUserFile " +
                    folder +
                    "/users\nRequire valid-user\n</Directory>\n"
                    "LogFormat \"%U %>s %{Authorization}i\" plain\n");
}

QString DigestServer::address(const QString &path) const
{
    return QStringLiteral("http://127.0.0.1:%1%2").arg(m_port).arg(path);
}

QStringList DigestServer::requests() const
{
    return QString::fromUtf8(contentOf(m_folder.path(QStringLiteral("requests"))))
        .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}
