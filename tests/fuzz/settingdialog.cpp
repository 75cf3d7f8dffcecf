#include "settings/settingdialog.h"

#include "conversion/engineoptions.h"
#include "settings/settingsfile.h"
#include "tests/fuzz/fuzz.h"

#include <QApplication>
#include <QDateTime>
#include <QFile>
#include <QSettings>

// An input is the content of a settings file, which the dialog shows and saves.

/// The font library keeps its patterns until the end.
extern "C" const char *__lsan_default_suppressions() // NOLINT(bugprone-reserved-identifier)
{
    return "leak:libfontconfig";
}

namespace
{

QApplication &application()
{
    static int count = 1;
    static char name[] = "fuzz";
    static char *arguments[] = {name, nullptr};
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static QApplication instance(count, arguments);
    return instance;
}

/// With a time of its own: by size and time it is told whether a file must be read anew.
void write(const QByteArray &content)
{
    static QDateTime time = QDateTime::currentDateTime();
    time = time.addSecs(1);
    QFile file(settingsFilePath());
    require(file.open(QIODevice::WriteOnly) && file.write(content) == content.size() && file.flush() &&
                file.setFileTime(time, QFileDevice::FileModificationTime),
            "there is room for a file");
}

QString storedOptions()
{
    return engineOptions(QSettings(settingsFilePath(), QSettings::IniFormat));
}

/// The engine's options after what is stored has been shown and saved.
QString optionsSaved(SettingDialog &dialog)
{
    dialog.LoadInfo();
    dialog.SaveInfo();
    return storedOptions();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (!QCoreApplication::instance())
        application();
    write(inputBytes(data, size));
    SettingDialog dialog;
    const QString once = optionsSaved(dialog);
    require(optionsSaved(dialog) == once, "what is saved is what is shown");
    dialog.IniAllChoice();
    require(optionsSaved(dialog) == once, "what is stored is shown, whatever was shown before");
    return 0;
}
