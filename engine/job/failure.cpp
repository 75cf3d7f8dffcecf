#include "engine/job/failure.h"

#include <QRegularExpression>

namespace
{

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

Failure::Failure(ExitCode code, const QString &message, Retry retry)
    : m_code(code), m_message(onOneLine(message)), m_utf8(m_message.toUtf8()), m_retry(retry)
{
}

QString onOneLine(const QString &text, qsizetype longest)
{
    QString line;
    for (const QChar c : text) {
        if (breaksTheLine(c))
            line += QStringLiteral("\\u%1").arg(c.unicode(), 4, 16, QLatin1Char('0'));
        else
            line += c;
    }
    if (line.size() <= longest)
        return line;
    // Names stand in front, reasons at the end. Not between the two halves of a character.
    qsizetype head = longest / 3;
    qsizetype tail = line.size() - (longest - head);
    if (line[head].isLowSurrogate())
        --head;
    if (line[tail].isLowSurrogate())
        ++tail;
    return line.left(head) + QChar(0x2026) + line.mid(tail);
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
