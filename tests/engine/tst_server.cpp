#include "tests/engine/serverfixture.h"
#include "tests/support/silentserver.h"
#include "tests/support/waiting.h"

#include <QFile>
#include <QTest>

#include <sys/stat.h>
#include <sys/wait.h>

#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

/// The life of the warm server; each engine is a separate process.
class ServerTest : public ServerFixture
{
    Q_OBJECT

private slots:
    void theFirstEngineStartsItForAll();
    void noneIsStartedWhenThereShallBeNone();
    void callersSeeTheEnginesEnd();
    void itHoldsNothingOfWhoStartedIt();
    void itOutlivesItsTerminal();
    void withoutWorkItGoesAway();
    void withWorkItStays();
    void whoSaysNothingDoesNotKeepIt();
    void nobodyElseIsLetIn();
    void aNewBuildHasAServerOfItsOwn();
    void anotherEnvironmentHasAServerOfItsOwn();
    void whatNoBrowserGetsMakesNoDifference();
    void whatBrowsersGetTellsServersApart();
    void aServerHasNoOtherVariables();
};

void ServerTest::theFirstEngineStartsItForAll()
{
    const ProcessInfo server = warmUp();
    QVERIFY(server.id > 0);
    const QList<ProcessInfo> browsers = browsersIn(descendantsOf(server.id));
    QCOMPARE(browsers.size(), 1);
    SilentServer page;
    const auto job = m_engine->start({page.address(), m_engine->freshOutput()});
    QVERIFY(!page.awaitRequest().isNull());
    QCOMPARE(descendantsOf(job->processId()).size(), 0);
    page.answer("HTTP/1.0 200 OK\r\nContent-Type: text/html\r\n\r\nx");
    page.hangUp();
    QVERIFY(job->waitForFinished(20000));
    QCOMPARE(job->exitCode(), 0);
    QCOMPARE(m_engine->servers(), QList{server});
    QCOMPARE(browsersIn(descendantsOf(server.id)), browsers);
    // Another for jobs that need other start flags.
    VERIFY_WRITTEN(m_engine->convertText("x", {u"--no-images"_s}));
    QCOMPARE(m_engine->servers(), QList{server});
    QCOMPARE(browsersIn(descendantsOf(server.id)).size(), 2);
}

void ServerTest::noneIsStartedWhenThereShallBeNone()
{
    m_engine->setIdleSeconds(0);
    VERIFY_WRITTEN(m_engine->convertText("<p>x"));
    QCOMPARE(m_engine->servers().size(), 0);
    QVERIFY(QDir(m_engine->runtimeFolder()).isEmpty());
}

void ServerTest::callersSeeTheEnginesEnd()
{
    const QString page = m_engine->write(u"page.html"_s, "x");
    ProgramOptions options;
    options.environment = m_engine->environment();
    // The reader ends when the last holder of the pipe has.
    const ProgramResult read = runProgram(u"/bin/sh"_s,
                                          {u"-c"_s, u"\"$@\" 2>&1 3>&1 4>&1 7>&1 | cat"_s, u"sh"_s,
                                           Engine::program(), page, m_engine->freshOutput()},
                                          options);
    QCOMPARE(read.exitCode, 0);
    QCOMPARE(m_engine->servers().size(), 1);
    QVERIFY2(read.time < 15s, qPrintable(QString::number(read.time.count())));
}

void ServerTest::itHoldsNothingOfWhoStartedIt()
{
    const QString secret = m_engine->write(u"secret"_s, "x");
    const QString page = m_engine->write(u"page.html"_s, "x");
    for (const QString &redirections : {u"0<\"$0\" 3<\"$0\" 4<\"$0\" 7<\"$0\" 9<\"$0\""_s,
                                        u"<&- >&- 2>&- 3<\"$0\""_s, u"<&- 4<\"$0\" 5<\"$0\" 6<\"$0\""_s}) {
        ProgramOptions options;
        options.environment = m_engine->environment();
        options.folder = m_engine->documents();
        const ProgramResult result =
            runProgram(u"/bin/sh"_s,
                       {u"-c"_s, u"trap '' HUP TERM INT; exec \"$@\" "_s + redirections, secret,
                        Engine::program(), page, m_engine->freshOutput()},
                       options);
        QCOMPARE(result.exitCode, 0);
        const QList<ProcessInfo> servers = m_engine->servers();
        QCOMPARE(servers.size(), 1);
        QVERIFY(sessionOf(servers[0]) != ::getsid(0));
        QCOMPARE(terminalOf(servers[0]), 0);
        for (const ProcessInfo &process : descendantsOf(servers[0].id) + servers) {
            const QStringList files = openFilesOf(process);
            QVERIFY2(files.filter(secret).isEmpty(), qPrintable(files.join(u'\n')));
        }
        if (isOpen(servers[0])) {
            QCOMPARE(folderOf(servers[0]), u"/"_s);
            const QStringList files = openFilesOf(servers[0]);
            for (const QString &standard : {u"0 /dev/null"_s, u"1 /dev/null"_s, u"2 /dev/null"_s})
                QVERIFY2(files.contains(standard), qPrintable(files.join(u'\n')));
        }
        // With the signals ignored above it still ends when it is asked to.
        QVERIFY(m_engine->endServers());
    }
}

void ServerTest::itOutlivesItsTerminal()
{
    const QString page = m_engine->write(u"page.html"_s, "x");
    ProgramOptions options;
    options.environment = m_engine->environment();
    const QString output = m_engine->freshOutput();
    const ProgramResult result = runProgram(
        u"script"_s,
        {u"-qec"_s, u"tty; '%1' '%2' '%3'"_s.arg(Engine::program(), page, output), u"/dev/null"_s}, options);
    QVERIFY2(result.output.contains("/dev/pts/"), result.output.constData());
    QCOMPARE(PdfFile(output).text(), u"x"_s);
    const QList<ProcessInfo> servers = m_engine->servers();
    QCOMPARE(servers.size(), 1);
    QCOMPARE(terminalOf(servers[0]), 0);
    verifyStillConverts();
    QCOMPARE(m_engine->servers(), servers);
}

void ServerTest::withoutWorkItGoesAway()
{
    m_engine->setIdleSeconds(1);
    const ProcessInfo server = warmUp();
    QVERIFY(server.id > 0);
    const QList<ProcessInfo> family = descendantsOf(server.id);
    QVERIFY(waitUntil([&] { return !isRunning(server); }));
    QVERIFY(waitUntil([&] { return runningOf(family) == 0; }));
    QVERIFY(QDir(m_engine->runtimeFolder()).isEmpty());
    QCOMPARE(QDir(m_engine->temporaryFolder()).entryList(everything), QStringList());
    // The next one is as good.
    QVERIFY(warmUp().id > 0);
}

void ServerTest::withWorkItStays()
{
    m_engine->setIdleSeconds(1);
    SilentServer page;
    const auto job = m_engine->start({page.address(), m_engine->freshOutput()});
    QVERIFY(!page.awaitRequest().isNull());
    const QList<ProcessInfo> servers = m_engine->servers();
    QCOMPARE(servers.size(), 1);
    QVERIFY(!waitUntil([&] { return !isRunning(servers[0]); }, 3s));
    page.answer("HTTP/1.0 200 OK\r\nContent-Type: text/html\r\n\r\nx");
    page.hangUp();
    QVERIFY(job->waitForFinished(20000));
    QCOMPARE(job->exitCode(), 0);
    QVERIFY(waitUntil([&] { return !isRunning(servers[0]); }));
}

void ServerTest::whoSaysNothingDoesNotKeepIt()
{
    m_engine->setIdleSeconds(1);
    const ProcessInfo server = warmUp();
    RawClient silent(socketPath());
    RawClient halfway(socketPath());
    halfway.send(bytesOf(FrameKind::Order, "an order").left(8));
    RawClient garbage(socketPath());
    garbage.send("GET / HTTP/1.1\r\n\r\n");
    RawClient greedy(socketPath());
    greedy.send(QByteArray("\xff\xff\xff\xffo", 5));
    RawClient confused(socketPath());
    confused.send(bytesOf(FrameKind::Alive) + bytesOf(FrameKind::Alive));
    RawClient wrong(socketPath());
    wrong.send(bytesOf(FrameKind::Order, "no order"));
    for (RawClient *client : {&garbage, &greedy, &confused, &wrong}) {
        QVERIFY(client->isConnected());
        QVERIFY(client->awaitEnd(1500ms));
    }
    QVERIFY(silent.awaitEnd(5s));
    QVERIFY(halfway.awaitEnd(5s));
    QVERIFY(waitUntil([&] { return !isRunning(server); }, 10s));
}

void ServerTest::nobodyElseIsLetIn()
{
    const ProcessInfo server = warmUp();
    const QByteArray folder = QFile::encodeName(m_engine->runtimeFolder() + u"/quirelle"_s);
    struct stat info {
    };
    QCOMPARE(::stat(folder.constData(), &info), 0);
    QCOMPARE(info.st_mode & 0777, 0700U);
    QCOMPARE(info.st_uid, ::geteuid());
    if (::geteuid() != 0)
        QSKIP("being somebody else needs root");
    // With every door open, there is still the server.
    const QByteArray socket = QFile::encodeName(socketPath());
    ::chmod(socket.constData(), 0777);
    for (QDir path(m_engine->runtimeFolder() + u"/quirelle"_s); path.path() != QDir::tempPath(); path.cdUp())
        ::chmod(QFile::encodeName(path.path()).constData(), 0755);
    const pid_t stranger = ::fork();
    if (stranger == 0) {
        if (::setuid(65534) != 0)
            ::_exit(3);
        RawClient client(QFile::decodeName(socket));
        client.order(u"about:blank"_s);
        ::_exit(!client.isConnected() ? 2 : client.awaitEnd(10s) && client.received().isEmpty() ? 0 : 1);
    }
    int status = -1;
    QCOMPARE(::waitpid(stranger, &status, 0), stranger);
    QCOMPARE(status, 0);
    // An engine does not enter such a folder either.
    verifyStillConverts();
    QCOMPARE(browsersIn(descendantsOf(server.id)).size(), 1);
}

void ServerTest::aNewBuildHasAServerOfItsOwn()
{
    const TemporaryFolder folder;
    const QString program = folder.path(u"quirelle"_s);
    const QString page = m_engine->write(u"page.html"_s, "x");
    const QDir installed = QFileInfo(Engine::program()).dir();
    for (const QString &name : installed.entryList(QDir::Files))
        QVERIFY(QFile::copy(installed.filePath(name), folder.path(name)));
    const auto build = [&](const QString &part) {
        // Written anew in the same place, as installing does.
        const QString place = folder.path(part);
        QFile::copy(place, place + u".new"_s);
        QFile file(place + u".new"_s);
        const bool changed = file.open(QIODevice::Append) && file.write("x") == 1;
        file.close();
        return changed && ::rename(QFile::encodeName(file.fileName()).constData(),
                                   QFile::encodeName(place).constData()) == 0;
    };
    const auto convert = [&] {
        ProgramOptions options;
        options.environment = m_engine->environment();
        return runProgram(program, {page, m_engine->freshOutput()}, options).exitCode;
    };
    const ProcessInfo ours = warmUp();
    QVERIFY(build(u"quirelle"_s));
    QCOMPARE(convert(), 0);
    QCOMPARE(m_engine->servers().size(), 2);
    QCOMPARE(convert(), 0);
    QCOMPARE(m_engine->servers().size(), 2);
    QVERIFY(build(u"quirelle-engine.so"_s));
    QCOMPARE(convert(), 0);
    QCOMPARE(m_engine->servers().size(), 3);
    QVERIFY(build(u"quirelle-pdf.so"_s));
    QCOMPARE(convert(), 0);
    QCOMPARE(m_engine->servers().size(), 4);
    QVERIFY(m_engine->servers().contains(ours));
}

void ServerTest::anotherEnvironmentHasAServerOfItsOwn()
{
    const QByteArray hour = "<p id=p>x<script>p.textContent=new Date(0).getHours()</script>";
    m_engine->setVariable(u"TZ"_s, u"UTC"_s);
    QCOMPARE(m_engine->convertText(hour).pdf().text(), u"0"_s);
    m_engine->setVariable(u"TZ"_s, u"Asia/Karachi"_s);
    QCOMPARE(m_engine->convertText(hour).pdf().text(), u"5"_s);
    QCOMPARE(m_engine->servers().size(), 2);
}

void ServerTest::whatNoBrowserGetsMakesNoDifference()
{
    const ProcessInfo server = warmUp();
    for (const char *name : {"SSLKEYLOGFILE", "QT_LOGGING_RULES", "GTK_MODULES", "DISPLAY", "MY_TOKEN"})
        m_engine->setVariable(QString::fromLatin1(name), u"x"_s);
    VERIFY_WRITTEN(m_engine->convertText("<p>x"));
    QCOMPARE(m_engine->servers(), QList{server});
}

void ServerTest::whatBrowsersGetTellsServersApart()
{
    warmUp();
    int servers = 1;
    for (const char *name : {"LC_PAPER", "FREETYPE_PROPERTIES", "LD_PRELOAD", "https_proxy", "USER"}) {
        m_engine->setVariable(QString::fromLatin1(name), u""_s);
        VERIFY_WRITTEN(m_engine->convertText("<p>x"));
        m_engine->setVariable(QString::fromLatin1(name), {});
        QCOMPARE(m_engine->servers().size(), ++servers);
    }
}

void ServerTest::aServerHasNoOtherVariables()
{
    m_engine->setVariable(u"QT_LOGGING_RULES"_s, u"x=true"_s);
    m_engine->setVariable(u"MY_TOKEN"_s, u"hunter2"_s);
    const ProcessInfo server = warmUp();
    if (!isOpen(server))
        QSKIP("whose variables nobody can read");
    for (const ProcessInfo &process : descendantsOf(server.id) + QList{server}) {
        const QByteArray variables = contentOf(u"/proc/%1/environ"_s.arg(process.id));
        QVERIFY2(!variables.contains("hunter2") && !variables.contains("QT_LOGGING_RULES"),
                 variables.constData());
    }
}

QTEST_GUILESS_MAIN(ServerTest)
#include "tst_server.moc"
