#include "engine/failure.h"

#include <QRegularExpression>

namespace
{

constexpr qsizetype longestLine = 500;

bool breaksTheLine(QChar c)
{
    switch (c.category()) {
    case QChar::Other_Control:
    case QChar::Other_Format:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return true;
    default:
        return false;
    }
}

} // namespace

Failure::Failure(ExitCode code, const QString &message)
    : m_code(code), m_message(onOneLine(message)), m_utf8(m_message.toUtf8())
{
}

QString onOneLine(const QString &text)
{
    QString line;
    for (const QChar c : text) {
        // Not between the two halves of a character.
        if (line.size() >= longestLine && !c.isLowSurrogate())
            return line + QChar(0x2026);
        if (breaksTheLine(c))
            line += QStringLiteral("\\u%1").arg(c.unicode(), 4, 16, QLatin1Char('0'));
        else
            line += c;
    }
    return line;
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
    return clean.replace(userInfo, QStringLiteral("\\1"));
}
