#include "settings/settingsfile.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

#include <unistd.h>

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

/// The file's mode, such as 0600.
unsigned mode()
{
    struct stat status = {};
    constexpr unsigned permissionBits = 07777;
    return stat(QFile::encodeName(settingsFilePath()).constData(), &status) == 0
               ? unsigned(status.st_mode) & permissionBits
               : 0;
}

void store(const char16_t *key, const QString &value)
{
    QSettings settings(settingsFilePath(), QSettings::IniFormat);
    settings.setValue(key, value);
}

bool setMode(mode_t mode)
{
    return chmod(QFile::encodeName(settingsFilePath()).constData(), mode) == 0;
}

/// Where the file lies for somebody who may not write beside the executable.
QString pathForOrdinaryUser()
{
    constexpr uid_t nobody = 65534;
    if (setresuid(nobody, nobody, 0) != 0)
        return QString();
    const QString path = settingsFilePath();
    return setresuid(0, 0, 0) == 0 ? path : QString();
}

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
        QCOMPARE(QLatin1String(g_chSoftwareName), "quirelle"_L1);
    }

    void liesInTheConfigurationFolderWhereThatCannotBe()
    {
        if (geteuid() != 0)
            QSKIP("only root can become another user");
        const QString own = QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation);
        QCOMPARE(pathForOrdinaryUser(), own + u"/quirelleinfo.ini"_s);
        // One that its owner keeps to himself is of no use to others.
        store(SettingKey::Title, u"theirs"_s);
        QVERIFY(setMode(0600));
        QCOMPARE(pathForOrdinaryUser(), own + u"/quirelleinfo.ini"_s);
        QVERIFY(setMode(0644));
        QCOMPARE(pathForOrdinaryUser(), QCoreApplication::applicationDirPath() + u"/quirelleinfo.ini"_s);
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
        store(SettingKey::Password, u"secret"_s);
        QVERIFY(!(QFileInfo(settingsFilePath()).permissions() & ofOthers));
    }

    void anExistingFileIsNarrowed_data()
    {
        QTest::addColumn<unsigned>("before");
        QTest::addColumn<unsigned>("after");
        QTest::newRow("for all to read") << 0644U << 0600U;
        QTest::newRow("for all to write") << 0666U << 0600U;
        QTest::newRow("for the group") << 0660U << 0600U;
        QTest::newRow("a program") << 0700U << 0600U;
        QTest::newRow("private already") << 0600U << 0600U;
        QTest::newRow("read-only on purpose") << 0444U << 0400U;
    }

    void anExistingFileIsNarrowed()
    {
        QFETCH(unsigned, before);
        QFETCH(unsigned, after);
        store(SettingKey::Title, u"kept"_s);
        QVERIFY(setMode(before));
        QVERIFY(ensurePrivateSettingsFile());
        QCOMPARE(mode(), after);
        const QSettings settings(settingsFilePath(), QSettings::IniFormat);
        QCOMPARE(settings.value(SettingKey::Title).toString(), u"kept"_s);
    }

    void writingKeepsANarrowedFilePrivate()
    {
        store(SettingKey::Title, u"kept"_s);
        QVERIFY(setMode(0644));
        QVERIFY(ensurePrivateSettingsFile());
        store(SettingKey::Password, u"secret"_s);
        QCOMPARE(mode(), 0600U);
    }

    void aFileOfSomeoneElseIsLeftAsItIs()
    {
        if (geteuid() != 0)
            QSKIP("only root can give a file away");
        constexpr uid_t someoneElse = 65534;
        store(SettingKey::Title, u"theirs"_s);
        QVERIFY(setMode(0644));
        QCOMPARE(chown(QFile::encodeName(settingsFilePath()).constData(), someoneElse, gid_t(-1)), 0);
        QVERIFY(ensurePrivateSettingsFile());
        QCOMPARE(mode(), 0644U);
    }

    void whatIsNoRegularFileIsNeitherReadNorWritten_data()
    {
        QTest::addColumn<QString>("suffix");
        QTest::addColumn<bool>("linked");
        QTest::newRow("a FIFO") << QString() << false;
        QTest::newRow("a link to a FIFO") << QString() << true;
        QTest::newRow("a FIFO for its lock") << u".lock"_s << false;
    }

    // Each of these would block for ever.
    void whatIsNoRegularFileIsNeitherReadNorWritten()
    {
        QFETCH(QString, suffix);
        QFETCH(bool, linked);
        const QTemporaryDir folder;
        const QString place = settingsFilePath() + suffix;
        const QString fifo = linked ? folder.filePath(u"fifo"_s) : place;
        QCOMPARE(mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
        if (linked)
            QVERIFY(QFile::link(fifo, place));
        QCOMPARE(storedSettings().value(SettingKey::Title, u"default"_s).toString(), u"default"_s);
        storeSettings({{SettingKey::Title, u"lost"_s}});
        QCOMPARE(storedSettings().value(SettingKey::Title, u"default"_s).toString(), u"default"_s);
        struct stat status = {};
        QCOMPARE(stat(QFile::encodeName(place).constData(), &status), 0);
        QVERIFY(S_ISFIFO(status.st_mode));
        QVERIFY(QFile::remove(place));
    }

    void aDeviceOrFolderReadsAsEmpty_data()
    {
        QTest::addColumn<QString>("target");
        QTest::newRow("a device without an end") << u"/dev/zero"_s;
        QTest::newRow("a folder") << u"/"_s;
    }

    void aDeviceOrFolderReadsAsEmpty()
    {
        QFETCH(QString, target);
        QVERIFY(QFile::link(target, settingsFilePath()));
        storeSettings({{SettingKey::Title, u"lost"_s}});
        QCOMPARE(storedSettings().allKeys(), QStringList());
        QCOMPARE(QFile::symLinkTarget(settingsFilePath()), target);
    }

    void aLinkToAFileIsFollowed()
    {
        const QTemporaryDir folder;
        const QString file = folder.filePath(u"settings.ini"_s);
        // At first it leads nowhere.
        QVERIFY(QFile::link(file, settingsFilePath()));
        for (const QString &title : {u"first"_s, u"second"_s}) {
            storeSettings({{SettingKey::Title, title}});
            QCOMPARE(storedSettings().value(SettingKey::Title).toString(), title);
            QVERIFY(QFile::exists(file));
            QCOMPARE(QFile::symLinkTarget(settingsFilePath()), file);
        }
    }

    void anExistingFileKeepsItsContent()
    {
        store(SettingKey::Title, u"kept"_s);
        QVERIFY(ensurePrivateSettingsFile());
        const QSettings settings(settingsFilePath(), QSettings::IniFormat);
        QCOMPARE(settings.value(SettingKey::Title).toString(), u"kept"_s);
    }
};

QTEST_GUILESS_MAIN(tst_SettingsFile)
#include "tst_settingsfile.moc"
