#pragma once

#include <QString>

class TemporaryFolder;

/// A server's certificate and its key, as PEM files.
struct Certificate {
    QString file;
    QString key;
};

/// A certificate that nobody but itself vouches for.
Certificate selfSignedCertificate(const TemporaryFolder &folder, const QString &host);

/// An authority that a browser can be told to trust.
class CertificateAuthority
{
public:
    /// Keeps its files in `folder`.
    explicit CertificateAuthority(const TemporaryFolder &folder);

    /// A certificate for a host name or number, valid from and up to so many days from now.
    Certificate issue(const QString &host, int fromDay = -1, int toDay = 30) const;
    /// Makes the browser of the user with this home folder trust the authority.
    void becomeTrustedBy(const QString &home) const;

private:
    const TemporaryFolder &m_folder;
    Certificate m_own;
};
