#include "settings/settingsfile.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#ifdef Q_OS_UNIX
#include <unistd.h>
#endif

const char *g_chSoftwareName = "quirelle";

namespace
{

constexpr QFile::Permissions privatePermissions = QFile::ReadOwner | QFile::WriteOwner;

bool belongsToUser([[maybe_unused]] const QFileInfo &file)
{
#ifdef Q_OS_UNIX
    return file.ownerId() == geteuid();
#else
    return true;
#endif
}

/// Whether opening this cannot block: for links what they lead to counts.
bool isRegularOrMissing(const QString &path)
{
    const QFileInfo file(path);
    return file.isFile() || !file.exists();
}

/// A file that its owner has made read-only stays so.
void narrow(const QFileInfo &file)
{
    // The user's permissions are the owner's over again, and not the file's.
    constexpr QFile::Permissions ofUser = QFile::ReadUser | QFile::WriteUser | QFile::ExeUser;
    const QFile::Permissions stored = file.permissions() & ~ofUser;
    if ((stored & ~privatePermissions) && belongsToUser(file))
        QFile::setPermissions(file.filePath(), stored & privatePermissions);
}

} // namespace

QString settingsFilePath()
{
    // No separator stands between the two pieces of the file's name.
    const QString fileName = QString::fromLatin1(g_chSoftwareName) + QStringLiteral("info.ini");
    const QString folder = QCoreApplication::applicationDirPath();
    QString beside = folder + QLatin1Char('/') + fileName;
    // Of an installed copy that root has used once, nobody else can read the file.
    if (QFileInfo(beside).isReadable() || QFileInfo(folder).isWritable())
        return beside;
    return QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation) + QLatin1Char('/') + fileName;
}

QSettings storedSettings()
{
    QString path = settingsFilePath();
    // None of the resources compiled in has this name.
    if (!isRegularOrMissing(path))
        path = QStringLiteral(":/none");
    return QSettings(path, QSettings::IniFormat);
}

void storeSettings(const QList<std::pair<const char16_t *, QString>> &values)
{
    const QString path = settingsFilePath();
    // QSettings also reads its lock, where there is one.
    if (!isRegularOrMissing(path) || !isRegularOrMissing(path + QStringLiteral(".lock")))
        return;
    ensurePrivateSettingsFile();
    QSettings settings(path, QSettings::IniFormat);
    for (const auto &[key, value] : values)
        settings.setValue(key, value);
}

bool ensurePrivateSettingsFile()
{
    const QString path = settingsFilePath();
    const QFileInfo existing(path);
    if (existing.exists()) {
        narrow(existing);
        return true;
    }
    QDir().mkpath(existing.absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::NewOnly, privatePermissions);
}
