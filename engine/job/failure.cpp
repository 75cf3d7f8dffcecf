#include "engine/job/failure.h"

#include "engine/base/text.h"

#include <QRegularExpression>

Failure::Failure(ExitCode code, const QString &message, Retry retry)
    : m_code(code), m_message(onOneLine(message)), m_utf8(m_message.toUtf8()), m_retry(retry)
{
}

Failure tooLargeForOutput(int mebibytes)
{
    return {ExitCode::NotWritten,
            QStringLiteral("the PDF is larger than %1 MiB; --max-output allows more").arg(mebibytes)};
}

QString onOneLine(const QString &text)
{
    return QString::fromStdString(onOneLine(text.toStdString()));
}

QString withoutCredentials(const QString &address)
{
    // Browsers take backslashes for slashes and pass over blanks and line ends. What would be a host and no
    // port is a name and a password in which someone has written one of / ? # as it is.
    static const QRegularExpression userInfo(
        QStringLiteral(
            R"(^(\s*[A-Za-z][A-Za-z0-9+.\s-]*:[/\\\s]+|)([^/?#\\]*|[^/?#\\@:[]*:(?!\d*[/?#\\]).*)@)"),
        QRegularExpression::DotMatchesEverythingOption);
    QString clean = address;
    // What is left may begin with another name and password: of "http://a@/b:c@d", "http:///b:c@d".
    while (userInfo.match(clean).hasMatch())
        clean.replace(userInfo, QStringLiteral("\\1"));
    return clean;
}
