#include "engine/browser/launch.h"
#include "engine/browser/locate.h"
#include "engine/job/failure.h"
#include "tests/support/temporaryfolder.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTest>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

QString makeProgram(const TemporaryFolder &folder, const QString &name)
{
    QString path = folder.write(name, "#!/bin/sh\n");
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return path;
}

/// The reason why no browser is found; null if one is.
QString refusal()
{
    try {
        locateBrowser();
    } catch (const Failure &failure) {
        return failure.code() == ExitCode::NoBrowser ? failure.message() : QString();
    }
    return {};
}

bool holds(const std::vector<std::string> &arguments, const char *argument)
{
    return std::find(arguments.begin(), arguments.end(), argument) != arguments.end();
}

bool holdsPart(const std::vector<std::string> &arguments, const char *part)
{
    return std::any_of(arguments.begin(), arguments.end(),
                       [&](const std::string &argument) { return argument.find(part) != std::string::npos; });
}

} // namespace

class LocateTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void theVariableGoesFirst();
    void theVariableMayBeRelative();
    void aBadVariableIsNotPassedOver_data();
    void aBadVariableIsNotPassedOver();
    void theBundleGoesBeforeThePath();
    void namesArePreferredInOrder();
    void onlyProgramsCount();
    void withoutOneItSaysWhatToInstall();
    void theSandboxStaysOn();
    void rootNeedsLeave();
    void theBrowserOpensNoPortAndUsesThePrivateFolder();
    void jobsOfOneKindShareTheirFlags();

private:
    QByteArray m_pathBefore;
};

void LocateTest::init()
{
    m_pathBefore = qgetenv("PATH");
    qunsetenv("QUIRELLE_BROWSER");
}

void LocateTest::cleanup()
{
    qputenv("PATH", m_pathBefore);
    qunsetenv("QUIRELLE_BROWSER");
}

void LocateTest::theVariableGoesFirst()
{
    const TemporaryFolder folder;
    const QString chosen = makeProgram(folder, u"my browser"_s);
    makeProgram(folder, u"chromium-headless-shell"_s);
    qputenv("PATH", QFile::encodeName(folder.path()));
    qputenv("QUIRELLE_BROWSER", QFile::encodeName(chosen));
    QCOMPARE(locateBrowser(), chosen);
}

void LocateTest::theVariableMayBeRelative()
{
    const TemporaryFolder folder;
    const QString chosen = makeProgram(folder, u"mine"_s);
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(folder.path()));
    qputenv("QUIRELLE_BROWSER", "./mine");
    const QString found = locateBrowser();
    QDir::setCurrent(before);
    QVERIFY(QDir::isAbsolutePath(found));
    QCOMPARE(QDir::cleanPath(found), chosen);
}

void LocateTest::aBadVariableIsNotPassedOver_data()
{
    QTest::addColumn<QString>("value");
    QTest::newRow("nothing there") << u"/no/such/browser"_s;
    QTest::newRow("a folder") << u"/usr"_s;
    QTest::newRow("a bare name") << u"chromium"_s;
    QTest::newRow("no program") << u"/proc/version"_s;
}

void LocateTest::aBadVariableIsNotPassedOver()
{
    QFETCH(QString, value);
    qputenv("QUIRELLE_BROWSER", QFile::encodeName(value));
    QVERIFY2(refusal().contains(u"QUIRELLE_BROWSER"_s) && refusal().contains(value), qPrintable(refusal()));
}

void LocateTest::theBundleGoesBeforeThePath()
{
    const TemporaryFolder folder;
    makeProgram(folder, u"chromium-headless-shell"_s);
    qputenv("PATH", QFile::encodeName(folder.path()));
    // Beside this very test program, which lies in a bundle as the engine does.
    const QDir contents(QCoreApplication::applicationDirPath() + u"/.."_s);
    QVERIFY(contents.mkpath(u"Helpers"_s));
    const QString bundled = contents.filePath(u"Helpers/chromium"_s);
    QVERIFY(QFile::copy(folder.path(u"chromium-headless-shell"_s), bundled));
    const QString found = locateBrowser();
    QFile::remove(bundled);
    QVERIFY(contents.rmdir(u"Helpers"_s));
    QCOMPARE(QDir::cleanPath(found), QDir::cleanPath(bundled));
    QCOMPARE(locateBrowser(), folder.path(u"chromium-headless-shell"_s));
}

void LocateTest::namesArePreferredInOrder()
{
    const TemporaryFolder folder;
    const TemporaryFolder earlier;
    qputenv("PATH", QFile::encodeName(earlier.path() + u':' + folder.path()));
    // Whatever comes first in PATH, the better browser is taken.
    for (const char *name : {"microsoft-edge-stable", "google-chrome", "google-chrome-stable",
                             "chromium-browser", "chromium", "chromium-headless-shell"}) {
        const QString path = makeProgram(folder, QLatin1String(name));
        QCOMPARE(locateBrowser(), path);
        makeProgram(earlier, u"unrelated"_s);
    }
    const QString first = makeProgram(earlier, u"chromium-headless-shell"_s);
    QCOMPARE(locateBrowser(), first);
}

void LocateTest::onlyProgramsCount()
{
    const TemporaryFolder folder;
    folder.write(u"chromium-headless-shell"_s, "no program");
    folder.makeFolder(u"chromium"_s);
    const QString path = makeProgram(folder, u"google-chrome"_s);
    qputenv("PATH", QFile::encodeName(folder.path()));
    QCOMPARE(locateBrowser(), path);
}

void LocateTest::withoutOneItSaysWhatToInstall()
{
    const TemporaryFolder folder;
    qputenv("PATH", QFile::encodeName(folder.path()));
    QVERIFY2(refusal().contains(u"chromium-headless-shell"_s) && refusal().contains(u"QUIRELLE_BROWSER"_s),
             qPrintable(refusal()));
}

void LocateTest::theSandboxStaysOn()
{
    QVERIFY(!holds(browserArguments({}, false), "--no-sandbox"));
    QVERIFY(holds(browserArguments({}, true), "--no-sandbox"));
    QVERIFY(!holdsPart(browserArguments({}, false), "sandbox"));
    if (::geteuid() != 0) {
        // Only root may go without.
        qputenv("QUIRELLE_NO_SANDBOX", "1");
        QVERIFY(!runsWithoutSandbox());
    }
}

void LocateTest::rootNeedsLeave()
{
    if (::geteuid() != 0)
        QSKIP("needs root");
    const QByteArray before = qgetenv("QUIRELLE_NO_SANDBOX");
    for (const char *leave : {"", "0", "yes", "true", " 1"}) {
        qputenv("QUIRELLE_NO_SANDBOX", leave);
        bool refused = false;
        try {
            runsWithoutSandbox();
        } catch (const Failure &failure) {
            refused = failure.code() == ExitCode::NoBrowser &&
                      failure.message().contains(u"QUIRELLE_NO_SANDBOX=1"_s);
        }
        QVERIFY2(refused, leave);
    }
    qputenv("QUIRELLE_NO_SANDBOX", "1");
    QVERIFY(runsWithoutSandbox());
    qputenv("QUIRELLE_NO_SANDBOX", before);
}

void LocateTest::theBrowserOpensNoPortAndUsesThePrivateFolder()
{
    const std::vector<std::string> arguments = browserArguments({}, false);
    QVERIFY(holds(arguments, "--remote-debugging-pipe"));
    QVERIFY(!holdsPart(arguments, "--remote-debugging-port"));
    QVERIFY(holds(arguments, "--user-data-dir=%DIR%"));
}

void LocateTest::jobsOfOneKindShareTheirFlags()
{
    Job job;
    QCOMPARE(launchFlagsFor(job).minimumFontPixels, 0);
    QVERIFY(launchFlagsFor(job) == LaunchFlags());
    job.title = u"other"_s;
    job.copies = 3;
    QVERIFY(launchFlagsFor(job) == LaunchFlags());
    // 96 pixels are 72 points; what is no whole pixel is rounded up, so that nothing is smaller on paper.
    job.minimumFontSize = 72;
    QCOMPARE(launchFlagsFor(job).minimumFontPixels, 96);
    job.minimumFontSize = 10;
    QCOMPARE(launchFlagsFor(job).minimumFontPixels, 14);
    job.images = false;
    QVERIFY(!launchFlagsFor(job).images);
    QVERIFY(holdsPart(browserArguments(launchFlagsFor(job), false), "minimumFontSize=14"));
    QVERIFY(holdsPart(browserArguments(launchFlagsFor(job), false), "imagesEnabled=false"));
}

QTEST_GUILESS_MAIN(LocateTest)
#include "tst_locate.moc"
