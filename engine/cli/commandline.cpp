#include "engine/cli/commandline.h"

#include "engine/job/failure.h"
#include "engine/job/papersizes.h"

#include <QRegularExpression>

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <utility>
#include <vector>

namespace
{

[[noreturn]] void refuse(const QString &message)
{
    throw Failure(ExitCode::BadArguments, message + QStringLiteral(" (see quirelle --help)"));
}

/// Throws if the text holds bytes that are none. `what` names it.
void requireText(const QString &text, const QString &what)
{
    if (!text.isValidUtf16())
        refuse(QStringLiteral("%1 is not text in UTF-8").arg(what));
}

/// The whole number that `value` spells out in decimal digits, within `low` … `high`.
int wholeNumber(QLatin1String option, const QString &value, int low, int high)
{
    bool isNumber = false;
    const int number = value.toInt(&isNumber);
    if (!isNumber || number < low || number > high) {
        refuse(QStringLiteral("%1 takes a whole number from %2 to %3, not \"%4\"")
                   .arg(option)
                   .arg(low)
                   .arg(high)
                   .arg(onOneLine(value)));
    }
    return number;
}

void setPageSize(Job &job, QLatin1String option, const QString &value)
{
    job.paper = paperSizeByName(value);
    if (!job.paper)
        refuse(
            QStringLiteral("%1 takes one of %2, not \"%3\"").arg(option, paperSizeNames(), onOneLine(value)));
}

void setOrientation(Job &job, QLatin1String option, const QString &value)
{
    if (value.compare(QLatin1String("Landscape"), Qt::CaseInsensitive) == 0)
        job.orientation = PaperOrientation::Landscape;
    else if (value.compare(QLatin1String("Portrait"), Qt::CaseInsensitive) == 0)
        job.orientation = PaperOrientation::Portrait;
    else
        refuse(QStringLiteral("%1 takes Landscape or Portrait, not \"%2\"").arg(option, onOneLine(value)));
}

void setTimeout(Job &job, QLatin1String option, const QString &value)
{
    bool isNumber = false;
    const double seconds = value.toDouble(&isNumber);
    // Written so that "nan" fails too.
    if (!isNumber || !(seconds > 0 && seconds <= 86400))
        refuse(QStringLiteral("%1 takes a number of seconds above 0 and up to 86400, not \"%2\"")
                   .arg(option, onOneLine(value)));
    job.timeout = std::chrono::milliseconds(static_cast<qint64>(std::ceil(seconds * 1000)));
}

struct Option {
    const char *name;
    /// What the value is called in the help; null for an option without one.
    const char *valueName;
    const char *help;
    void (*apply)(Job &job, QLatin1String option, const QString &value);
    /// Whether the value is for nobody else to see.
    bool isSecret = false;
};

struct OptionGroup {
    const char *title;
    /// Index of the group's first option in the table.
    size_t first;
};

// clang-format off
constexpr auto options = std::to_array<Option>({
    {"--page-size", "NAME", "A0 to A9, B0 to B10, C5E, Comm10E, DLE, Executive, Folio, Ledger, Legal, Letter or Tabloid", setPageSize},
    {"--orientation", "WORD", "Landscape or Portrait: turn the paper", setOrientation},
    {"--minimum-font-size", "N", "no text smaller than N points on paper",
        [](Job &job, QLatin1String option, const QString &value) { job.minimumFontSize = wholeNumber(option, value, 1, 1000); }},
    {"--no-background", nullptr, "leave out background colours and images",
        [](Job &job, QLatin1String, const QString &) { job.background = false; }},
    {"--no-images", nullptr, "leave out images",
        [](Job &job, QLatin1String, const QString &) { job.images = false; }},
    {"--disable-javascript", nullptr, "run no script of the page",
        [](Job &job, QLatin1String, const QString &) { job.javaScript = false; }},

    {"--copies", "N", "the pages N times over",
        [](Job &job, QLatin1String option, const QString &value) { job.copies = wholeNumber(option, value, 1, 1000); }},
    {"--title", "TEXT", "the document's title",
        [](Job &job, QLatin1String, const QString &value) { job.title = value; }},
    {"--grayscale", nullptr, "no colour anywhere in the file",
        [](Job &job, QLatin1String, const QString &) { job.grayscale = true; }},
    {"--lowquality", nullptr, "the smallest file: coarse images, no tags",
        [](Job &job, QLatin1String, const QString &) { job.lowQuality = true; }},
    {"--disable-external-links", nullptr, "no link that leaves the document",
        [](Job &job, QLatin1String, const QString &) { job.externalLinks = false; }},

    {"--username", "NAME", "user name for the page's server",
        [](Job &job, QLatin1String, const QString &value) { job.userName = value; }, true},
    {"--password", "TEXT", "password for the page's server",
        [](Job &job, QLatin1String, const QString &value) { job.password = value; }, true},
    {"-p", "PROXY", "[http|https|socks5://][user:password@]host[:port]",
        [](Job &job, QLatin1String, const QString &value) { job.proxy = parseProxy(value); }, true},
    {"--block-private-addresses", nullptr, "reach the public Internet only",
        [](Job &job, QLatin1String, const QString &) { job.blockPrivateAddresses = true; }},
    {"--timeout", "SECONDS", "give up after this time (60)", setTimeout},
    {"--max-memory", "MIB", "give up a page that takes more memory (2048)",
        [](Job &job, QLatin1String option, const QString &value) { job.maximumMemory = wholeNumber(option, value, 1, 1048576); }},
    {"--max-output", "MIB", "give up a PDF that is larger (1024)",
        [](Job &job, QLatin1String option, const QString &value) { job.maximumOutput = wholeNumber(option, value, 1, 4095); }},
});
// clang-format on

/// The first options need no title.
constexpr auto optionGroups = std::to_array<OptionGroup>({{"The document", 6}, {"Getting the page", 11}});

QLatin1String nameOf(const Option &option)
{
    return QLatin1String(option.name);
}

/// Null if there is none of that name.
const Option *findOption(const QString &name)
{
    const auto option =
        std::find_if(options.begin(), options.end(), [&](const Option &o) { return name == nameOf(o); });
    return option != options.end() ? &*option : nullptr;
}

/// An unknown option as it may be shown: without a value, which may be a secret, that has been joined on to
/// it.
QString withoutSecret(const QString &argument)
{
    static const QRegularExpression name(QStringLiteral("^(--password|--username|-p(?!-))"));
    const QRegularExpressionMatch match = name.match(argument);
    return onOneLine(match.hasMatch() ? match.captured()
                                      : withoutCredentials(argument.section(QLatin1Char('='), 0, 0)));
}

/// How many letters must be put in, taken out or changed to make one text of the other.
size_t distance(const QString &one, QLatin1String other)
{
    std::vector<size_t> row(static_cast<size_t>(other.size()) + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (const QChar letter : one) {
        size_t diagonal = std::exchange(row[0], row[0] + 1);
        for (size_t i = 1; i < row.size(); ++i) {
            const bool same = letter == other[static_cast<qsizetype>(i) - 1];
            const size_t least = std::min({row[i] + 1, row[i - 1] + 1, diagonal + (same ? 0 : 1)});
            diagonal = std::exchange(row[i], least);
        }
    }
    return row.back();
}

/// The option that was probably meant: the only one that begins so, or one with a slip or two in it.
const Option *optionLike(const QString &argument)
{
    constexpr size_t mostSlips = 2;
    const auto begins = [&](const Option &option) {
        return argument.size() > 2 && nameOf(option).startsWith(argument, Qt::CaseInsensitive);
    };
    if (std::count_if(options.begin(), options.end(), begins) == 1)
        return &*std::find_if(options.begin(), options.end(), begins);
    const auto slips = [argument = argument.toLower()](const Option &option) {
        return distance(argument, nameOf(option));
    };
    const auto nearest = std::ranges::min_element(options, {}, slips);
    return argument.size() > 2 * static_cast<qsizetype>(mostSlips) && slips(*nearest) <= mostSlips ? &*nearest
                                                                                                   : nullptr;
}

[[noreturn]] void refuseUnknown(const QString &argument)
{
    const Option *joined = findOption(argument.section(QLatin1Char('='), 0, 0));
    if (joined && joined->valueName)
        refuse(QStringLiteral("the value of %1 is the next argument: %1 %2")
                   .arg(nameOf(*joined), QLatin1String(joined->valueName)));
    const Option *like = optionLike(argument);
    const QString advice = like ? QStringLiteral("; did you mean %1?").arg(nameOf(*like)) : QString();
    refuse(QStringLiteral("there is no option \"%1\"%2").arg(withoutSecret(argument), advice));
}

QString signatureOf(const Option &option)
{
    QString text = nameOf(option);
    if (option.valueName)
        text += QLatin1Char(' ') + QLatin1String(option.valueName);
    return text;
}

/// `text` in lines of at most `width` characters, broken at blanks, each after the first indented by
/// `indent`.
QString wrapped(const QString &text, qsizetype width, qsizetype indent)
{
    QString result;
    qsizetype column = 0;
    for (const QString &word : text.split(QLatin1Char(' '))) {
        if (column > 0 && column + 1 + word.size() > width) {
            result += QLatin1Char('\n') + QString(indent, QLatin1Char(' '));
            column = 0;
        } else if (column > 0) {
            result += QLatin1Char(' ');
            ++column;
        }
        result += word;
        column += word.size();
    }
    return result;
}

QString helpLine(const QString &signature, const QString &help)
{
    constexpr qsizetype indent = 28;
    constexpr qsizetype lineWidth = 79;
    return (QLatin1String("  ") + signature).leftJustified(indent) +
           wrapped(help, lineWidth - indent, indent) + QLatin1Char('\n');
}

} // namespace

Request parseCommandLine(const QStringList &arguments)
{
    Job job;
    QStringList positional;
    bool optionsEnded = false;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &argument = arguments[i];
        if (optionsEnded || !argument.startsWith(QLatin1Char('-')) || argument == QLatin1String("-")) {
            requireText(argument, QStringLiteral("\"%1\"").arg(
                                      onOneLine(withoutCredentials(QString::fromUtf8(argument.toUtf8())))));
            positional += argument;
            continue;
        }
        if (argument == QLatin1String("--")) {
            optionsEnded = true;
            continue;
        }
        if (argument == QLatin1String("--help"))
            return HelpRequest();
        if (argument == QLatin1String("--version"))
            return VersionRequest();
        const Option *option = findOption(argument);
        if (!option)
            refuseUnknown(argument);
        QString value;
        if (option->valueName) {
            if (++i == arguments.size())
                refuse(QStringLiteral("%1 lacks its value: %2").arg(argument, QLatin1String(option->help)));
            value = arguments[i];
            requireText(value, QStringLiteral("the value of %1").arg(argument));
        }
        option->apply(job, nameOf(*option), value);
    }

    if (positional.isEmpty() || positional[0].isEmpty())
        refuse(QStringLiteral("no input: name an HTML file or a web address"));
    if (positional.size() < 2 || positional[1].isEmpty())
        refuse(QStringLiteral("no output: name the PDF to write after the input"));
    if (positional.size() > 2)
        refuse(QStringLiteral("one input and one output are enough; what is \"%1\"?")
                   .arg(onOneLine(withoutCredentials(positional[2]))));
    job.input = positional[0];
    job.output = positional[1];
    return job;
}

std::vector<bool> haveSecrets(const QStringList &arguments)
{
    std::vector<bool> secrets;
    const Option *option = nullptr;
    bool optionsEnded = false;
    for (const QString &argument : arguments) {
        if (option && option->valueName) {
            secrets.push_back(option->isSecret);
            option = nullptr;
            continue;
        }
        option = optionsEnded ? nullptr : findOption(argument);
        optionsEnded = optionsEnded || argument == QLatin1String("--");
        const bool mayHavePassword = argument.contains(u':') && argument.contains(u'@');
        secrets.push_back(!option && (mayHavePassword || withoutCredentials(argument) != argument));
    }
    return secrets;
}

QString helpText()
{
    QString text =
        QStringLiteral("Usage: quirelle [options] INPUT OUTPUT (-: standard output), --help, --version\n");
    auto group = optionGroups.begin();
    for (size_t i = 0; i < options.size(); ++i) {
        if (group != optionGroups.end() && group->first == i) {
            text += QStringLiteral("%1:\n").arg(QLatin1String(group->title));
            ++group;
        }
        text += helpLine(signatureOf(options[i]), QLatin1String(options[i].help));
    }
    text +=
        QStringLiteral("Exit code: 0 written, 1 arguments, 2 browser, 3 page, 4 time, 5 output, 6 crash\n");
    return text;
}
