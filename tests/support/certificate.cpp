#include "tests/support/certificate.h"

#include "tests/support/program.h"
#include "tests/support/temporaryfolder.h"

#include <QDateTime>
#include <QDir>
#include <QHostAddress>

namespace
{

void must(const QString &program, const QStringList &arguments)
{
    const ProgramResult result = runProgram(program, arguments);
    if (!result.ok())
        qFatal("%s: %s%s", qPrintable(program), result.output.constData(), result.errors.constData());
}

/// What openssl takes, in the one way that knows years beyond two digits.
QString timeFromNow(int days)
{
    return QDateTime::currentDateTimeUtc().addDays(days).toString(QStringLiteral("yyyyMMddHHmmss")) +
           QLatin1Char('Z');
}

QString alternativeName(const QString &host)
{
    const bool isNumber = !QHostAddress(host).isNull();
    return QStringLiteral("subjectAltName=%1:%2").arg(QLatin1String(isNumber ? "IP" : "DNS"), host);
}

} // namespace

Certificate selfSignedCertificate(const TemporaryFolder &folder, const QString &host)
{
    Certificate made{folder.path(host + QLatin1String("-self.pem")),
                     folder.path(host + QLatin1String("-self.key"))};
    must(QStringLiteral("openssl"),
         {QStringLiteral("req"), QStringLiteral("-x509"), QStringLiteral("-newkey"),
          QStringLiteral("rsa:2048"), QStringLiteral("-nodes"), QStringLiteral("-days"), QStringLiteral("30"),
          QStringLiteral("-subj"), QStringLiteral("/CN=") + host, QStringLiteral("-addext"),
          alternativeName(host), QStringLiteral("-keyout"), made.key, QStringLiteral("-out"), made.file});
    return made;
}

CertificateAuthority::CertificateAuthority(const TemporaryFolder &folder)
    : m_folder(folder), m_own{folder.path(QStringLiteral("authority.pem")),
                              folder.path(QStringLiteral("authority.key"))}
{
    must(QStringLiteral("openssl"),
         {QStringLiteral("req"), QStringLiteral("-x509"), QStringLiteral("-newkey"),
          QStringLiteral("rsa:2048"), QStringLiteral("-nodes"), QStringLiteral("-days"), QStringLiteral("60"),
          QStringLiteral("-subj"), QStringLiteral("/CN=Test authority"), QStringLiteral("-keyout"), m_own.key,
          QStringLiteral("-out"), m_own.file});
}

Certificate CertificateAuthority::issue(const QString &host, int fromDay, int toDay) const
{
    const QString name = QStringLiteral("%1-%2").arg(host).arg(toDay);
    Certificate made{m_folder.path(name + QLatin1String(".pem")),
                     m_folder.path(name + QLatin1String(".key"))};
    const QString request = m_folder.path(name + QLatin1String(".csr"));
    must(QStringLiteral("openssl"), {QStringLiteral("req"), QStringLiteral("-new"), QStringLiteral("-newkey"),
                                     QStringLiteral("rsa:2048"), QStringLiteral("-nodes"),
                                     QStringLiteral("-subj"), QStringLiteral("/CN=") + host,
                                     QStringLiteral("-keyout"), made.key, QStringLiteral("-out"), request});
    // Only "ca" takes days that have passed; it wants a list of what it has issued.
    const QString list = m_folder.write(name + QLatin1String(".list"), "");
    const QString number = m_folder.write(name + QLatin1String(".serial"), "01\n");
    const QString settings =
        m_folder.write(name + QLatin1String(".conf"),
                       "[ca]\ndefault_ca=own\n[own]\ndatabase=" + list.toUtf8() +
                           "\nserial=" + number.toUtf8() + "\nnew_certs_dir=" + m_folder.path().toUtf8() +
                           "\npolicy=any\ndefault_md=sha256\nx509_extensions=extensions\n"
                           "[any]\ncommonName=supplied\n[extensions]\n" +
                           alternativeName(host).toUtf8() + "\n");
    must(QStringLiteral("openssl"),
         {QStringLiteral("ca"), QStringLiteral("-batch"), QStringLiteral("-notext"),
          QStringLiteral("-config"), settings, QStringLiteral("-cert"), m_own.file,
          QStringLiteral("-keyfile"), m_own.key, QStringLiteral("-startdate"), timeFromNow(fromDay),
          QStringLiteral("-enddate"), timeFromNow(toDay), QStringLiteral("-in"), request,
          QStringLiteral("-out"), made.file});
    return made;
}

void CertificateAuthority::becomeTrustedBy(const QString &home) const
{
    const QString store = home + QLatin1String("/.pki/nssdb");
    QDir().mkpath(store);
    const QString database = QLatin1String("sql:") + store;
    must(QStringLiteral("certutil"),
         {QStringLiteral("-N"), QStringLiteral("-d"), database, QStringLiteral("--empty-password")});
    must(QStringLiteral("certutil"), {QStringLiteral("-A"), QStringLiteral("-d"), database,
                                      QStringLiteral("-n"), QStringLiteral("authority"), QStringLiteral("-t"),
                                      QStringLiteral("C,,"), QStringLiteral("-i"), m_own.file});
}
