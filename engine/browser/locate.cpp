#include "engine/browser/locate.h"

#include "engine/base/modules.h"
#include "engine/job/failure.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

namespace
{

constexpr const char *browserNames[] = {
    "chromium-headless-shell", "chromium",      "chromium-browser",
    "google-chrome-stable",    "google-chrome", "microsoft-edge-stable",
};

#ifdef Q_OS_MACOS
constexpr const char *applicationPaths[] = {
    "/Applications/Chromium.app/Contents/MacOS/Chromium",
    "/Applications/Google Chrome.app/Contents/MacOS/Google Chrome",
    "/Applications/Microsoft Edge.app/Contents/MacOS/Microsoft Edge",
};
#endif

bool isProgram(const QString &path)
{
    const QFileInfo info(path);
    return info.isFile() && info.isExecutable();
}

} // namespace

QString locateBrowser()
{
    const QString chosen = qEnvironmentVariable("QUIRELLE_BROWSER");
    if (!chosen.isEmpty()) {
        if (isProgram(chosen))
            return QFileInfo(chosen).absoluteFilePath();
        throw Failure(ExitCode::NoBrowser,
                      QStringLiteral("QUIRELLE_BROWSER names no program that can be run: %1").arg(chosen));
    }
    // QCoreApplication::applicationDirPath() may not be called by several threads at once.
    const QString executable = QFile::decodeName(executablePath().c_str());
    const QString helpers = QFileInfo(executable).path() + QStringLiteral("/../Helpers/");
    for (const char *name : browserNames) {
        const QString path = helpers + QLatin1String(name);
        if (isProgram(path))
            return QFileInfo(path).absoluteFilePath();
    }
    for (const char *name : browserNames) {
        QString path = QStandardPaths::findExecutable(QLatin1String(name));
        if (!path.isEmpty())
            return path;
    }
#ifdef Q_OS_MACOS
    for (const char *application : applicationPaths) {
        const QString path = QLatin1String(application);
        for (const QString &place : {path, QDir::homePath() + path}) {
            if (isProgram(place))
                return place;
        }
    }
#endif
    throw Failure(
        ExitCode::NoBrowser,
        QStringLiteral("no browser found: install chromium-headless-shell or chromium, or name one in "
                       "QUIRELLE_BROWSER"));
}
