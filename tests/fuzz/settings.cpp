#include "conversion/enginecommand.h"
#include "conversion/engineoptions.h"
#include "engine/cli/commandline.h"
#include "engine/job/failure.h"
#include "settings/choices.h"
#include "settings/settingsfile.h"
#include "tests/fuzz/fuzz.h"

#include <QFile>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>

#include <algorithm>
#include <optional>

// An input is the content of a settings file.

using namespace Qt::StringLiterals;

namespace
{

/// A settings file of this content, under a name that no earlier one had: what has been read is kept by name.
class SettingsFile
{
public:
    explicit SettingsFile(const QByteArray &content)
    {
        static const QTemporaryDir folder;
        static int number = 0;
        m_file.setFileName(folder.filePath(QString::number(++number)));
        require(m_file.open(QIODevice::WriteOnly) && m_file.write(content) == content.size(),
                "there is room for a file");
        m_file.close();
    }
    SettingsFile(const SettingsFile &) = delete;
    SettingsFile &operator=(const SettingsFile &) = delete;
    ~SettingsFile() { m_file.remove(); }

    QString path() const { return m_file.fileName(); }

private:
    QFile m_file;
};

QString textOf(const QSettings &settings, const char16_t *key)
{
    return settings.value(key).toString().left(g_maximumTextLength);
}

/// The stored number if it is one of these, else 0.
int numberOf(const QSettings &settings, const char16_t *key, int least, int most)
{
    const int number = settings.value(key).toString().toInt();
    return number >= least && number <= most ? number : 0;
}

bool isOn(const QSettings &settings, const char16_t *key)
{
    return settings.value(key).toString() == "True"_L1;
}

/// The arguments that these settings stand for.
QStringList expectedArguments(const QSettings &settings)
{
    QStringList arguments;
    const auto add = [&](const char *option, const QString &value) {
        arguments << QString::fromLatin1(option) << value;
    };
    if (const int paper = numberOf(settings, SettingKey::PaperSizeModel, 1, 30))
        add("--page-size", QString::fromLatin1(g_paperSizes.at(static_cast<size_t>(paper)).option));
    add("--copies", QString::number(numberOf(settings, SettingKey::CopyNumber, 0, 9) + 1));
    if (numberOf(settings, SettingKey::Orientation, 1, 1) == 1)
        add("--orientation", u"Landscape"_s);
    const bool hasFontSize = settings.contains(SettingKey::FontSize);
    if (const int points = hasFontSize ? numberOf(settings, SettingKey::FontSize, 5, 72) : 10)
        add("--minimum-font-size", QString::number(points));
    const std::pair<const char16_t *, const char *> texts[] = {{SettingKey::Title, "--title"},
                                                               {SettingKey::AuthUser, "--username"},
                                                               {SettingKey::Password, "--password"},
                                                               {SettingKey::Proxy, "-p"}};
    for (const auto &[key, option] : texts) {
        if (const QString text = textOf(settings, key); !text.isEmpty())
            add(option, text);
    }
    const std::pair<const char16_t *, const char *> flags[] = {
        {SettingKey::NoWebLink, "--disable-external-links"},
        {SettingKey::Grayscale, "--grayscale"},
        {SettingKey::DisableJs, "--disable-javascript"},
        {SettingKey::NoImages, "--no-images"},
        {SettingKey::LowQuality, "--lowquality"},
        {SettingKey::NoBackground, "--no-background"}};
    for (const auto &[key, option] : flags) {
        if (isOn(settings, key))
            arguments << QString::fromLatin1(option);
    }
    return arguments;
}

/// Whether a text splits the line or takes part in its filling, which is meant.
bool hasMarks(const QSettings &settings)
{
    const auto has = [&](const char16_t *key) {
        const QString text = textOf(settings, key);
        return text.contains(u'"') || text.contains(u'%');
    };
    const auto keys = {SettingKey::Title, SettingKey::AuthUser, SettingKey::Password, SettingKey::Proxy};
    return std::any_of(keys.begin(), keys.end(), has);
}

/// What the engine makes of its arguments; nothing if it refuses them.
std::optional<Request> requestOf(const QStringList &arguments)
{
    try {
        return parseCommandLine(arguments);
    } catch (const Failure &failure) {
        require(failure.code() == ExitCode::BadArguments && !failure.message().isEmpty(),
                "the engine says what it refuses");
        return std::nullopt;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const SettingsFile file(inputBytes(data, size));
    const QSettings settings(file.path(), QSettings::IniFormat);
    const QString line =
        engineCommand(u"/opt/engine"_s, engineOptions(settings), u"/a b.html"_s, u"/c d.pdf"_s);
    QStringList arguments = QProcess::splitCommand(line);
    require(!arguments.isEmpty() && arguments.takeFirst() == "/opt/engine"_L1,
            "it is the engine that starts");
    const std::optional<Request> request = requestOf(arguments);
    if (hasMarks(settings))
        return 0;

    require(arguments == expectedArguments(settings) + QStringList{u"/a b.html"_s, u"/c d.pdf"_s},
            "the settings, and nothing else, become arguments");
    const Job *job = request ? std::get_if<Job>(&*request) : nullptr;
    require(job || !textOf(settings, SettingKey::Proxy).isEmpty(), "only a proxy can be refused");
    require(!job || job->title.value_or(QString()) == textOf(settings, SettingKey::Title), "a title arrives");
    require(!job || job->password == textOf(settings, SettingKey::Password), "a password arrives");
    return 0;
}
