#include "settings/settingsfile.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

struct Key {
    const char *name;
    const char16_t *constant;
};

constexpr Key keys[] = {
    {"PaperSiezeModel", SettingKey::PaperSizeModel},
    {"PaperWidth", SettingKey::PaperWidth},
    {"PaperHeight", SettingKey::PaperHeight},
    {"CopyNumber", SettingKey::CopyNumber},
    {"Orientation", SettingKey::Orientation},
    {"FontSize", SettingKey::FontSize},
    {"Title", SettingKey::Title},
    {"AuthUser", SettingKey::AuthUser},
    {"Password", SettingKey::Password},
    {"Proxy", SettingKey::Proxy},
    {"NoWebLink", SettingKey::NoWebLink},
    {"Grayscale", SettingKey::Grayscale},
    {"DisableJs", SettingKey::DisableJs},
    {"NoImages", SettingKey::NoImages},
    {"LowQuality", SettingKey::LowQuality},
    {"NoBackground", SettingKey::NoBackground},
    {"OutputFolder", SettingKey::OutputFolder},
    {"InputFolder", SettingKey::InputFolder},
    {"ListFilePath", SettingKey::ListFilePath},
};

constexpr QFile::Permissions ofOthers = QFile::ReadGroup | QFile::WriteGroup | QFile::ExeGroup |
                                        QFile::ReadOther | QFile::WriteOther | QFile::ExeOther;

} // namespace

class tst_SettingsFile : public QObject
{
    Q_OBJECT

private slots:
    void init() { QFile::remove(settingsFilePath()); }
    void cleanupTestCase() { QFile::remove(settingsFilePath()); }

    void liesBesideTheExecutable()
    {
        QCOMPARE(settingsFilePath(), QCoreApplication::applicationDirPath() + u"/quirelleinfo.ini"_s);
        QCOMPARE(g_chSoftwareName, "quirelle");
    }

    void aMissingFileReadsAsTheDefaults()
    {
        const QSettings settings(settingsFilePath(), QSettings::IniFormat);
        for (const Key &key : keys)
            QCOMPARE(settings.value(key.constant, u"default"_s).toString(), u"default"_s);
        QVERIFY(!QFile::exists(settingsFilePath()));
    }

    void everyKeyLiesInTheOneGroup_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("constant");
        for (const Key &key : keys)
            QTest::newRow(key.name) << QString::fromLatin1(key.name) << QString::fromUtf16(key.constant);
    }

    void everyKeyLiesInTheOneGroup()
    {
        QFETCH(QString, name);
        QFETCH(QString, constant);
        QCOMPARE(constant, u"/SettingInfo/"_s + name);
        {
            QSettings settings(settingsFilePath(), QSettings::IniFormat);
            settings.setValue(constant, u"some text"_s);
        }
        QFile file(settingsFilePath());
        QVERIFY(file.open(QIODevice::ReadOnly | QIODevice::Text));
        const QString content = QString::fromUtf8(file.readAll());
        QVERIFY2(content.contains(u"[SettingInfo]\n%1=some text"_s.arg(name)), qPrintable(content));

        const QSettings settings(settingsFilePath(), QSettings::IniFormat);
        QCOMPARE(settings.value(constant).toString(), u"some text"_s);
        QCOMPARE(settings.allKeys(), QStringList{u"SettingInfo/"_s + name});
    }

    void aNewFileIsItsOwnersAlone()
    {
        QVERIFY(ensurePrivateSettingsFile());
        QVERIFY(!(QFileInfo(settingsFilePath()).permissions() & ofOthers));
    }

    void writingKeepsTheFilePrivate()
    {
        QVERIFY(ensurePrivateSettingsFile());
        {
            QSettings settings(settingsFilePath(), QSettings::IniFormat);
            settings.setValue(SettingKey::Password, u"secret"_s);
        }
        QVERIFY(!(QFileInfo(settingsFilePath()).permissions() & ofOthers));
    }

    void anExistingFileKeepsItsContent()
    {
        {
            QSettings settings(settingsFilePath(), QSettings::IniFormat);
            settings.setValue(SettingKey::Title, u"kept"_s);
        }
        QVERIFY(ensurePrivateSettingsFile());
        const QSettings settings(settingsFilePath(), QSettings::IniFormat);
        QCOMPARE(settings.value(SettingKey::Title).toString(), u"kept"_s);
    }
};

QTEST_GUILESS_MAIN(tst_SettingsFile)
#include "tst_settingsfile.moc"
