#include "settings/settingsfile.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

const char *g_chSoftwareName = "quirelle";

QString settingsFilePath()
{
    // No separator stands between the two pieces of the file's name.
    const QString fileName = QString::fromLatin1(g_chSoftwareName) + QStringLiteral("info.ini");
    const QString folder = QCoreApplication::applicationDirPath();
    QString beside = folder + QLatin1Char('/') + fileName;
    if (QFileInfo::exists(beside) || QFileInfo(folder).isWritable())
        return beside;
    return QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation) + QLatin1Char('/') + fileName;
}

bool ensurePrivateSettingsFile()
{
    const QString path = settingsFilePath();
    if (QFileInfo::exists(path))
        return true;
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::NewOnly, QFile::ReadOwner | QFile::WriteOwner);
}
