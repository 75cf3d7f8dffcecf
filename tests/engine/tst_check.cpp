#include "engine/check/places.h"
#include "settings/settingsfile.h"
#include "tests/support/engine.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTest>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

/// What --check says after this word.
QString lineOf(const ProgramResult &check, const QString &word)
{
    for (const QString &line : QString::fromUtf8(check.output).split(u'\n')) {
        if (line.section(u' ', 0, 0) == word)
            return line.mid(word.size()).trimmed();
    }
    return {};
}

/// The fonts that Fontconfig has are those in this folder.
QByteArray onlyFontsIn(const QString &folder)
{
    return "<?xml version='1.0'?><!DOCTYPE fontconfig SYSTEM 'fonts.dtd'><fontconfig><dir>" +
           QFile::encodeName(folder) + "</dir></fontconfig>";
}

} // namespace

/// What --check says of this machine, and of what is missing on others.
class CheckTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_engine = std::make_unique<Engine>(); }
    void cleanup() { QCOMPARE(m_engine->leftBehind(), QString()); }

    void everythingIsThere();
    void noBrowser_data();
    void noBrowser();
    void noFonts();
    void someFonts();
    void noDictionaries();
    void aServerThatRuns();
    void aSandboxThatCannotStart();
    void aBrowserWithoutItsSandbox();
    void theSettingsFileIsTheWindows();
    void languagesOfDictionaries();

private:
    ProgramResult check() const { return m_engine->run({u"--check"_s}); }

    std::unique_ptr<Engine> m_engine;
};

void CheckTest::everythingIsThere()
{
    m_engine->setIdleSeconds(30);
    const ProgramResult result = check();
    QCOMPARE(result.errors, QByteArray());
    QCOMPARE(result.exitCode, 0);
    QVERIFY(QRegularExpression(u"^/.*, a (headless shell|full browser), version \\d+\\.[\\d.]+$"_s)
                .match(lineOf(result, u"browser"_s))
                .hasMatch());
    QCOMPARE(lineOf(result, u"sandbox"_s).section(u':', 0, 0), ::geteuid() == 0 ? u"off"_s : u"works"_s);
    QCOMPARE(lineOf(result, u"fonts"_s),
             u"Latin, Cyrillic, Greek, Arabic, Hebrew, Devanagari, Thai, Chinese, "
             "Japanese, Korean, emoji"_s);
    QVERIFY(lineOf(result, u"server"_s).startsWith(u"none is running"_s));
    QVERIFY(lineOf(result, u"log"_s).startsWith(m_engine->logPath()));
    QVERIFY(lineOf(result, u"settings"_s).contains(u"quirelleinfo.ini"_s));
    QCOMPARE(lineOf(result, u"document"_s), u"converted"_s);
    QCOMPARE(m_engine->logLines(), QStringList());
}

void CheckTest::noBrowser_data()
{
    QTest::addColumn<QString>("browser");
    QTest::addColumn<QString>("said");
    QTest::newRow("none") << QString() << u"none"_s;
    QTest::newRow("no such file") << u"/no/such/browser"_s << u"none"_s;
    QTest::newRow("another program") << u"/bin/false"_s << u"/bin/false, not started"_s;
}

void CheckTest::noBrowser()
{
    QFETCH(QString, browser);
    QFETCH(QString, said);
    if (browser.isNull())
        m_engine->setVariable(u"PATH"_s, m_engine->documents());
    m_engine->setVariable(u"QUIRELLE_BROWSER"_s, browser);
    const ProgramResult result = check();
    QCOMPARE(result.exitCode, 2);
    QCOMPARE(lineOf(result, u"browser"_s), said);
    QCOMPARE(lineOf(result, u"document"_s), u"not converted"_s);
    QVERIFY2(result.errors.startsWith("quirelle: ") && result.errors.count('\n') == 1,
             result.errors.constData());
    QCOMPARE(result.errors.contains("install chromium-headless-shell"), browser.isNull());
    QCOMPARE(m_engine->logLines().size(), 1);
}

void CheckTest::noFonts()
{
    m_engine->setVariable(u"FONTCONFIG_FILE"_s,
                          m_engine->write(u"fonts.conf"_s, onlyFontsIn(m_engine->makeFolder(u"none"_s))));
    const ProgramResult result = check();
    QCOMPARE(result.exitCode, 0);
    const QString fonts = lineOf(result, u"fonts"_s);
    QVERIFY2(fonts.startsWith(u"none; missing: Latin, Cyrillic, "_s), qPrintable(fonts));
    const QStringList packages = fonts.section(u"Install "_s, 1).section(u" ("_s, 0, 0).split(u' ');
    QCOMPARE(packages.size(), 3);
    const QString known = QString::fromUtf8(contentOf(QStringLiteral(QUIRELLE_PACKAGES)));
    for (const QString &package : packages)
        QVERIFY2(QRegularExpression(u"\\nrun +%1 "_s.arg(package)).match(known).hasMatch(),
                 qPrintable(package));
}

void CheckTest::someFonts()
{
    const QString file = u"/usr/share/fonts/truetype/noto/NotoSansThai-Regular.ttf"_s;
    if (!QFile::exists(file))
        QSKIP("another system has its fonts elsewhere");
    QVERIFY(QFile::copy(file, m_engine->makeFolder(u"some"_s) + u"/thai.ttf"_s));
    m_engine->setVariable(u"FONTCONFIG_FILE"_s,
                          m_engine->write(u"fonts.conf"_s, onlyFontsIn(m_engine->path(u"some"_s))));
    const QString fonts = lineOf(check(), u"fonts"_s);
    QVERIFY2(fonts.section(u';', 0, 0).contains(u"Thai"_s), qPrintable(fonts));
    QVERIFY2(fonts.section(u';', 1).contains(u"Devanagari, Chinese, Japanese, Korean"_s), qPrintable(fonts));
    QVERIFY2(fonts.contains(u"fonts-noto-cjk"_s), qPrintable(fonts));
}

void CheckTest::noDictionaries()
{
    m_engine->setVariable(u"QUIRELLE_HYPHENATION"_s, m_engine->makeFolder(u"none"_s));
    const QString hyphens = lineOf(check(), u"hyphens"_s);
    QVERIFY2(hyphens.startsWith(u"none"_s) && hyphens.contains(u"install"_s), qPrintable(hyphens));
}

void CheckTest::aServerThatRuns()
{
    m_engine->setIdleSeconds(0);
    QVERIFY(lineOf(check(), u"server"_s).contains(u"QUIRELLE_IDLE_SECONDS"_s));
    m_engine->setIdleSeconds(30);
    VERIFY_WRITTEN(m_engine->convertText("x"));
    const QString server = lineOf(check(), u"server"_s);
    QVERIFY2(server.startsWith(u"running, at "_s + m_engine->runtimeFolder()), qPrintable(server));
}

void CheckTest::aSandboxThatCannotStart()
{
    // In a namespace of their own users may forbid further ones, and the helper that is root's is not root's.
    const QStringList withoutNamespaces{
        u"--user"_s,
        u"--map-current-user"_s,
        u"--keep-caps"_s,
        u"sh"_s,
        u"-c"_s,
        u"echo 0 >/proc/sys/user/max_user_namespaces && exec setpriv --ambient-caps=-all "
        "--inh-caps=-all \"$@\""_s,
        u"sh"_s};
    if (::geteuid() == 0 || runProgram(u"unshare"_s, {u"--user"_s, u"true"_s}).exitCode != 0)
        QSKIP("needs an ordinary user, who can make namespaces");
    const ProgramResult result =
        runProgram(u"unshare"_s, withoutNamespaces + QStringList{Engine::program(), u"--check"_s},
                   {m_engine->environment(), m_engine->documents()});
    QCOMPARE(result.exitCode, 2);
    const QString sandbox = lineOf(result, u"sandbox"_s);
    QVERIFY2(sandbox.startsWith(u"cannot start: "_s) && sandbox.contains(u"chromium-sandbox"_s) &&
                 sandbox.contains(u"sysctl user.max_user_namespaces"_s),
             qPrintable(sandbox));
    QVERIFY2(result.errors.contains(sandbox.section(u": "_s, 1).toUtf8()), result.errors.constData());
}

void CheckTest::aBrowserWithoutItsSandbox()
{
    if (::geteuid() == 0)
        QSKIP("needs an ordinary user");
    const QString browser = lineOf(check(), u"browser"_s).section(u',', 0, 0);
    const QString script = m_engine->write(u"browser"_s, "#!/bin/sh\nexec " + QFile::encodeName(browser) +
                                                             " --no-sandbox \"$@\"\n");
    QFile::setPermissions(script, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    m_engine->setVariable(u"QUIRELLE_BROWSER"_s, script);
    const ProgramResult result = check();
    QCOMPARE(result.exitCode, 0);
    QVERIFY2(lineOf(result, u"sandbox"_s).startsWith(u"off: "_s), result.output.constData());
}

void CheckTest::theSettingsFileIsTheWindows()
{
    // This test program lies where the window does in its bundle.
    const QString folder = QCoreApplication::applicationDirPath();
    const QString engine = folder + u"/../../quirelle/Contents/MacOS/quirelle"_s;
    QCoreApplication::setApplicationName(u"Quirelle"_s);
    QCOMPARE(settingsFileFor(engine), settingsFilePath());
    if (::geteuid() == 0)
        return;
    const QFile::Permissions before = QFile::permissions(folder);
    QFile::setPermissions(folder, QFile::ReadOwner | QFile::ExeOwner);
    const QString inConfiguration = settingsFilePath();
    const QString found = settingsFileFor(engine);
    QFile::setPermissions(folder, before);
    QCOMPARE(found, inConfiguration);
    QVERIFY(!found.startsWith(folder));
}

void CheckTest::languagesOfDictionaries()
{
    for (const char *name : {"hyph_de_AT.dic", "hyph_de_DE.dic", "hyph_en_GB.dic", "hyph_fr.dic",
                             "hyph_en_Latn_US.dic", "hyph_ru_RU.txt"})
        m_engine->write(QLatin1String(name), "x");
    QCOMPARE(hyphenatedLanguages(m_engine->documents()), (QStringList{u"de"_s, u"en-GB"_s, u"fr"_s}));
}

QTEST_GUILESS_MAIN(CheckTest)
#include "tst_check.moc"
