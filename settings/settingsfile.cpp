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

/// Whether opening this cannot block. Follows links.
bool isRegularOrMissing(const QString &path)
{
    const QFileInfo file(path);
    return file.isFile() || !file.exists();
}

/// Removes all permissions except reading and writing by the owner; a read-only file stays read-only.
void makePrivate(const QFileInfo &file)
{
    // Qt's "User" permissions are those of the current user, not bits of the file.
    constexpr QFile::Permissions ofUser = QFile::ReadUser | QFile::WriteUser | QFile::ExeUser;
    const QFile::Permissions stored = file.permissions() & ~ofUser;
    if ((stored & ~privatePermissions) && belongsToUser(file))
        QFile::setPermissions(file.filePath(), stored & privatePermissions);
}

} // namespace

QString settingsFilePath()
{
    // Without a separator: "quirelleinfo.ini".
    const QString fileName = QString::fromLatin1(g_chSoftwareName) + QStringLiteral("info.ini");
    const QString folder = QCoreApplication::applicationDirPath();
    QString beside = folder + QLatin1Char('/') + fileName;
    // isReadable: if root has used an installed copy, other users cannot read root's file there.
    if (QFileInfo(beside).isReadable() || QFileInfo(folder).isWritable())
        return beside;
    return QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation) + QLatin1Char('/') + fileName;
}

QSettings storedSettings()
{
    QString path = settingsFilePath();
    // A resource that does not exist: reads as empty.
    if (!isRegularOrMissing(path))
        path = QStringLiteral(":/none");
    return QSettings(path, QSettings::IniFormat);
}

void storeSettings(const QList<std::pair<const char16_t *, QString>> &values)
{
    const QString path = settingsFilePath();
    // QSettings opens its lock file too.
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
        makePrivate(existing);
        return true;
    }
    QDir().mkpath(existing.absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::NewOnly, privatePermissions);
}
