#include "engine/server/message.h"
#include "tests/support/engine.h"
#include "tests/support/processes.h"
#include "tests/support/silentserver.h"
#include "tests/support/waiting.h"
#include "tests/support/webserver.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QTest>
#include <QUrl>

#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <thread>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace
{

constexpr auto everything = QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot;

bool makeFile(const QString &path)
{
    return QFile(path).open(QIODevice::WriteOnly);
}

sockaddr_un socketAddress(const QString &path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const QByteArray name = QFile::encodeName(path);
    std::copy_n(name.constData(), std::min<size_t>(size_t(name.size()), sizeof(address.sun_path) - 1),
                address.sun_path);
    return address;
}

/// A client that is no engine.
class RawClient
{
public:
    explicit RawClient(const QString &path) : m_socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        const sockaddr_un address = socketAddress(path);
        m_connected = ::connect(m_socket, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0;
    }
    RawClient(const RawClient &) = delete;
    RawClient &operator=(const RawClient &) = delete;
    ~RawClient() { ::close(m_socket); }

    bool isConnected() const { return m_connected; }
    void send(const QByteArray &bytes) const
    {
        // Where the other end has gone, this shows in what is read.
        [[maybe_unused]] const ssize_t sent =
            ::send(m_socket, bytes.constData(), static_cast<size_t>(bytes.size()), MSG_NOSIGNAL);
    }
    void order(const QString &url) const
    {
        send(frameBytes(FrameKind::Order,
                        orderBody({Job(), Address{url, url, false, {}, {}}, Deadline::in(60s)})));
    }
    /// Reads until the other end closes; false if it does not by the bound. Signs of life are let pass.
    bool awaitEnd(std::chrono::milliseconds bound)
    {
        const Deadline end = Deadline::in(bound);
        while (!end.passed()) {
            pollfd source{m_socket, POLLIN, 0};
            if (::poll(&source, 1, 50) <= 0)
                continue;
            char buffer[4096];
            const ssize_t count = ::recv(m_socket, buffer, sizeof(buffer), 0);
            if (count <= 0)
                return true;
            m_received.append(buffer, count);
        }
        return false;
    }
    QByteArray received() const { return m_received; }

private:
    int m_socket;
    bool m_connected = false;
    QByteArray m_received;
};

/// A listener in the server's place that is none: takes connections and says `answer` to each.
class Impostor
{
public:
    Impostor(const QString &path, const QByteArray &answer, std::chrono::milliseconds every = 0ms)
        : m_socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        const sockaddr_un address = socketAddress(path);
        m_listens = ::bind(m_socket, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0 &&
                    ::listen(m_socket, 10) == 0;
        m_thread = std::thread([=, this] { serve(answer, every); });
    }
    Impostor(const Impostor &) = delete;
    Impostor &operator=(const Impostor &) = delete;
    ~Impostor()
    {
        m_stop = true;
        m_thread.join();
        ::close(m_socket);
    }

    bool listens() const { return m_listens; }
    int guests() const { return m_guests; }

private:
    void serve(const QByteArray &answer, std::chrono::milliseconds every)
    {
        std::vector<int> connections;
        Deadline next = Deadline::in(every);
        while (!m_stop) {
            pollfd source{m_socket, POLLIN, 0};
            if (::poll(&source, 1, 20) > 0) {
                connections.push_back(::accept(m_socket, nullptr, nullptr));
                ++m_guests;
                say(connections.back(), answer);
            }
            if (every.count() > 0 && next.passed()) {
                next = Deadline::in(every);
                for (const int connection : connections)
                    say(connection, answer);
            }
        }
        for (const int connection : connections)
            ::close(connection);
    }
    static void say(int connection, const QByteArray &answer)
    {
        [[maybe_unused]] const ssize_t sent =
            ::send(connection, answer.constData(), static_cast<size_t>(answer.size()), MSG_NOSIGNAL);
    }

    int m_socket;
    std::atomic<bool> m_listens = false;
    std::atomic<bool> m_stop = false;
    std::atomic<int> m_guests = 0;
    std::thread m_thread;
};

/// Which of these use a whole core, or nearly.
QList<ProcessInfo> busyOf(const QList<ProcessInfo> &processes)
{
    QList<qint64> before;
    for (const ProcessInfo &process : processes)
        before += ticksOf(process);
    std::this_thread::sleep_for(1s);
    QList<ProcessInfo> busy;
    for (qsizetype i = 0; i < processes.size(); ++i) {
        // Of 100 in a second; others may want the cores as well.
        if (ticksOf(processes[i]) - before[i] > 15)
            busy += processes[i];
    }
    return busy;
}

/// What pages of a PDF look like.
QList<QImage> pictures(const PdfFile &pdf)
{
    QList<QImage> result;
    for (int page = 1; page <= pdf.pages(); ++page)
        result += pdf.picture(page, 50);
    return result;
}

/// The structure tree without the names of its elements, which are new each time.
QString structureOf(const PdfFile &pdf)
{
    return pdf.structure().remove(QRegularExpression(u"node\\d+"_s));
}

QStringList documentsToCompare()
{
    QStringList result;
    const QDir samples(QStringLiteral(QUIRELLE_SAMPLES));
    for (const QFileInfo &file : samples.entryInfoList({u"*.html"_s}, QDir::Files))
        result += file.filePath();
    return result;
}

} // namespace

/// The warm server in its life with engines, each a process of its own.
class ServerTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

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

    void jobsLeaveNothingForOthers();
    void jobsAtTheSameTimeDoNotMeet();
    void severalJobsAreDoneAtATime();
    void warmAndColdAreAlike_data();
    void warmAndColdAreAlike();
    void nothingPilesUp();

    void aKilledEngineEndsItsJob();
    void scriptsWithoutEndEndWithTheirJob_data();
    void scriptsWithoutEndEndWithTheirJob();
    void aFullServer();
    void aStoppedServer();
    void theServerEndedInMidJob_data();
    void theServerEndedInMidJob();
    void aPageThatTakesTooMuchMemoryHarmsNoOther();
    void theBrowserKilledInMidJob();
    void theBrowserKilledBetweenJobs();
    void whatLiesInItsPlace_data();
    void whatLiesInItsPlace();
    void whatLiesInThePlaceOfARunningOne_data();
    void whatLiesInThePlaceOfARunningOne();
    void aRuntimeFolderThatIsOfNoUse_data();
    void aRuntimeFolderThatIsOfNoUse();

    void endedAtItsBeginning();
    void manyEnginesAtOnce();
    void manyEnginesAtItsEnd();

private:
    /// Does a job and returns the one server that is there then.
    ProcessInfo warmUp();
    QString socketPath() const;
    /// How long a job may take that the server is of no use for.
    std::chrono::milliseconds coldBound();
    void verifyStillConverts(std::chrono::milliseconds bound);

    std::unique_ptr<Engine> m_engine;
    std::chrono::milliseconds m_coldTime{0};
};

void ServerTest::init()
{
    m_engine = std::make_unique<Engine>();
    m_engine->setIdleSeconds(30);
}

void ServerTest::cleanup()
{
    QCOMPARE(m_engine->leftBehind(), QStringList());
}

ProcessInfo ServerTest::warmUp()
{
    const Conversion conversion = m_engine->convertText("<p>x");
    if (!conversion.flaw().isEmpty())
        qWarning("%s", conversion.flaw().constData());
    const QList<ProcessInfo> servers = m_engine->servers();
    return servers.size() == 1 ? servers[0] : ProcessInfo();
}

QString ServerTest::socketPath() const
{
    const QDir folder(m_engine->runtimeFolder() + u"/quirelle"_s);
    return folder.filePath(folder.entryList({u"*.socket"_s}, everything).value(0));
}

std::chrono::milliseconds ServerTest::coldBound()
{
    if (m_coldTime.count() == 0) {
        Engine engine;
        engine.setIdleSeconds(0);
        for (int i = 0; i < 3; ++i)
            m_coldTime = std::max(m_coldTime, engine.convertText("<p>x").run.time);
        qInfo("a cold job takes %lld ms", static_cast<long long>(m_coldTime.count()));
    }
    // What else the machine does may come on top.
    return 2 * m_coldTime + 500ms;
}

void ServerTest::verifyStillConverts(std::chrono::milliseconds bound)
{
    const Conversion conversion = m_engine->convertText("<p>still");
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().text(), u"still"_s);
    qInfo("took %lld ms", static_cast<long long>(conversion.run.time.count()));
    // The machine may have become busier since the bound was measured.
    if (conversion.run.time >= bound) {
        m_coldTime = 0ms;
        bound = std::max(bound, coldBound());
    }
    QVERIFY2(conversion.run.time < bound, qPrintable(u"%1 ms"_s.arg(conversion.run.time.count())));
}

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
    verifyStillConverts(20s);
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
    halfway.send(frameBytes(FrameKind::Order, "an order").left(8));
    RawClient garbage(socketPath());
    garbage.send("GET / HTTP/1.1\r\n\r\n");
    RawClient greedy(socketPath());
    greedy.send(QByteArray("\xff\xff\xff\xffo", 5));
    RawClient confused(socketPath());
    confused.send(frameBytes(FrameKind::Alive) + frameBytes(FrameKind::Alive));
    RawClient wrong(socketPath());
    wrong.send(frameBytes(FrameKind::Order, "no order"));
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
    verifyStillConverts(coldBound() + 5s);
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
    QVERIFY(build(u"quirelle-pdf.so"_s));
    QCOMPARE(convert(), 0);
    QCOMPARE(m_engine->servers().size(), 3);
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

void ServerTest::jobsLeaveNothingForOthers()
{
    const WebServer web("location / { expires max; }\n"
                        "location /closed/ { auth_basic realm; auth_basic_user_file users; }\n"
                        "location /sw/ { expires -1; }\n"
                        "location = /sw/who { return 200 server; }\n");
    web.write(u"users"_s, "");
    web.write(u"picture.svg"_s, "<svg xmlns='http://www.w3.org/2000/svg' width='9' height='9'/>");
    web.write(u"sw/worker.js"_s,
              "onfetch=e=>{if(e.request.url.endsWith('who'))e.respondWith(new Response('worker'))};"
              "oninstall=e=>skipWaiting();onactivate=e=>e.waitUntil(clients.claim())");
    // Says what it finds, and leaves all that it can. A request is under way until it is through.
    const SilentServer silent;
    web.write(
        u"sw/page.html"_s,
        "<!DOCTYPE html><img src=/picture.svg><p id=p><script>\n"
        "const hold=new AbortController();fetch('" +
            silent.address().toLatin1() +
            "',{mode:'no-cors',signal:hold.signal}).catch(()=>0);\n"
            "(async()=>{\n"
            "const found=[];\n"
            "found.push('cookie:'+document.cookie,'local:'+(localStorage.x||''),"
            "'session:'+(sessionStorage.x||''),'window:'+name);\n"
            "found.push('caches:'+(await caches.keys()).join());\n"
            "found.push('databases:'+(await indexedDB.databases()).map(d=>d.name).join());\n"
            "found.push('workers:'+(await navigator.serviceWorker.getRegistrations()).length);\n"
            "found.push('who:'+await (await fetch('who')).text());\n"
            "document.cookie='left=1;max-age=99999;path=/';localStorage.x='left';sessionStorage.x='left';"
            "name='left';await caches.open('left');indexedDB.open('left');\n"
            "await navigator.serviceWorker.register('worker.js');\n"
            "if(!navigator.serviceWorker.controller)await new Promise(d=>"
            "navigator.serviceWorker.oncontrollerchange=d);\n"
            "found.push('then:'+await (await fetch('who')).text());\n"
            "p.textContent=found.join(' ');hold.abort()})()</script>");
    const ProcessInfo server = warmUp();
    for (int i = 0; i < 3; ++i) {
        const Conversion conversion = m_engine->convert(web.address(u"/sw/page.html"_s));
        VERIFY_WRITTEN(conversion);
        QCOMPARE(conversion.pdf().text(), u"cookie: local: session: window: caches: databases: workers:0 "
                                          "who:server then:worker"_s);
        // Nothing comes out of an earlier job's cache.
        QCOMPARE(web.requests().filter(u"/picture.svg"_s).size(), i + 1);
    }
    QCOMPARE(m_engine->servers(), QList{server});
    QCOMPARE(browsersIn(descendantsOf(server.id)).size(), 1);
}

void ServerTest::jobsAtTheSameTimeDoNotMeet()
{
    warmUp();
    const WebServer web({});
    SilentServer slow;
    web.write(u"first.html"_s, "<script>document.cookie='first=1';localStorage.x='first';"
                               "new BroadcastChannel('c').onmessage=e=>document.body.append(e.data)</script>"
                               "<p>first<img src='" +
                                   slow.address().toLatin1() + "'>");
    web.write(u"second.html"_s, "<p id=p>second<script>new BroadcastChannel('c').postMessage('heard');"
                                "p.append(document.cookie,localStorage.x||'')</script>");
    const QString output = m_engine->freshOutput();
    const auto first = m_engine->start({web.address(u"/first.html"_s), output});
    QVERIFY(!slow.awaitRequest().isNull());
    const Conversion second = m_engine->convert(web.address(u"/second.html"_s));
    VERIFY_WRITTEN(second);
    QCOMPARE(second.pdf().text(), u"second"_s);
    slow.answer("HTTP/1.0 404 Not here\r\n\r\n");
    slow.hangUp();
    QVERIFY(first->waitForFinished(20000));
    QCOMPARE(PdfFile(output).text(), u"first"_s);
}

void ServerTest::severalJobsAreDoneAtATime()
{
    const ProcessInfo server = warmUp();
    const auto cores = std::max(std::thread::hardware_concurrency(), 1U);
    std::vector<std::unique_ptr<SilentServer>> pages;
    std::vector<std::unique_ptr<QProcess>> jobs;
    for (unsigned i = 0; i < cores; ++i) {
        pages.push_back(std::make_unique<SilentServer>());
        jobs.push_back(m_engine->start({pages.back()->address(), m_engine->freshOutput()}));
        QVERIFY(!pages.back()->awaitRequest().isNull());
        QCOMPARE(descendantsOf(jobs.back()->processId()).size(), 0);
    }
    QCOMPARE(browsersIn(descendantsOf(server.id)).size(), 1);
    for (unsigned i = 0; i < cores; ++i) {
        pages[i]->answer("HTTP/1.0 200 OK\r\nContent-Type: text/html\r\n\r\nx");
        pages[i]->hangUp();
        QVERIFY(jobs[i]->waitForFinished(20000));
        QCOMPARE(jobs[i]->exitCode(), 0);
    }
}

void ServerTest::warmAndColdAreAlike_data()
{
    QTest::addColumn<QString>("document");
    QTest::addColumn<QStringList>("options");
    for (const QString &document : documentsToCompare())
        QTest::newRow(qPrintable(QFileInfo(document).fileName())) << document << QStringList();
    const QString article = QStringLiteral(QUIRELLE_SAMPLES "/article.html");
    QTest::newRow("every option") << article
                                  << QStringList{u"--page-size"_s,
                                                 u"A5"_s,
                                                 u"--orientation"_s,
                                                 u"Landscape"_s,
                                                 u"--copies"_s,
                                                 u"2"_s,
                                                 u"--minimum-font-size"_s,
                                                 u"14"_s,
                                                 u"--title"_s,
                                                 u"T"_s,
                                                 u"--disable-external-links"_s,
                                                 u"--grayscale"_s,
                                                 u"--no-background"_s};
    QTest::newRow("without scripts and images")
        << article << QStringList{u"--disable-javascript"_s, u"--no-images"_s};
    QTest::newRow("low quality") << article << QStringList{u"--lowquality"_s};
}

void ServerTest::warmAndColdAreAlike()
{
    QFETCH(QString, document);
    QFETCH(QStringList, options);
    m_engine->setIdleSeconds(0);
    const Conversion cold = m_engine->convert(document, options);
    m_engine->setIdleSeconds(30);
    const QStringList others{u"--copies"_s, u"3"_s, u"--title"_s, u"other"_s};
    VERIFY_WRITTEN(m_engine->convertText("<h1>another</h1><script>document.title='x'</script>", others));
    const Conversion warm = m_engine->convert(document, options);
    QCOMPARE(m_engine->servers().size(), 1);
    VERIFY_WRITTEN(cold);
    VERIFY_WRITTEN(warm);
    QCOMPARE(warm.pdf().text(), cold.pdf().text());
    QCOMPARE(warm.pdf().pageSizes(), cold.pdf().pageSizes());
    QCOMPARE(warm.pdf().documentTitle(), cold.pdf().documentTitle());
    QCOMPARE(structureOf(warm.pdf()), structureOf(cold.pdf()));
    QCOMPARE(warm.pdf().links(), cold.pdf().links());
    QCOMPARE(warm.pdf().outline(), cold.pdf().outline());
    QCOMPARE(warm.pdf().fonts(), cold.pdf().fonts());
    QCOMPARE(warm.pdf().images(), cold.pdf().images());
    QCOMPARE(pictures(warm.pdf()), pictures(cold.pdf()));
}

void ServerTest::nothingPilesUp()
{
    const ProcessInfo server = warmUp();
    if (!isOpen(server))
        QSKIP("whose descriptors nobody can count");
    const auto work = [&](int jobs) {
        for (int i = 0; i < jobs; ++i) {
            VERIFY_WRITTEN(m_engine->convertText("<p>x"));
            RawClient(socketPath()).order(u"about:blank"_s);
            RawClient(socketPath()).send("x");
        }
    };
    const auto atRest = [&](qsizetype descriptors, qsizetype processes) {
        return waitUntil([&] {
            return openFilesOf(server).size() <= descriptors && descendantsOf(server.id).size() <= processes;
        });
    };
    work(5);
    std::this_thread::sleep_for(2500ms);
    const qsizetype descriptors = openFilesOf(server).size();
    const qsizetype processes = descendantsOf(server.id).size();
    work(30);
    QVERIFY2(atRest(descriptors, processes),
             qPrintable(u"%1 descriptors after %2, %3 processes after %4"_s.arg(openFilesOf(server).size())
                            .arg(descriptors)
                            .arg(descendantsOf(server.id).size())
                            .arg(processes)));
}

void ServerTest::aKilledEngineEndsItsJob()
{
    const ProcessInfo server = warmUp();
    for (const int number : {SIGKILL, SIGTERM}) {
        SilentServer page;
        const auto job = m_engine->start({page.address(), m_engine->freshOutput()});
        QVERIFY(!page.awaitRequest().isNull());
        ::kill(static_cast<pid_t>(job->processId()), number);
        QVERIFY(page.awaitHangUp(3s));
        QVERIFY(job->waitForFinished(5000));
    }
    QVERIFY(isRunning(server));
    verifyStillConverts(20s);
    QCOMPARE(m_engine->servers(), QList{server});
}

void ServerTest::scriptsWithoutEndEndWithTheirJob_data()
{
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<bool>("killed");
    const QByteArray worker = "const w=[1,2].map(()=>new Worker(URL.createObjectURL(new "
                              "Blob(['while(true);']))));";
    for (const bool killed : {true, false}) {
        const char *how = killed ? "engine killed" : "out of time";
        QTest::addRow("a loop, %s", how) << QByteArray("while(true);") << killed;
        QTest::addRow("a loop that is gone back to, %s", how)
            << QByteArray("function f(){setTimeout(f);for(;;);}setInterval(f);f()") << killed;
        QTest::addRow("a page that would not be left, %s", how)
            << QByteArray("onbeforeunload=onpagehide=onunload=e=>{for(;;);};for(;;);") << killed;
        QTest::addRow("workers, %s", how) << worker << killed;
    }
}

void ServerTest::scriptsWithoutEndEndWithTheirJob()
{
    QFETCH(QByteArray, script);
    QFETCH(bool, killed);
    const ProcessInfo server = warmUp();
    SilentServer picture;
    const QString page = m_engine->write(u"page.html"_s, "<p>x<img src='" + picture.address().toLatin1() +
                                                             "'><script>" + script + "</script>");
    const auto job =
        m_engine->start({u"--timeout"_s, killed ? u"60"_s : u"6"_s, page, m_engine->freshOutput()});
    QVERIFY(!picture.awaitRequest().isNull());
    const QList<ProcessInfo> busy = busyOf(descendantsOf(server.id));
    QVERIFY(!busy.isEmpty());
    if (killed)
        job->kill();
    QVERIFY(job->waitForFinished(20000));
    if (!killed)
        QCOMPARE(job->exitCode(), 4);
    // The browser's own processes may have been busy for a moment, and stay.
    QVERIFY2(waitUntil([&] { return busyOf(descendantsOf(server.id)).isEmpty(); }, 8s),
             "something goes on computing");
    QVERIFY(isRunning(server));
    verifyStillConverts(20s);
}

void ServerTest::aFullServer()
{
    const auto bound = coldBound();
    const ProcessInfo server = warmUp();
    const SilentServer page;
    std::vector<std::unique_ptr<RawClient>> clients;
    for (unsigned i = 0; i < 2 * std::max(std::thread::hardware_concurrency(), 1U); ++i) {
        clients.push_back(std::make_unique<RawClient>(socketPath()));
        clients.back()->order(page.address());
    }
    for (int i = 0; i < 3; ++i)
        verifyStillConverts(bound);
    // Beyond all bounds.
    while (clients.size() < 260) {
        clients.push_back(std::make_unique<RawClient>(socketPath()));
        clients.back()->order(page.address());
    }
    verifyStillConverts(bound);
    clients.clear();
    QVERIFY(waitUntil([&] {
        const Conversion conversion = m_engine->convertText("x");
        return conversion.flaw().isEmpty() && conversion.run.time < bound / 2;
    }));
    QCOMPARE(m_engine->servers(), QList{server});
}

void ServerTest::aStoppedServer()
{
    const auto bound = coldBound();
    const ProcessInfo server = warmUp();
    ::kill(static_cast<pid_t>(server.id), SIGSTOP);
    verifyStillConverts(bound);
    verifyStillConverts(bound);
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
    verifyStillConverts(bound);
    for (const int socket : sockets)
        ::close(socket);
    ::kill(static_cast<pid_t>(server.id), SIGCONT);
    verifyStillConverts(20s);
    QCOMPARE(m_engine->servers(), QList{server});
}

void ServerTest::theServerEndedInMidJob_data()
{
    QTest::addColumn<int>("number");
    QTest::newRow("by SIGTERM") << SIGTERM;
    QTest::newRow("by SIGKILL") << SIGKILL;
    QTest::newRow("by SIGINT") << SIGINT;
}

void ServerTest::theServerEndedInMidJob()
{
    QFETCH(int, number);
    const ProcessInfo server = warmUp();
    const QList<ProcessInfo> family = descendantsOf(server.id);
    SilentServer picture;
    const QString page =
        m_engine->write(u"page.html"_s, "<p>x<img src='" + picture.address().toLatin1() + "'>");
    const QString output = m_engine->freshOutput();
    const auto job = m_engine->start({page, output});
    QVERIFY(!picture.awaitRequest().isNull());
    ::kill(static_cast<pid_t>(server.id), number);
    // The engine begins anew, by itself.
    QVERIFY(!picture.awaitRequest().isNull());
    QVERIFY(!descendantsOf(job->processId()).isEmpty());
    picture.answer("HTTP/1.0 404 Not here\r\n\r\n");
    picture.hangUp();
    QVERIFY(job->waitForFinished(20000));
    QCOMPARE(job->exitCode(), 0);
    QCOMPARE(PdfFile(output).text(), u"x"_s);
    QVERIFY(waitUntil([&] { return !isRunning(server) && runningOf(family) == 0; }));
    // In the place of what it has left.
    const ProcessInfo next = warmUp();
    QVERIFY(next.id > 0 && !(next == server));
}

void ServerTest::aPageThatTakesTooMuchMemoryHarmsNoOther()
{
    m_engine->setIdleSeconds(60);
    const QStringList bound{u"--max-memory"_s, u"300"_s};
    VERIFY_WRITTEN(m_engine->convertText("<p>x", bound));
    const QList<ProcessInfo> servers = m_engine->servers();
    QCOMPARE(servers.size(), 1);
    const QList<ProcessInfo> browsers = browsersIn(descendantsOf(servers[0].id));
    QCOMPARE(browsers.size(), 1);
    SilentServer picture;
    const QString page =
        m_engine->write(u"page.html"_s, "<p>whole<img src='" + picture.address().toLatin1() + "'>");
    const QString output = m_engine->freshOutput();
    const auto job = m_engine->start(bound + QStringList{page, output});
    QVERIFY(!picture.awaitRequest().isNull());
    const Conversion large = m_engine->convertText(
        "<script>window.a=[];for(;;)a.push(new Uint8Array(9<<20).fill(1))</script>", bound);
    VERIFY_FAILED(large, 6);
    QVERIFY2(large.run.errors.contains("300 MiB"), large.run.errors.constData());
    picture.answer("HTTP/1.0 404 Not here\r\n\r\n");
    picture.hangUp();
    QVERIFY(job->waitForFinished(20000));
    QCOMPARE(job->exitCode(), 0);
    QCOMPARE(PdfFile(output).text(), u"whole"_s);
    QCOMPARE(m_engine->servers(), servers);
    QCOMPARE(browsersIn(descendantsOf(servers[0].id)), browsers);
}

void ServerTest::theBrowserKilledInMidJob()
{
    const ProcessInfo server = warmUp();
    SilentServer picture;
    const QString page =
        m_engine->write(u"page.html"_s, "<p>x<img src='" + picture.address().toLatin1() + "'>");
    const QString output = m_engine->freshOutput();
    const auto job = m_engine->start({page, output});
    QVERIFY(!picture.awaitRequest().isNull());
    for (const ProcessInfo &browser : browsersIn(descendantsOf(server.id)))
        ::kill(static_cast<pid_t>(browser.id), SIGKILL);
    QVERIFY(!picture.awaitRequest().isNull());
    picture.answer("HTTP/1.0 404 Not here\r\n\r\n");
    picture.hangUp();
    QVERIFY(job->waitForFinished(20000));
    QCOMPARE(job->exitCode(), 0);
    QCOMPARE(PdfFile(output).text(), u"x"_s);
    QVERIFY(isRunning(server));
}

void ServerTest::theBrowserKilledBetweenJobs()
{
    const ProcessInfo server = warmUp();
    const QList<ProcessInfo> browsers = browsersIn(descendantsOf(server.id));
    QCOMPARE(browsers.size(), 1);
    ::kill(static_cast<pid_t>(browsers[0].id), SIGKILL);
    // The first may have been quicker than the news, and have done without the server.
    verifyStillConverts(20s);
    verifyStillConverts(20s);
    QCOMPARE(m_engine->servers(), QList{server});
    QVERIFY(waitUntil([&] { return browsersIn(descendantsOf(server.id)).size() == 1; }));
}

void ServerTest::whatLiesInItsPlace_data()
{
    QTest::addColumn<QString>("what");
    QTest::addColumn<bool>("warmAgain");
    QTest::newRow("socket and lock left behind") << u"leftovers"_s << true;
    QTest::newRow("the socket alone") << u"socket"_s << true;
    QTest::newRow("a file") << u"file"_s << true;
    QTest::newRow("a folder") << u"folder"_s << false;
    QTest::newRow("a link to nowhere") << u"link"_s << true;
    QTest::newRow("a link to a file") << u"link to a file"_s << true;
    QTest::newRow("a folder for a lock") << u"lock folder"_s << false;
    QTest::newRow("a link for a lock") << u"lock link"_s << false;
    QTest::newRow("a lock that is held") << u"lock held"_s << false;
    QTest::newRow("a listener that says nothing") << u"silent"_s << false;
    QTest::newRow("a listener that says something else") << u"garbage"_s << false;
    QTest::newRow("a listener that promises much") << u"promise"_s << false;
    QTest::newRow("a listener that refuses") << u"refusal"_s << false;
}

void ServerTest::whatLiesInItsPlace()
{
    QFETCH(QString, what);
    QFETCH(bool, warmAgain);
    const auto bound = coldBound();
    const ProcessInfo server = warmUp();
    const QString socket = socketPath();
    QString lock = socket;
    lock.replace(u".socket"_s, u".lock"_s);
    ::kill(static_cast<pid_t>(server.id), SIGKILL);
    QVERIFY(waitUntil([&] { return !isRunning(server); }));
    QVERIFY(QFile::exists(lock));
    if (what != u"leftovers"_s && what != u"socket"_s)
        QFile::remove(socket);
    if (what != u"leftovers"_s)
        QFile::remove(lock);
    const QString precious = m_engine->write(u"precious"_s, "precious");
    std::unique_ptr<Impostor> impostor;
    int held = -1;
    if (what == u"file"_s)
        QVERIFY(makeFile(socket));
    else if (what == u"folder"_s)
        QVERIFY(QDir().mkpath(socket + u"/within"_s));
    else if (what == u"link"_s)
        QVERIFY(QFile::link(u"/no/such/file"_s, socket));
    else if (what == u"link to a file"_s)
        QVERIFY(QFile::link(precious, socket));
    else if (what == u"lock folder"_s)
        QVERIFY(QDir().mkpath(lock));
    else if (what == u"lock link"_s)
        QVERIFY(QFile::link(precious, lock));
    else if (what == u"lock held"_s) {
        held = ::open(QFile::encodeName(lock).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        QCOMPARE(::flock(held, LOCK_EX), 0);
    } else if (what == u"silent"_s)
        impostor = std::make_unique<Impostor>(socket, QByteArray());
    else if (what == u"garbage"_s)
        impostor = std::make_unique<Impostor>(socket, "220 mail.example ESMTP\r\n");
    else if (what == u"promise"_s)
        impostor = std::make_unique<Impostor>(socket, QByteArray("\xff\xff\xff\x7fp%PDF", 9));
    else if (what == u"refusal"_s)
        impostor = std::make_unique<Impostor>(socket, frameBytes(FrameKind::Refusal));
    QVERIFY(!impostor || impostor->listens());

    for (int i = 0; i < 2; ++i)
        verifyStillConverts(bound);
    QCOMPARE(m_engine->servers().size(), warmAgain ? 1 : 0);
    if (impostor)
        QCOMPARE(impostor->guests(), 2);
    QCOMPARE(contentOf(precious), QByteArray("precious"));
    impostor.reset();
    if (held >= 0)
        ::close(held);
    QVERIFY(m_engine->endServers());
    QDir(m_engine->runtimeFolder() + u"/quirelle"_s).removeRecursively();
}

void ServerTest::whatLiesInThePlaceOfARunningOne_data()
{
    QTest::addColumn<QString>("what");
    for (const char *what : {"nothing", "a file", "a folder", "an impostor", "no folder"})
        QTest::newRow(what) << QString(QLatin1String(what));
}

void ServerTest::whatLiesInThePlaceOfARunningOne()
{
    QFETCH(QString, what);
    const auto bound = coldBound();
    const ProcessInfo server = warmUp();
    const QString socket = socketPath();
    QFile::remove(socket);
    std::unique_ptr<Impostor> impostor;
    if (what == u"a file"_s)
        QVERIFY(makeFile(socket));
    else if (what == u"a folder"_s)
        QVERIFY(QDir().mkpath(socket + u"/within"_s));
    else if (what == u"an impostor"_s)
        impostor = std::make_unique<Impostor>(socket, QByteArray());
    else if (what == u"no folder"_s)
        QVERIFY(QDir(m_engine->runtimeFolder() + u"/quirelle"_s).removeRecursively());
    verifyStillConverts(bound);
    if (what != u"no folder"_s) {
        QCOMPARE(m_engine->servers(), QList{server});
    } else {
        // The folder and what is in it belong to a second server now: the first leaves them alone.
        QCOMPARE(m_engine->servers().size(), 2);
        ::kill(static_cast<pid_t>(server.id), SIGTERM);
        QVERIFY(waitUntil([&] { return !isRunning(server); }));
        const QList<ProcessInfo> second = m_engine->servers();
        QVERIFY(QFile::exists(socket));
        verifyStillConverts(20s);
        QCOMPARE(m_engine->servers(), second);
    }
    impostor.reset();
    QVERIFY(m_engine->endServers());
    QDir(m_engine->runtimeFolder() + u"/quirelle"_s).removeRecursively();
}

void ServerTest::aRuntimeFolderThatIsOfNoUse_data()
{
    QTest::addColumn<QString>("what");
    // Whether there is a server all the same, in the temporary folder.
    QTest::addColumn<bool>("warm");
    QTest::newRow("not set") << u"unset"_s << true;
    QTest::newRow("missing") << u"missing"_s << true;
    QTest::newRow("relative") << u"relative"_s << true;
    QTest::newRow("a file") << u"file"_s << true;
    QTest::newRow("open to others") << u"open"_s << true;
    QTest::newRow("somebody else's") << u"foreign"_s << true;
    QTest::newRow("a path too long") << u"long"_s << false;
    QTest::newRow("with a file for our folder") << u"file within"_s << false;
    QTest::newRow("with our folder open to others") << u"open within"_s << false;
    QTest::newRow("with somebody else's folder") << u"foreign within"_s << false;
    QTest::newRow("with a link for our folder") << u"link within"_s << false;
    QTest::newRow("not writable") << u"not writable"_s << false;
}

void ServerTest::aRuntimeFolderThatIsOfNoUse()
{
    QFETCH(QString, what);
    QFETCH(bool, warm);
    const auto bound = coldBound();
    const QString runtime = m_engine->runtimeFolder();
    const QString ours = runtime + u"/quirelle"_s;
    const auto setRuntime = [&](const QString &path) { m_engine->setVariable(u"XDG_RUNTIME_DIR"_s, path); };
    const auto give = [](const QString &path) {
        return ::chown(QFile::encodeName(path).constData(), 65534, 65534) == 0;
    };
    if ((what.startsWith(u"foreign"_s)) && ::geteuid() != 0)
        QSKIP("giving a folder away needs root");
    if (what == u"unset"_s)
        setRuntime({});
    else if (what == u"missing"_s)
        setRuntime(runtime + u"/missing"_s);
    else if (what == u"relative"_s)
        setRuntime(u"run"_s);
    else if (what == u"file"_s)
        setRuntime(m_engine->write(u"file"_s, "x"));
    else if (what == u"open"_s)
        QFile::setPermissions(runtime, QFile::Permissions(0x7755));
    else if (what == u"foreign"_s)
        QVERIFY(give(runtime));
    else if (what == u"long"_s) {
        const QString deep = runtime + u'/' + QString(120, u'd');
        QVERIFY(QDir().mkdir(deep));
        QFile::setPermissions(deep, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        setRuntime(deep);
    } else if (what == u"file within"_s)
        QVERIFY(makeFile(ours));
    else if (what == u"open within"_s || what == u"foreign within"_s) {
        QVERIFY(QDir().mkdir(ours));
        QFile::setPermissions(ours, QFile::Permissions(what == u"open within"_s ? 0x7777 : 0x7700));
        QVERIFY(what == u"open within"_s || give(ours));
    } else if (what == u"link within"_s)
        QVERIFY(QFile::link(m_engine->makeFolder(u"elsewhere"_s), ours));
    else if (what == u"not writable"_s) {
        if (::geteuid() == 0)
            QSKIP("root writes everywhere");
        QFile::setPermissions(runtime, QFile::ReadOwner | QFile::ExeOwner);
    }
    for (int i = 0; i < 2; ++i)
        verifyStillConverts(bound);
    // The runtime folder may be none that a server could be known by.
    QList<ProcessInfo> servers;
    for (const ProcessInfo &process : processesOf(m_engine->temporaryFolder())) {
        if (commandLineOf(process) == "quirelle-server" && nameOf(process) != "quirelle-guard")
            servers += process;
    }
    QCOMPARE(servers.size(), warm ? 1 : 0);
    for (const ProcessInfo &server : servers) {
        ::kill(static_cast<pid_t>(server.id), SIGTERM);
        QVERIFY(waitUntil([&] { return !isRunning(server); }));
    }
    QFile::setPermissions(runtime, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    for (const QString &name : QDir(runtime).entryList(everything)) {
        QVERIFY(QFile(QDir(runtime).filePath(name)).remove() ||
                QDir(runtime + u'/' + name).removeRecursively());
    }
}

void ServerTest::manyEnginesAtOnce()
{
    const QByteArrayList pages(50, "<p>one of many");
    QElapsedTimer timer;
    timer.start();
    const std::vector<Conversion> conversions = m_engine->convertTexts(pages, {u"--timeout"_s, u"80"_s});
    qInfo("50 engines took %lld ms", timer.elapsed());
    for (const Conversion &conversion : conversions) {
        VERIFY_WRITTEN(conversion);
        QCOMPARE(conversion.pdf().text(), u"one of many"_s);
    }
    QCOMPARE(m_engine->servers().size(), 1);
}

void ServerTest::endedAtItsBeginning()
{
    const QString page = m_engine->write(u"page.html"_s, "<p>x");
    for (int round = 0; round < 10; ++round) {
        const QString output = m_engine->freshOutput();
        const auto engine = m_engine->start({page, output});
        while (m_engine->servers().isEmpty())
            QVERIFY(engine->state() != QProcess::NotRunning);
        const ProcessInfo server = m_engine->servers().value(0);
        ::kill(static_cast<pid_t>(server.id), SIGTERM);
        QVERIFY(engine->waitForFinished(20000));
        QCOMPARE(engine->exitCode(), 0);
        QVERIFY(waitUntil([&] { return m_engine->servers().isEmpty(); }));
        QVERIFY(QDir(m_engine->runtimeFolder()).isEmpty());
    }
}

void ServerTest::manyEnginesAtItsEnd()
{
    m_engine->setIdleSeconds(1);
    const QByteArrayList pages(10, "<p>one of many");
    for (int round = 0; round < 10; ++round) {
        QVERIFY(!m_engine->convertTexts({pages[0]}, {}).empty());
        // Around the moment at which it ends.
        std::this_thread::sleep_for(970ms + round * 8ms);
        for (const Conversion &conversion : m_engine->convertTexts(pages, {}))
            VERIFY_WRITTEN(conversion);
        QVERIFY2(waitUntil([&] { return m_engine->servers().size() <= 1; }, 3s), "several servers");
    }
    QVERIFY(waitUntil([&] { return m_engine->servers().isEmpty(); }));
    QVERIFY(QDir(m_engine->runtimeFolder()).isEmpty());
}

QTEST_GUILESS_MAIN(ServerTest)
#include "tst_server.moc"
