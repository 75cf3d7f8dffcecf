#include "conversion/engineoptions.h"

#include "settings/choices.h"
#include "settings/settingsfile.h"

#include <QSettings>
#include <QStringList>

using namespace Qt::StringLiterals;

namespace
{

constexpr int maximumCopies = 10;
constexpr int maximumPaperSide = 3000; // millimetres
// If the file has no such key. A stored "Default" is 0 and means no minimum: see "Kept by contract" in
// docs/development.md.
constexpr int fontSizeWhenAbsent = 10;

struct TextOption {
    const char16_t *key;
    const char16_t *option;
};

constexpr TextOption textOptions[] = {
    {SettingKey::Title, u"\"--title\" \"%1\""},
    {SettingKey::AuthUser, u"\"--username\" \"%1\""},
    {SettingKey::Password, u"\"--password\" \"%1\""},
    {SettingKey::Proxy, u"\"-p\" \"%1\""},
};

constexpr TextOption flagOptions[] = {
    {SettingKey::NoWebLink, u"\"--disable-external-links\""},
    {SettingKey::Grayscale, u"\"--grayscale\""},
    {SettingKey::DisableJs, u"\"--disable-javascript\""},
    {SettingKey::NoImages, u"\"--no-images\""},
    {SettingKey::LowQuality, u"\"--lowquality\""},
    {SettingKey::NoBackground, u"\"--no-background\""},
};

int storedNumber(const QSettings &settings, const char16_t *key, int whenAbsent)
{
    return settings.value(key, whenAbsent).toString().toInt();
}

/// A stored number if it is within these limits, else 0.
int numberInRange(const QSettings &settings, const char16_t *key, int minimum, int maximum,
                  int whenAbsent = 0)
{
    const int number = storedNumber(settings, key, whenAbsent);
    return number < minimum || number > maximum ? 0 : number;
}

QString paperOption(const QSettings &settings)
{
    const int last = static_cast<int>(g_paperSizes.size()) - 1;
    const int index = numberInRange(settings, SettingKey::PaperSizeModel, 0, last);
    if (index == 0)
        return QString();
    return u"\"--page-size\" \"%1\""_s.arg(
        QLatin1String(g_paperSizes.at(static_cast<std::size_t>(index)).option));
}

/// One side of a custom paper size, as text; "NULL" if it is out of range.
QString paperSide(const QSettings &settings, const char16_t *key)
{
    const QString side = settings.value(key, 0).toString();
    const int millimetres = side.toInt();
    return millimetres <= 0 || millimetres > maximumPaperSide ? u"NULL"_s : side;
}

QString copiesOption(const QSettings &settings)
{
    return u"\"--copies\" \"%1\""_s.arg(
        numberInRange(settings, SettingKey::CopyNumber, 0, maximumCopies - 1) + 1);
}

QString orientationOption(const QSettings &settings)
{
    const int last = static_cast<int>(g_orientations.size()) - 1;
    const int index = numberInRange(settings, SettingKey::Orientation, 0, last);
    if (index == 0)
        return QString();
    return u"\"--orientation\" \"%1\""_s.arg(
        QLatin1String(g_orientations.at(static_cast<std::size_t>(index)).option));
}

QString fontSizeOption(const QSettings &settings)
{
    const int points = numberInRange(settings, SettingKey::FontSize, g_minimumFontSize, g_maximumFontSize,
                                     fontSizeWhenAbsent);
    return points == 0 ? QString() : u"\"--minimum-font-size\" \"%1\""_s.arg(points);
}

QString textOption(const QSettings &settings, const TextOption &option)
{
    const QString text = settings.value(option.key, QString()).toString().left(g_maximumTextLength);
    return text.isEmpty() ? QString() : QString::fromUtf16(option.option).arg(text);
}

QString flagOption(const QSettings &settings, const TextOption &option)
{
    const bool on = settings.value(option.key, QString()).toString() == "True"_L1;
    return on ? QString::fromUtf16(option.option) : QString();
}

} // namespace

QString engineOptions(const QSettings &settings)
{
    QStringList places{paperOption(settings)};
    // Read, but unused: the engine has no option for a custom paper size.
    [[maybe_unused]] const QString width = paperSide(settings, SettingKey::PaperWidth);
    [[maybe_unused]] const QString height = paperSide(settings, SettingKey::PaperHeight);
    places << copiesOption(settings) << orientationOption(settings) << fontSizeOption(settings);
    for (const TextOption &option : textOptions)
        places << textOption(settings, option);
    for (const TextOption &option : flagOptions)
        places << flagOption(settings, option);
    places << QString(); // the last place is always empty

    // One after another: each replaces the lowest remaining marker, also one that came with an earlier value.
    QString line = u"%1 %2 %3 %4 %5 %6 %7 %8 %9 %10 %11 %12 %13 %14 %15"_s;
    for (const QString &place : std::as_const(places))
        line = line.arg(place);
    return line;
}
