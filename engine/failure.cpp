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
    static const QRegularExpression userInfo(
        QStringLiteral("^([A-Za-z][A-Za-z0-9+.-]*:[/\\\\]+|)[^/?#\\\\]*@"));
    QString clean = address;
    // What is left may begin with another name and password: of "http://a@/b:c@d", "http:///b:c@d".
    while (userInfo.match(clean).hasMatch())
        clean.replace(userInfo, QStringLiteral("\\1"));
    return clean;
}
