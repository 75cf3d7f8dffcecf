#include "engine/check/places.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

QString settingsFileFor(const QString &executable)
{
    const QString name = u"quirelleinfo.ini"_s;
    const QString folder = QDir::cleanPath(QFileInfo(executable).path() + u"/../../../Contents/MacOS"_s);
    const QString beside = folder + u'/' + name;
    if (QFileInfo(beside).isReadable() || QFileInfo(folder).isWritable())
        return beside;
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + u"/Quirelle/"_s + name;
}

QStringList hyphenatedLanguages(const QString &folder)
{
    static const QRegularExpression pattern(u"^hyph_([a-z]+)_?([A-Z]{2})?\\.dic$"_s);
    QStringList languages;
    for (const QString &file : QDir(folder).entryList({u"hyph_*.dic"_s}, QDir::Files)) {
        const QRegularExpressionMatch match = pattern.match(file);
        const QString language = match.captured(1);
        // Of other languages any country's dictionary will do.
        languages += language == "en"_L1 && match.hasCaptured(2) ? u"en-"_s + match.captured(2) : language;
    }
    languages.removeAll(QString());
    languages.removeDuplicates();
    return languages;
}
