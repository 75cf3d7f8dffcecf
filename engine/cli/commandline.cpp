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

    bool atEnd() const { return m_next == m_arguments.size(); }
    /// `what` names the argument in messages; see textOf().
    QString take(const QString &what = {}) { return textOf(m_arguments[m_next++], what); }

private:
    const std::vector<std::string> &m_arguments;
    size_t m_next = 0;
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
        const auto isNamed = [name = std::string_view(name)](const Option &option) {
            return name == option.variable;
        };
        const auto option = std::ranges::find_if(allOptions(), isNamed);
        if (option == allOptions().end() || std::ranges::find(given, &*option) != given.end())
            continue;
        const QString variable = QString::fromStdString(name);
        option->apply(job, variable, textOf(value, variable));
    }
}

void setNames(Job &job, const QStringList &names)
{
    if (names.isEmpty() || names[0].isEmpty())
        refuse(u"no input: name an HTML file or a web address"_s);
    if (names.size() < 2 || names[1].isEmpty())
        refuse(u"no output: name the PDF to write after the input"_s);
    if (names.size() > 2)
        refuse(u"one input and one output are enough; what is \"%1\"?"_s.arg(
            onOneLine(withoutCredentials(names[2]))));
    job.input = names[0];
    job.output = names[1];
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
    std::vector<const Option *> given;
    job.folder = QFile::decodeName(invocation.folder.c_str());
    QStringList names;
    bool optionsEnded = false;
    for (Arguments arguments(invocation.arguments); !arguments.atEnd();) {
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
        }
    }
    applyVariables(job, invocation, given);
    checkTogether(job);
    setNames(job, names);
    return job;
}
