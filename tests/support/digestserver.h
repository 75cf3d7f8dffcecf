#pragma once

#include "tests/support/daemon.h"
#include "tests/support/temporaryfolder.h"

#include <optional>

/// Apache on a free loopback port; it shows what lies below its root to one user only, who must prove by a
/// digest that he knows the password. For as long as this object lives.
class DigestServer
{
public:
    DigestServer(const QString &userName, const QString &password);

    /// Puts a file below the root.
    void write(const QString &name, const QByteArray &content) const
    {
        m_folder.write(QLatin1String("root/") + name, content);
    }
    QString address(const QString &path) const;
    /// One "path status header" a request, with "-" for no Authorization header.
    QStringList requests() const;

private:
    TemporaryFolder m_folder;
    int m_port = 0;
    std::optional<Daemon> m_daemon;
};
