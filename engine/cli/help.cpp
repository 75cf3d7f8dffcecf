#include "engine/cli/help.h"

#include "engine/cli/options.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

constexpr qsizetype lineWidth = 79;

/// `text` wrapped at spaces to lines of at most `width` characters; lines after the first are indented by
/// `indent`.
QString wrapped(const QString &text, qsizetype width, qsizetype indent)
{
    QString result;
    qsizetype column = 0;
    for (const QString &word : text.split(u' ')) {
        if (column > 0 && column + 1 + word.size() > width) {
            result += u'\n' + QString(indent, u' ');
            column = 0;
        } else if (column > 0) {
            result += u' ';
            ++column;
        }
        result += word;
        column += word.size();
    }
    return result;
}

/// The column of the help texts: signatures are indented by two, and followed by at least two spaces.
qsizetype helpColumn()
{
    qsizetype width = 0;
    for (const Option &option : allOptions())
        width = std::max(width, signatureOf(option).size());
    return width + 4;
}

} // namespace

QString helpText()
{
    QString text = u"Usage: quirelle [options] INPUT... OUTPUT\n"
                   "Converts HTML files and web pages to a PDF; several inputs to one.\n"
                   "  INPUT   the path of a file, an address, or - for standard input\n"
                   "  OUTPUT  the path of the PDF, or - for standard output\n"_s;
    const qsizetype column = helpColumn();
    std::optional<OptionGroup> group;
    for (const Option &option : allOptions()) {
        if (group != option.group) {
            group = option.group;
            text += u"\n%1:\n"_s.arg(titleOf(*group));
        }
        text += (u"  "_s + signatureOf(option)).leftJustified(column) +
                wrapped(QLatin1String(option.help), lineWidth - column, column) + u'\n';
    }
    text += u"\nExit code:\n"
            "  0  the PDF is written\n"
            "  1  the command line is refused; nothing was started\n"
            "  2  there is no browser, or it cannot start\n"
            "  3  the page cannot be loaded\n"
            "  4  timeout\n"
            "  5  the PDF cannot be written\n"
            "  6  the page or the browser crashed\n"_s;
    return text;
}
