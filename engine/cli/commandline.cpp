#include "engine/cli/commandline.h"

#include "engine/cli/refuse.h"
#include "engine/job/paper.h"

#include <QFile>
#include <QStringDecoder>
#include <QTimeZone>

#include <algorithm>
#include <numeric>
#include <string_view>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{

/// In seconds: the year 9999 is the last that a PDF can name.
constexpr qint64 maximumFixedTime = 253402300799;

/// Throws if the bytes are not valid UTF-8. The message calls them `what`, or quotes them if that is empty.
QString textOf(const std::string &bytes, const QString &what)
{
    QStringDecoder decode(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decode(bytes);
    if (decode.hasError())
        refuse(u"%1 is not text in UTF-8"_s.arg(
            what.isEmpty() ? u"\"%1\""_s.arg(onOneLine(withoutCredentials(text))) : what));
    return text;
}

/// The arguments, taken one by one.
class Arguments
{
public:
    explicit Arguments(const std::vector<std::string> &arguments) : m_arguments(arguments) {}

    bool atEnd() const { return m_next == m_arguments.end(); }
    /// `what` names the argument in messages; see textOf().
    QString take(const QString &what = {}) { return textOf(*m_next++, what); }
    std::vector<std::string>::const_iterator next() const { return m_next; }

private:
    const std::vector<std::string> &m_arguments;
    std::vector<std::string>::const_iterator m_next = m_arguments.begin();
};

QLatin1String nameOf(const Option &option)
{
    return QLatin1String(option.name);
}

/// The secret option that the argument begins with, as in "--passwordx"; null if there is none.
const Option *secretOptionJoinedIn(const QString &argument)
{
    const auto found = std::ranges::find_if(allOptions(), [&](const Option &option) {
        return option.isSecret && argument.startsWith(nameOf(option)) && !findOption(argument);
    });
    return found != allOptions().end() ? &*found : nullptr;
}

/// The Levenshtein distance.
size_t distance(const QString &one, QLatin1String other)
{
    std::vector<size_t> row(static_cast<size_t>(other.size()) + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (const QChar letter : one) {
        size_t diagonal = std::exchange(row[0], row[0] + 1);
        for (size_t i = 1; i < row.size(); ++i) {
            const bool same = letter == other[static_cast<qsizetype>(i) - 1];
            const size_t minimum = std::min({row[i] + 1, row[i - 1] + 1, diagonal + (same ? 0 : 1)});
            diagonal = std::exchange(row[i], minimum);
        }
    }
    return row.back();
}

/// The option that was probably meant: the only one with this prefix, or the nearest within two typing
/// errors.
const Option *suggestionFor(const QString &argument)
{
    constexpr size_t maximumErrors = 2;
    const std::span<const Option> options = allOptions();
    const auto begins = [&](const Option &option) {
        return argument.size() > 2 && nameOf(option).startsWith(argument, Qt::CaseInsensitive);
    };
    if (std::ranges::count_if(options, begins) == 1)
        return &*std::ranges::find_if(options, begins);
    const auto errors = [argument = argument.toLower()](const Option &option) {
        return distance(argument, nameOf(option));
    };
    const auto nearest = std::ranges::min_element(options, {}, errors);
    return argument.size() > 2 * static_cast<qsizetype>(maximumErrors) && errors(*nearest) <= maximumErrors
               ? &*nearest
               : nullptr;
}

[[noreturn]] void refuseUnknown(const QString &argument)
{
    // Not repeated in the message: what follows "=" may be a secret.
    const QString name = argument.section(u'=', 0, 0);
    const Option *joined = findOption(name);
    if (!joined)
        joined = secretOptionJoinedIn(argument);
    if (joined && joined->value)
        refuse(u"the value of %1 is the next argument: %2"_s.arg(nameOf(*joined), signatureOf(*joined)));
    const Option *suggestion = suggestionFor(argument);
    const QString advice = suggestion ? u"; did you mean %1?"_s.arg(nameOf(*suggestion)) : QString();
    refuse(u"there is no option \"%1\"%2"_s.arg(onOneLine(withoutCredentials(name)), advice));
}

void applyOption(Job &job, const Option &option, Arguments &arguments)
{
    if (option.value && arguments.atEnd())
        refuse(u"%1 lacks its value: %2"_s.arg(nameOf(option), QLatin1String(option.help)));
    const QString value = option.value ? arguments.take(u"the value of %1"_s.arg(nameOf(option))) : QString();
    option.apply(job, nameOf(option), value);
}

QDateTime fixedTimeOf(const QString &value)
{
    bool isNumber = false;
    const qint64 seconds = value.toLongLong(&isNumber);
    if (!isNumber || seconds < 0 || seconds > maximumFixedTime)
        refuse(u"%1 takes the seconds since 1970, not \"%2\""_s.arg(QLatin1String(fixedTimeVariable),
                                                                    onOneLine(value)));
    return QDateTime::fromSecsSinceEpoch(seconds, QTimeZone::utc());
}

/// Applies the variables of options that are not among the arguments.
void applyVariables(Job &job, const Invocation &invocation, const std::vector<const Option *> &given)
{
    for (const auto &[name, value] : invocation.variables) {
        if (name == fixedTimeVariable) {
            job.fixedTime = fixedTimeOf(textOf(value, QLatin1String(fixedTimeVariable)));
            continue;
        }
        const auto isNamed = [wanted = std::string_view(name)](const Option &option) {
            return wanted == option.variable;
        };
        const auto option = std::ranges::find_if(allOptions(), isNamed);
        if (option == allOptions().end() || std::ranges::find(given, &*option) != given.end())
            continue;
        const QString variable = QString::fromStdString(name);
        option->apply(job, variable, textOf(value, variable));
    }
}

/// The inputs and the output.
struct Names {
    QStringList inputs;
    QString output;
};

Names namesIn(QStringList names, bool hasLists)
{
    if (names.isEmpty() && !hasLists)
        refuse(u"no input: name an HTML file or a web address"_s);
    if (names.size() < (hasLists ? 1 : 2))
        refuse(u"no output: name the PDF to write after the input"_s);
    const QString output = names.takeLast();
    if (names.contains(QString()))
        refuse(u"no input: name an HTML file or a web address"_s);
    // The last of several addresses, to which no output was given.
    const bool isAddress = names.size() > 1 && output.startsWith("http"_L1) && output.contains("://"_L1);
    if (output.isEmpty() || isAddress)
        refuse(u"no output: name the PDF to write after the input"_s);
    return {names, output};
}

void checkTogether(const Job &job)
{
    if (!job.paper || !job.margins)
        return;
    const QSizeF room = paperFor(job).shrunkBy(*job.margins);
    if (room.width() < 1 || room.height() < 1)
        refuse(u"--margin leaves no room on the paper of --page-size"_s);
}

} // namespace

Request parseCommandLine(const Invocation &invocation)
{
    Job job;
    job.folder = QFile::decodeName(invocation.folder.c_str());
    job.isPart = invocation.isPart;
    std::vector<const Option *> given;
    std::vector<std::string> partArguments;
    QStringList names;
    bool optionsEnded = false;
    for (Arguments arguments(invocation.arguments); !arguments.atEnd();) {
        const auto first = arguments.next();
        const QString argument = arguments.take();
        if (optionsEnded || !argument.startsWith(u'-') || argument == "-"_L1) {
            names += argument;
        } else if (argument == "--"_L1) {
            optionsEnded = true;
        } else if (const Option *option = findOption(argument); !option) {
            refuseUnknown(argument);
        } else if (option->answer) {
            return *option->answer;
        } else {
            applyOption(job, *option, arguments);
            given.push_back(option);
            if (!option->isForWhole)
                partArguments.insert(partArguments.end(), first, arguments.next());
        }
    }
    applyVariables(job, invocation, given);
    checkTogether(job);
    const Names found = namesIn(std::move(names), !job.inputLists.isEmpty());
    job.output = found.output;
    if (!job.baseUrl.isEmpty() && !found.inputs.contains(u"-"_s) && !job.isPart)
        refuse(u"--base-url is for standard input only: give \"-\" as the input"_s);
    if (found.inputs.size() != 1 || !job.inputLists.isEmpty())
        return Joining{job, found.inputs, partArguments};
    job.input = found.inputs[0];
    if (job.input == "-"_L1 && invocation.document)
        job.document = QByteArray::fromStdString(*invocation.document);
    return job;
}
