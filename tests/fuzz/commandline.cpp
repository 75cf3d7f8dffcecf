#include "engine/cli/commandline.h"

#include "engine/job/failure.h"
#include "engine/job/input.h"
#include "engine/job/papersizes.h"
#include "engine/main/secrets.h"
#include "tests/fuzz/fuzz.h"
#include "tests/support/invocation.h"

#include <QProcess>
#include <QRegularExpression>
#include <QUrl>

#include <algorithm>
#include <optional>

// An input is the arguments, one a line. A single line is one as the window has it, split as the start of a
// process splits it.

using namespace Qt::StringLiterals;

namespace
{

const QString secret = u"sEcReT"_s;

QStringList argumentsIn(const QByteArray &bytes)
{
    const QString text = QString::fromUtf8(bytes);
    return text.contains(u'\n') ? text.split(u'\n') : QProcess::splitCommand(text);
}

bool takesValue(const QString &argument)
{
    const Option *option = findOption(argument);
    return option && option->value;
}

/// An address with the secret as the end of the password in it; without a password the address itself.
QString withSecretInAddress(QString address)
{
    static const QRegularExpression password(
        u"^(?:[A-Za-z][A-Za-z0-9+.-]*:[/\\\\]+)?[^/\\\\?#]*:([^/\\\\?#]*)@"_s);
    const QRegularExpressionMatch match = password.match(address);
    return match.hasMatch() ? address.insert(match.capturedEnd(1), secret) : address;
}

QString withSecretInProxy(QString proxy)
{
    const qsizetype end = proxy.lastIndexOf(u'@');
    return end < 0 ? proxy : proxy.insert(end, secret);
}

/// The arguments with the secret wherever a password stands.
QStringList withSecrets(QStringList arguments)
{
    bool optionsEnded = false;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &option = arguments[i];
        if (optionsEnded || !option.startsWith(u'-')) {
            arguments[i] = withSecretInAddress(option);
        } else if (takesValue(option) && i + 1 < arguments.size()) {
            QString &value = arguments[++i];
            if (option == "--password"_L1)
                value = secret;
            else if (option == "-p"_L1)
                value = withSecretInProxy(value);
        } else if (const qsizetype equals = option.indexOf(u'='); equals >= 0) {
            arguments[i] = option.left(equals + 1) + secret;
        }
        optionsEnded = optionsEnded || option == "--"_L1;
    }
    return arguments;
}

void checkMessage(const Failure &failure)
{
    constexpr qsizetype longest = 510;
    const QString &message = failure.message();
    require(!message.isEmpty() && message.size() <= longest, "a refusal says why, in bounds");
    require(std::none_of(message.begin(), message.end(), [](QChar c) { return c < u' '; }),
            "a refusal is one line");
}

/// The job that is asked for; nothing if it is another request or refused.
std::optional<Job> jobIn(const QStringList &arguments)
{
    try {
        const Request request = parseCommandLine(invocationOf(arguments));
        if (const Job *job = std::get_if<Job>(&request))
            return *job;
    } catch (const Failure &failure) {
        require(failure.code() == ExitCode::BadArguments, "a bad command line is called that");
        checkMessage(failure);
    }
    return std::nullopt;
}

QStringList argumentsOf(const Job &job)
{
    QStringList arguments = {
        u"--copies"_s,   QString::number(job.copies),
        u"--username"_s, job.userName,
        u"--password"_s, job.password,
        u"--timeout"_s,  QString::number(static_cast<double>(job.timeout.count()) / 1000, 'f', 3),
        u"--max-wait"_s, QString::number(static_cast<double>(job.maximumWait.count()) / 1000, 'f', 3)};
    for (const PaperSize &size : paperSizes) {
        const QString name = QString::fromLatin1(size.name.data(), static_cast<qsizetype>(size.name.size()));
        if (job.paper && paperSizeByName(name) == job.paper)
            arguments << u"--page-size"_s << name;
    }
    if (job.orientation)
        arguments << u"--orientation"_s
                  << (*job.orientation == PaperOrientation::Portrait ? u"portrait"_s : u"landscape"_s);
    if (job.minimumFontSize > 0)
        arguments << u"--minimum-font-size"_s << QString::number(job.minimumFontSize);
    if (job.title)
        arguments << u"--title"_s << *job.title;
    if (job.proxy) {
        QString proxy = job.proxy->server;
        const auto encoded = [](const QString &text) {
            return QString::fromLatin1(QUrl::toPercentEncoding(text));
        };
        if (!job.proxy->userName.isEmpty() || !job.proxy->password.isEmpty())
            proxy.insert(proxy.indexOf("://"_L1) + 3,
                         encoded(job.proxy->userName) + u':' + encoded(job.proxy->password) + u'@');
        arguments << u"-p"_s << proxy;
    }
    const std::pair<bool, QString> flags[] = {
        {!job.externalLinks, u"--disable-external-links"_s},
        {job.grayscale, u"--grayscale"_s},
        {!job.javaScript, u"--disable-javascript"_s},
        {!job.images, u"--no-images"_s},
        {!job.background, u"--no-background"_s},
        {job.lowQuality, u"--lowquality"_s},
    };
    for (const auto &[on, flag] : flags) {
        if (on)
            arguments << flag;
    }
    return arguments << u"--"_s << job.input << job.output;
}

bool sameProxy(const std::optional<Proxy> &one, const std::optional<Proxy> &other)
{
    if (!one || !other)
        return one.has_value() == other.has_value();
    return one->server == other->server && one->userName == other->userName &&
           one->password == other->password;
}

bool same(const Job &one, const Job &other)
{
    const auto fields = [](const Job &job) {
        return std::tie(job.input, job.output, job.paper, job.orientation, job.copies, job.minimumFontSize,
                        job.title, job.userName, job.password, job.externalLinks, job.grayscale,
                        job.javaScript, job.images, job.background, job.lowQuality, job.timeout,
                        job.maximumWait);
    };
    return fields(one) == fields(other) && sameProxy(one.proxy, other.proxy);
}

/// Whether a browser, which takes a backslash for a slash and is blind to line breaks, finds a name or
/// password.
bool namesUser(QString url)
{
    static const QRegularExpression userInfo(u"^https?:/*[^/?#]*@"_s,
                                             QRegularExpression::CaseInsensitiveOption);
    url.remove(QRegularExpression(u"[\\t\\r\\n]"_s)).replace(u'\\', u'/');
    return userInfo.match(url).hasMatch();
}

void checkInput(const QString &input)
{
    try {
        const Address address = resolveInput(input);
        require(address.isFile || !namesUser(address.url),
                "no name or password stands in the page's address");
    } catch (const Failure &failure) {
        require(failure.code() == ExitCode::NotLoaded, "a bad input is called that");
        checkMessage(failure);
    }
}

void checkSecrecy(const QStringList &arguments)
{
    const std::vector<bool> secrets = secretArguments(invocationOf(arguments).arguments);
    for (qsizetype i = 0; i < arguments.size(); ++i)
        require(secrets.at(static_cast<size_t>(i)) || !arguments[i].contains(secret) ||
                    arguments[i].startsWith(u'-'),
                "no list of processes shows a password");
    try {
        const Request request = parseCommandLine(invocationOf(arguments));
        if (const Job *job = std::get_if<Job>(&request)) {
            require(!withoutCredentials(job->input).contains(secret), "no password of an input is shown");
            require(!resolveInput(job->input).shown.contains(secret), "no password of an address is shown");
        } else if (const Joining *asked = std::get_if<Joining>(&request)) {
            Joining joining = *asked;
            joining.whole.output.clear();
            require(!nameOf(joining).contains(secret), "no password of several inputs is shown");
        }
    } catch (const Failure &failure) {
        require(!failure.message().contains(secret), "no message has a password in it");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes = inputBytes(data, size);
    // No argument has a zero byte.
    if (bytes.contains('\0'))
        return 0;
    const QStringList arguments = argumentsIn(bytes);
    checkSecrecy(withSecrets(arguments));
    const std::optional<Job> job = jobIn(arguments);
    if (!job)
        return 0;
    const std::optional<Job> again = jobIn(argumentsOf(*job));
    require(again && same(*job, *again), "a job written as arguments is the same job");
    checkInput(job->input);
    return 0;
}
