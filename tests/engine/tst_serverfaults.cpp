#include "tests/engine/serverfixture.h"
#include "tests/support/silentserver.h"
#include "tests/support/stress.h"
#include "tests/support/waiting.h"

#include <QTest>

#include <sys/socket.h>

#include <algorithm>
#include <csignal>
#include <thread>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace
{

/// Whether these do more than idle, taken together: on a busy machine each gets little of the cores.
bool compute(const QList<ProcessInfo> &processes)
{
    QList<qint64> before;
    for (const ProcessInfo &process : processes)
        before += ticksOf(process);
    std::this_thread::sleep_for(1s);
    qint64 ticks = 0;
    for (qsizetype i = 0; i < processes.size(); ++i)
        ticks += std::max<qint64>(ticksOf(processes[i]) - before[i], 0);
    // Of 100 in a second for each core.
    return ticks > 15;
}

/// A job whose page waits for its picture.
class WaitingJob
{
public:
    explicit WaitingJob(Engine &engine, const QStringList &options = {}) : m_output(engine.freshOutput())
    {
        const QString page =
            engine.write(u"page.html"_s, "<p>whole<img src='" + m_picture.address().toLatin1() + "'>");
        m_process = engine.start(options + QStringList{page, m_output});
    }

    qint64 id() const { return m_process->processId(); }
    /// Its page, or the page again after a new beginning, has asked for the picture.
    bool hasAsked() { return !m_picture.awaitRequest().isNull(); }
    /// Once there is no picture.
    bool isWritten()
    {
        m_picture.answer("HTTP/1.0 404 Not here\r\n\r\n");
        m_picture.hangUp();
        return m_process->waitForFinished(20000) && m_process->exitCode() == 0 &&
               PdfFile(m_output).text() == u"whole"_s;
    }

private:
    SilentServer m_picture;
    QString m_output;
    std::unique_ptr<QProcess> m_process;
};

} // namespace

/// What happens to the warm server, its browser and its engines while jobs are done.
class ServerFaultsTest : public ServerFixture
{
    Q_OBJECT

private slots:
    void aKilledEngineEndsItsJob();
    void aCancelledJobOfABrowserThatHangs();
    void scriptsWithoutEndEndWithTheirJob_data();
    void scriptsWithoutEndEndWithTheirJob();
    void aFullServer();
    void aStoppedServer();
    void theServerEndedInMidJob_data();
    void theServerEndedInMidJob();
    void aPageThatTakesTooMuchMemoryHarmsNoOther();
    void aPageThatFillsTheBrowserHarmsNoOther();
    void theBrowserKilledInMidJob();
    void theBrowserKilledBetweenJobs();
};

void ServerFaultsTest::aKilledEngineEndsItsJob()
{
    const ProcessInfo server = warmUp();
    const QList<ProcessInfo> browsers = browsersIn(descendantsOf(server.id));
    QCOMPARE(browsers.size(), 1);
    for (const int number : {SIGKILL, SIGTERM}) {
        SilentServer page;
        const auto job = m_engine->start({page.address(), m_engine->freshOutput()});
        QVERIFY(!page.awaitRequest().isNull());
        ::kill(static_cast<pid_t>(job->processId()), number);
        QVERIFY(page.awaitHangUp(3s));
        QVERIFY(job->waitForFinished(5000));
    }
    QVERIFY(isRunning(server));
    verifyStillConverts();
    QCOMPARE(m_engine->servers(), QList{server});
    // It has done nothing wrong; the second job may have had another.
    QVERIFY(browsersIn(descendantsOf(server.id)).contains(browsers[0]));
}

void ServerFaultsTest::aCancelledJobOfABrowserThatHangs()
{
    const ProcessInfo server = warmUp();
    const QList<ProcessInfo> browsers = browsersIn(descendantsOf(server.id));
    QCOMPARE(browsers.size(), 1);
    SilentServer page;
    const auto job = m_engine->start({page.address(), m_engine->freshOutput()});
    QVERIFY(!page.awaitRequest().isNull());
    ::kill(static_cast<pid_t>(browsers[0].id), SIGSTOP);
    job->kill();
    QVERIFY(job->waitForFinished(5000));
    // The first may have been given to it.
    QVERIFY(waitUntil(
        [&] {
            return m_engine->convertText("<p>x", {u"--timeout"_s, u"2"_s}).flaw().isEmpty() &&
                   !isRunning(browsers[0]);
        },
        40s));
    QCOMPARE(m_engine->servers(), QList{server});
    QCOMPARE(browsersIn(descendantsOf(server.id)).size(), 1);
}

void ServerFaultsTest::scriptsWithoutEndEndWithTheirJob_data()
{
    QTest::addColumn<bool>("killed");
    QTest::newRow("engine killed") << true;
    QTest::newRow("out of time") << false;
}

/// All at once, because each takes as long as its timeout.
void ServerFaultsTest::scriptsWithoutEndEndWithTheirJob()
{
    QFETCH(bool, killed);
    const ProcessInfo server = warmUp();
    const QByteArrayList scripts{
        "while(true);",
        "function f(){setTimeout(f);for(;;);}setInterval(f);f()",
        "onbeforeunload=onpagehide=onunload=e=>{for(;;);};for(;;);",
        "const w=[1,2].map(()=>new Worker(URL.createObjectURL(new Blob(['while(true);']))));",
    };
    std::vector<std::unique_ptr<SilentServer>> pictures;
    std::vector<std::unique_ptr<QProcess>> jobs;
    for (const QByteArray &script : scripts) {
        pictures.push_back(std::make_unique<SilentServer>());
        const QString page = m_engine->write(u"page%1.html"_s.arg(jobs.size()),
                                             "<p>x<img src='" + pictures.back()->address().toLatin1() +
                                                 "'><script>" + script + "</script>");
        jobs.push_back(
            m_engine->start({u"--timeout"_s, killed ? u"60"_s : u"4"_s, page, m_engine->freshOutput()}));
    }
    for (const auto &picture : pictures)
        QVERIFY(!picture->awaitRequest().isNull());
    QVERIFY(waitUntil([&] { return compute(descendantsOf(server.id)); }));
    for (const auto &job : jobs) {
        if (killed)
            job->kill();
        QVERIFY(job->waitForFinished(20000));
        if (!killed)
            QCOMPARE(job->exitCode(), 4);
    }
    // The browser's own processes may have been busy for a moment, and stay.
    QVERIFY2(waitUntil([&] { return !compute(descendantsOf(server.id)); }, 8s),
             "something goes on computing");
    QVERIFY(isRunning(server));
    verifyStillConverts();
}

void ServerFaultsTest::aFullServer()
{
    const ProcessInfo server = warmUp();
    const SilentServer page;
    std::vector<std::unique_ptr<RawClient>> clients;
    for (unsigned i = 0; i < 2 * std::max(std::thread::hardware_concurrency(), 1U); ++i) {
        clients.push_back(std::make_unique<RawClient>(socketPath()));
        clients.back()->order(page.address());
    }
    for (int i = 0; i < 3; ++i)
        verifyStillConverts();
    // Beyond all bounds.
    while (clients.size() < 260) {
        clients.push_back(std::make_unique<RawClient>(socketPath()));
        clients.back()->order(page.address());
    }
    verifyStillConverts();
    clients.clear();
    // It takes jobs again: an engine that does without it has a browser of its own.
    QVERIFY(waitUntil([&] {
        WaitingJob job(*m_engine);
        return job.hasAsked() && descendantsOf(job.id()).isEmpty();
    }));
    QCOMPARE(m_engine->servers(), QList{server});
}

void ServerFaultsTest::aStoppedServer()
{
    const ProcessInfo server = warmUp();
    ::kill(static_cast<pid_t>(server.id), SIGSTOP);
    verifyStillConverts();
    verifyStillConverts();
    // Nobody can even connect.
    const int flags = SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC;
    const sockaddr_un address = socketAddress(socketPath());
    std::vector<int> sockets;
    int connected = 0;
    while (connected == 0) {
        sockets.push_back(::socket(AF_UNIX, flags, 0));
        connected = ::connect(sockets.back(), reinterpret_cast<const sockaddr *>(&address), sizeof(address));
    }
    QCOMPARE(errno, EAGAIN);
    verifyStillConverts();
    for (const int socket : sockets)
        ::close(socket);
    ::kill(static_cast<pid_t>(server.id), SIGCONT);
    verifyStillConverts();
    QCOMPARE(m_engine->servers(), QList{server});
}

void ServerFaultsTest::theServerEndedInMidJob_data()
{
    QTest::addColumn<int>("number");
    QTest::newRow("by SIGTERM") << SIGTERM;
    QTest::newRow("by SIGKILL") << SIGKILL;
    QTest::newRow("by SIGINT") << SIGINT;
}

void ServerFaultsTest::theServerEndedInMidJob()
{
    QFETCH(int, number);
    const ProcessInfo server = warmUp();
    const QList<ProcessInfo> family = descendantsOf(server.id);
    WaitingJob job(*m_engine);
    QVERIFY(job.hasAsked());
    ::kill(static_cast<pid_t>(server.id), number);
    // The engine begins anew, by itself.
    QVERIFY(job.hasAsked());
    QVERIFY(!descendantsOf(job.id()).isEmpty());
    QVERIFY(job.isWritten());
    QVERIFY(waitUntil([&] { return !isRunning(server) && runningOf(family) == 0; }));
    // In the place of what it has left.
    const ProcessInfo next = warmUp();
    QVERIFY(next.id > 0 && !(next == server));
}

void ServerFaultsTest::aPageThatTakesTooMuchMemoryHarmsNoOther()
{
    m_engine->setIdleSeconds(60);
    const QStringList bound{u"--max-memory"_s, u"300"_s};
    VERIFY_WRITTEN(m_engine->convertText("<p>x", bound));
    const QList<ProcessInfo> servers = m_engine->servers();
    QCOMPARE(servers.size(), 1);
    const QList<ProcessInfo> browsers = browsersIn(descendantsOf(servers[0].id));
    QCOMPARE(browsers.size(), 1);
    WaitingJob job(*m_engine, bound);
    QVERIFY(job.hasAsked());
    const Conversion large = m_engine->convertText(
        "<script>window.a=[];for(;;)a.push(new Uint8Array(9<<20).fill(1))</script>", bound);
    VERIFY_FAILED(large, 6);
    QVERIFY2(large.run.errors.contains("300 MiB"), large.run.errors.constData());
    QVERIFY(job.isWritten());
    QCOMPARE(m_engine->servers(), servers);
    QVERIFY(browsersIn(descendantsOf(servers[0].id)).contains(browsers[0]));
}

/// What it fills is the browser's main process.
void ServerFaultsTest::aPageThatFillsTheBrowserHarmsNoOther()
{
    SKIP_STRESS();
    const QStringList bound{u"--max-memory"_s, u"300"_s};
    VERIFY_WRITTEN(m_engine->convertText("<p>x", bound));
    const QList<ProcessInfo> servers = m_engine->servers();
    QCOMPARE(servers.size(), 1);
    const QList<ProcessInfo> browsers = browsersIn(descendantsOf(servers[0].id));
    QCOMPARE(browsers.size(), 1);
    WaitingJob job(*m_engine, bound);
    QVERIFY(job.hasAsked());
    // The addresses of their documents are kept there.
    const Conversion large = m_engine->convertText(
        "<body><script>for(let i=0;i<1200;i++){const f=document.createElement('iframe');"
        "f.src='data:text/html,'+i+'x'.repeat(1.9e6);document.body.append(f)}</script>",
        bound);
    VERIFY_FAILED(large, 6);
    QVERIFY2(large.run.errors.contains("the browser takes more than 300 MiB"), large.run.errors.constData());
    QVERIFY(job.isWritten());
    VERIFY_WRITTEN(m_engine->convertText("<p>x", bound));
    QCOMPARE(m_engine->servers(), servers);
    QVERIFY(waitUntil([&] { return browsersIn(descendantsOf(servers[0].id)) == browsers; }));
}

void ServerFaultsTest::theBrowserKilledInMidJob()
{
    const ProcessInfo server = warmUp();
    WaitingJob job(*m_engine);
    QVERIFY(job.hasAsked());
    for (const ProcessInfo &browser : browsersIn(descendantsOf(server.id)))
        ::kill(static_cast<pid_t>(browser.id), SIGKILL);
    QVERIFY(job.hasAsked());
    QVERIFY(job.isWritten());
    QVERIFY(isRunning(server));
}

void ServerFaultsTest::theBrowserKilledBetweenJobs()
{
    const ProcessInfo server = warmUp();
    const QList<ProcessInfo> browsers = browsersIn(descendantsOf(server.id));
    QCOMPARE(browsers.size(), 1);
    ::kill(static_cast<pid_t>(browsers[0].id), SIGKILL);
    // The first may have been quicker than the news, and have done without the server.
    verifyStillConverts();
    verifyStillConverts();
    QCOMPARE(m_engine->servers(), QList{server});
    QVERIFY(waitUntil([&] { return browsersIn(descendantsOf(server.id)).size() == 1; }));
}

QTEST_GUILESS_MAIN(ServerFaultsTest)
#include "tst_serverfaults.moc"
