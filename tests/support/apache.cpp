#include "tests/support/apache.h"

#include "tests/support/temporaryfolder.h"

#include <QCryptographicHash>
#include <QFile>

void startApache(std::optional<Daemon> &daemon, const TemporaryFolder &folder, int port,
                 const QByteArrayList &modules, const QByteArray &configuration)
{
    // Started by root, it reads the files as another user.
    QFile::setPermissions(folder.path(), QFile::Permissions::fromInt(0x7755));
    const QByteArray here = QFile::encodeName(folder.path());
    QByteArray whole;
    for (const QByteArray &module :
         QByteArrayList{"mpm_event", "authn_core", "authn_file", "authz_core", "authz_user", "mime"} +
             modules)
        whole += "LoadModule " + module + "_module /usr/lib/apache2/modules/mod_" + module + ".so\n";
    whole += "ServerName 127.0.0.1\nListen 127.0.0.1:" + QByteArray::number(port) +
             "\nUser nobody\nGroup nogroup\nServerRoot " + here + "\nPidFile " + here +
             "/pid\nDefaultRuntimeDir " + here +
             "\nMutex sem\nStartServers 1\nThreadsPerChild 8\nMaxRequestWorkers 8\nServerLimit 1\n"
             "MinSpareThreads 1\nMaxSpareThreads 8\nGracefulShutdownTimeout 1\n"
             "TypesConfig /dev/null\nAddType text/html .html\nAddType text/css .css\n"
             "AddType image/png .png\nAddType text/plain .txt\nErrorLog " +
             here + "/errors\n" + configuration + "CustomLog " + here + "/requests plain\n";
    const QString file = folder.write(QStringLiteral("apache.conf"), whole);
    daemon.emplace(QStringLiteral("apache2"),
                   QStringList{QStringLiteral("-f"), file, QStringLiteral("-DFOREGROUND")}, port,
                   folder.path(QStringLiteral("errors")));
}

QByteArray basicAccount(const QString &userName, const QString &password)
{
    return userName.toUtf8() + ":{SHA}" +
           QCryptographicHash::hash(password.toUtf8(), QCryptographicHash::Sha1).toBase64() + '\n';
}

QByteArray digestAccount(const QString &userName, const QString &password)
{
    const QByteArray user = userName.toUtf8() + ":realm:";
    return user + QCryptographicHash::hash(user + password.toUtf8(), QCryptographicHash::Md5).toHex() + '\n';
}
