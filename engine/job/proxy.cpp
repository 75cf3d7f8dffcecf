#include "engine/job/proxy.h"

#include "engine/job/failure.h"

#include <QRegularExpression>
#include <QUrl>

namespace
{

[[noreturn]] void refuse(const QString &message)
{
    throw Failure(ExitCode::BadArguments, message);
}

QString decoded(QStringView text)
{
    return QUrl::fromPercentEncoding(text.toUtf8());
}

} // namespace

Proxy parseProxy(const QString &text)
{
    static const QRegularExpression pattern(QStringLiteral("^(?:(\\w+)://)?(?:(.*)@)?([^@/]+?)/?$"));
    const QRegularExpressionMatch match = pattern.match(text.trimmed());
    const QString scheme = match.hasCaptured(1) ? match.captured(1).toLower() : QStringLiteral("http");
    if (!QStringList{QStringLiteral("http"), QStringLiteral("https"), QStringLiteral("socks5")}.contains(
            scheme))
        refuse(QStringLiteral("-p takes an http, https or socks5 proxy, not \"%1\"").arg(scheme));

    const QUrl address(scheme + QStringLiteral("://") + match.captured(3), QUrl::StrictMode);
    if (!match.hasMatch() || !address.isValid() || address.host().isEmpty() || !address.path().isEmpty() ||
        address.hasQuery() || address.hasFragment())
        refuse(QStringLiteral("-p takes [http://|https://|socks5://][user:password@]host[:port], not \"%1\"")
                   .arg(text.section(QLatin1Char('@'), -1)));

    Proxy proxy;
    proxy.server = address.toString(QUrl::FullyEncoded);
    const QString credentials = match.captured(2);
    const qsizetype colon = credentials.indexOf(QLatin1Char(':'));
    proxy.userName = decoded(QStringView(credentials).left(colon));
    if (colon >= 0)
        proxy.password = decoded(QStringView(credentials).mid(colon + 1));
    if (scheme == QLatin1String("socks5") && !credentials.isEmpty())
        refuse(QStringLiteral(
            "browsers cannot give a SOCKS proxy a name and password: use one that asks for none, or "
            "an HTTP proxy"));
    return proxy;
}
