#include "tests/support/engine.h"
#include "tests/support/processes.h"
#include "tests/support/silentserver.h"
#include "tests/support/waiting.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <csignal>

using namespace Qt::StringLiterals;

namespace
{

/// A job in progress: the page's server has got a request and has not replied.
struct RunningJob {
    std::unique_ptr<SilentServer> server;
    std::unique_ptr<QProcess> process;
    QString output;
    QList<ProcessInfo> family;
};

ProcessInfo firstWith(const QList<ProcessInfo> &family, const QByteArray &argument)
{
    for (const ProcessInfo &process : family) {
        if (commandLineOf(process).contains(argument))
            return process;
    }
    return {};
}

/// The browser's main process: the innermost that has the pipe's flag and no type. A shell script may lie
/// around it.
ProcessInfo browserIn(const QList<ProcessInfo> &family)
{
    ProcessInfo browser;
    for (const ProcessInfo &process : family) {
        const QByteArray line = commandLineOf(process);
        if (line.contains("--remote-debugging-pipe") && !line.contains("--type="))
            browser = process;
    }
    return browser;
}

} // namespace

/// A job leaves nothing behind, however it ends.
class ConvertCleanupTest : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void nothingIsLeftAfterASuccess();
    void nothingIsLeftWhenTheEngineIsStopped_data();
    void nothingIsLeftWhenTheEngineIsStopped();
    void theBrowserKilledInMidJob();
    void thePageKilledInMidJob();
    void theGuardKilledInMidJob();
    void aStoppedBrowserDoesNotHoldTheJobBeyondItsTime();
    void theBrowserListensOnNoPort();
    void noDescriptorOfOursReachesTheBrowser();
    void everythingTemporaryLiesInThePrivateFolder();
    void jobsAtTheSameTimeDoNotMeet();

private:
    RunningJob startJob(const QStringList &options = {}, const QByteArray &older = {});

    std::unique_ptr<Engine> m_engine;
};

void ConvertCleanupTest::init()
{
    m_engine = std::make_unique<Engine>();
}

RunningJob ConvertCleanupTest::startJob(const QStringList &options, const QByteArray &older)
{
    RunningJob job;
    job.server = std::make_unique<SilentServer>();
    job.output = m_engine->freshOutput();
    if (!older.isNull())
        m_engine->write(QFileInfo(job.output).fileName(), older);
    // The page is there and has a picture that never comes.
    const QString page =
        m_engine->write(u"page.html"_s, "<p>x<img src='" + job.server->address().toLatin1() + "'>");
    job.process = m_engine->start(options + QStringList{page, job.output});
    if (job.server->awaitRequest().isNull())
        qWarning("the page was not opened");
    job.family = descendantsOf(job.process->processId());
    return job;
}

void ConvertCleanupTest::nothingIsLeftAfterASuccess()
{
    const Conversion conversion = m_engine->convertText("<p>x<img src=none.png><script>open('about:blank');"
                                                        "localStorage.x=1;document.cookie='a=b'</script>");
    VERIFY_WRITTEN(conversion);
    // At once, not after a while: the engine waits for its browser's end.
    QCOMPARE(m_engine->leftBehind(), QString());
    QCOMPARE(QDir(m_engine->documents()).entryList(QDir::Files).size(), 2);
    QVERIFY(QDir(m_engine->home()).isEmpty());
}

void ConvertCleanupTest::nothingIsLeftWhenTheEngineIsStopped_data()
{
    QTest::addColumn<int>("number");
    QTest::newRow("by SIGTERM") << SIGTERM;
    QTest::newRow("by SIGKILL") << SIGKILL;
    QTest::newRow("by SIGINT") << SIGINT;
    QTest::newRow("by SIGHUP") << SIGHUP;
}

void ConvertCleanupTest::nothingIsLeftWhenTheEngineIsStopped()
{
    QFETCH(int, number);
    const RunningJob job = startJob({}, "older");
    // The guard, the browser and some of its helpers.
    QVERIFY2(job.family.size() >= 4, qPrintable(QString::number(job.family.size())));
    QCOMPARE(QDir(m_engine->temporaryFolder()).entryList({u"quirelle-*"_s}, QDir::Dirs).size(), 1);
    ::kill(static_cast<pid_t>(job.process->processId()), number);
    QVERIFY(job.process->waitForFinished(20000));
    QVERIFY2(waitUntil([&] { return runningOf(job.family) == 0; }), "processes are left");
    QVERIFY2(waitUntil([&] { return m_engine->leftBehind().isEmpty(); }), qPrintable(m_engine->leftBehind()));
    QCOMPARE(contentOf(job.output), QByteArray("older"));
}

void ConvertCleanupTest::theBrowserKilledInMidJob()
{
    const RunningJob job = startJob({}, "older");
    const ProcessInfo browser = browserIn(job.family);
    QVERIFY(browser.id > 0);
    ::kill(static_cast<pid_t>(browser.id), SIGKILL);
    QVERIFY(job.process->waitForFinished(20000));
    const Conversion conversion{{job.process->exitCode(), false, {}, job.process->readAllStandardError(), {}},
                                job.output};
    VERIFY_FAILED(conversion, 6);
    QVERIFY2(conversion.run.errors.contains("browser"), conversion.run.errors.constData());
    QCOMPARE(runningOf(job.family), 0);
    QCOMPARE(m_engine->leftBehind(), QString());
    QCOMPARE(contentOf(job.output), QByteArray("older"));
    QVERIFY(m_engine->logLines().value(0).contains(u" 6 "_s));
}

void ConvertCleanupTest::thePageKilledInMidJob()
{
    const RunningJob job = startJob({}, "older");
    const ProcessInfo renderer = firstWith(job.family, "--type=renderer");
    QVERIFY(renderer.id > 0);
    for (const ProcessInfo &process : job.family) {
        if (commandLineOf(process).contains("--type=renderer"))
            ::kill(static_cast<pid_t>(process.id), SIGKILL);
    }
    QVERIFY(job.process->waitForFinished(20000));
    const Conversion conversion{{job.process->exitCode(), false, {}, job.process->readAllStandardError(), {}},
                                job.output};
    VERIFY_FAILED(conversion, 6);
    QVERIFY2(conversion.run.errors.contains("crash"), conversion.run.errors.constData());
    QCOMPARE(m_engine->leftBehind(), QString());
    QCOMPARE(contentOf(job.output), QByteArray("older"));
}

void ConvertCleanupTest::theGuardKilledInMidJob()
{
    const RunningJob job = startJob({u"--timeout"_s, u"6"_s}, "older");
    // The engine's only child of its own.
    ::kill(static_cast<pid_t>(job.family.value(0).id), SIGKILL);
    QVERIFY(job.process->waitForFinished(25000));
    QVERIFY(job.process->exitCode() > 0);
    QVERIFY2(waitUntil([&] { return runningOf(job.family) == 0; }), "processes are left");
    QCOMPARE(contentOf(job.output), QByteArray("older"));
}

void ConvertCleanupTest::aStoppedBrowserDoesNotHoldTheJobBeyondItsTime()
{
    const RunningJob job = startJob({u"--timeout"_s, u"6"_s});
    const ProcessInfo browser = browserIn(job.family);
    QVERIFY(browser.id > 0);
    ::kill(static_cast<pid_t>(browser.id), SIGSTOP);
    QVERIFY(job.process->waitForFinished(25000));
    const Conversion conversion{{job.process->exitCode(), false, {}, job.process->readAllStandardError(), {}},
                                job.output};
    VERIFY_FAILED(conversion, 4);
    QCOMPARE(m_engine->leftBehind(), QString());
}

void ConvertCleanupTest::theBrowserListensOnNoPort()
{
    const RunningJob job = startJob();
    QList<ProcessInfo> family = job.family;
    QVERIFY(browserIn(family).id > 0);
    QCOMPARE(listeningPortsOf(family), QList<int>());
    job.process->kill();
    QVERIFY(job.process->waitForFinished(20000));
    QVERIFY(waitUntil([&] { return m_engine->leftBehind().isEmpty(); }));
}

void ConvertCleanupTest::noDescriptorOfOursReachesTheBrowser()
{
    SilentServer server;
    const QString secret = m_engine->write(u"secret"_s, "x");
    const QString page = m_engine->write(u"page.html"_s, "<img src='" + server.address().toLatin1() + "'>");
    QProcess shell;
    shell.setProcessEnvironment(m_engine->environment());
    shell.start(u"/bin/sh"_s, {u"-c"_s, u"exec \"$@\" 7<\"$0\" 9<\"$0\""_s, secret, Engine::program(), page,
                               m_engine->freshOutput()});
    QVERIFY(shell.waitForStarted());
    QVERIFY(!server.awaitRequest().isNull());
    QStringList found;
    for (const ProcessInfo &process : descendantsOf(shell.processId())) {
        for (const QString &file : openFilesOf(process).filter(secret))
            found += QString::fromUtf8(commandLineOf(process).left(200)) + u": "_s + file;
    }
    shell.kill();
    QVERIFY(shell.waitForFinished(20000));
    QVERIFY(waitUntil([&] { return m_engine->leftBehind().isEmpty(); }));
    QVERIFY2(found.isEmpty(), qPrintable(found.join(u'\n')));
}

void ConvertCleanupTest::everythingTemporaryLiesInThePrivateFolder()
{
    const RunningJob job = startJob();
    const auto everything = QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot;
    const QStringList entries = QDir(m_engine->temporaryFolder()).entryList(everything);
    job.process->kill();
    QVERIFY(job.process->waitForFinished(20000));
    QVERIFY(waitUntil([&] { return m_engine->leftBehind().isEmpty(); }));
    QCOMPARE(entries.size(), 1);
    QVERIFY2(entries[0].startsWith(u"quirelle-"_s), qPrintable(entries[0]));
}

void ConvertCleanupTest::jobsAtTheSameTimeDoNotMeet()
{
    std::vector<std::pair<std::unique_ptr<QProcess>, QString>> jobs;
    for (int i = 0; i < 4; ++i) {
        const QString page =
            m_engine->write(u"page-%1.html"_s.arg(i), "<p>page " + QByteArray::number(i) +
                                                          "<script>localStorage.x=(localStorage.x||'')+'x';"
                                                          "document.body.append(localStorage.x)</script>");
        const QString output = m_engine->freshOutput();
        jobs.emplace_back(m_engine->start({page, output}), output);
    }
    for (size_t i = 0; i < jobs.size(); ++i) {
        QVERIFY(jobs[i].first->waitForFinished(60000));
        QCOMPARE(jobs[i].first->exitCode(), 0);
        QCOMPARE(PdfFile(jobs[i].second).text(), u"page %1 x"_s.arg(i));
    }
    QCOMPARE(m_engine->leftBehind(), QString());
    QCOMPARE(m_engine->logLines().size(), 4);
}

QTEST_GUILESS_MAIN(ConvertCleanupTest)
#include "tst_convertcleanup.moc"
