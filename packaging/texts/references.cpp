#include "packaging/texts/texts.h"

#include <QRegularExpression>

#include <optional>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace
{

QString detailsOf(const Option &option)
{
    QString details = QString::fromUtf8(option.details);
    if (option.isRepeatable)
        details += u" May be given more than once."_s;
    if (*option.variable)
        details += u" Default: the environment variable `%1`."_s.arg(QString::fromUtf8(option.variable));
    return details;
}

/// Text as the formatter of man pages prints it.
QString roffText(QString text)
{
    text.replace(u'\\', "\\e"_L1).replace(u'-', "\\-"_L1);
    return text;
}

/// Markdown in the markup of man pages: code is bold, the value's name italic, and a link its text.
QString roffOf(const Option &option)
{
    static const QRegularExpression markup(u"`([^`]*)`|\\[([^][]*)\\]\\([^)]*\\)|\\b([A-Z]+)\\b"_s);
    const QString details = detailsOf(option);
    const QString value = QString::fromUtf8(option.value);
    QString text;
    qsizetype end = 0;
    for (const QRegularExpressionMatch &match : markup.globalMatch(details)) {
        text += roffText(details.mid(end, match.capturedStart() - end));
        end = match.capturedEnd();
        if (match.hasCaptured(1))
            text += "\\fB"_L1 + roffText(match.captured(1)) + "\\fR"_L1;
        else if (match.hasCaptured(2))
            text += roffText(match.captured(2));
        else if (match.captured() == value)
            text += "\\fI"_L1 + value + "\\fR"_L1;
        else
            text += match.captured();
    }
    text += roffText(details.mid(end));
    // A line that begins with one of these is a roff request.
    return text.startsWith(u'.') || text.startsWith(u'\'') ? "\\&"_L1 + text : text;
}

} // namespace

QString manualOptions(std::span<const Option> options)
{
    QString text;
    std::optional<OptionGroup> group;
    for (const Option &option : options) {
        if (group != option.group) {
            group = option.group;
            text += u".SS %1\n"_s.arg(titleOf(*group));
        }
        const QString name = roffText(QString::fromUtf8(option.name));
        text += option.value ? u".TP\n.BI %1 \" %2\"\n"_s.arg(name, QString::fromUtf8(option.value))
                             : u".TP\n.B %1\n"_s.arg(name);
        text += roffOf(option) + u'\n';
    }
    return text;
}

QString markdownOptions(std::span<const Option> options)
{
    QString text;
    std::optional<OptionGroup> group;
    for (const Option &option : options) {
        if (group != option.group) {
            group = option.group;
            text +=
                u"\n### %1\n\n| option | example | what it does |\n|---|---|---|\n"_s.arg(titleOf(*group));
        }
        QString row = u"`%1` § `quirelle %2` § %3"_s.arg(
            signatureOf(option), QString::fromUtf8(option.example), detailsOf(option));
        // "|" separates cells: escape it in texts.
        text += "| "_L1 + row.replace(u'|', "\\|"_L1).replace(u'§', u'|') + " |\n"_L1;
    }
    return text + u'\n';
}

QString withOptions(const QString &text, const QString &options)
{
    static const QRegularExpression part(
        u"(\\A|(?<=\n))([^\n]*BEGIN OPTIONS[^\n]*\n).*?([^\n]*END OPTIONS)"_s,
        QRegularExpression::DotMatchesEverythingOption);
    const QRegularExpressionMatch match = part.match(text);
    if (!match.hasMatch())
        throw std::runtime_error("there are no lines with BEGIN OPTIONS and END OPTIONS");
    return text.left(match.capturedEnd(2)) + options + text.mid(match.capturedStart(3));
}
