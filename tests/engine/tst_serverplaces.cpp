#include "tests/engine/serverfixture.h"
#include "tests/support/waiting.h"

#include <QFile>
#include <QTest>

#include <sys/file.h>
#include <sys/socket.h>

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

bool makeFile(const QString &path)
{
    return QFile(path).open(QIODevice::WriteOnly);
}

/// A false server at the server's socket: accepts connections and sends `answer` to each.
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

} // namespace

/// Other files in place of the warm server's socket and of its folder.
class ServerPlacesTest : public ServerFixture
{
    Q_OBJECT

private slots:
    void whatLiesInItsPlace_data();
    void whatLiesInItsPlace();
    void whatLiesInThePlaceOfARunningOne_data();
    void whatLiesInThePlaceOfARunningOne();
    void aRuntimeFolderThatIsOfNoUse_data();
    void aRuntimeFolderThatIsOfNoUse();
};

void ServerPlacesTest::whatLiesInItsPlace_data()
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

void ServerPlacesTest::whatLiesInItsPlace()
{
    QFETCH(QString, what);
    QFETCH(bool, warmAgain);
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
        impostor = std::make_unique<Impostor>(socket, bytesOf(FrameKind::Refusal));
    QVERIFY(!impostor || impostor->listens());

    for (int i = 0; i < 2; ++i)
        verifyStillConverts();
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

void ServerPlacesTest::whatLiesInThePlaceOfARunningOne_data()
{
    QTest::addColumn<QString>("what");
    for (const char *what : {"nothing", "a file", "a folder", "an impostor", "no folder"})
        QTest::newRow(what) << QString(QLatin1String(what));
}

void ServerPlacesTest::whatLiesInThePlaceOfARunningOne()
{
    QFETCH(QString, what);
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
    verifyStillConverts();
    if (what != u"no folder"_s) {
        QCOMPARE(m_engine->servers(), QList{server});
    } else {
        // The folder and what is in it belong to a second server now: the first leaves them alone.
        QCOMPARE(m_engine->servers().size(), 2);
        ::kill(static_cast<pid_t>(server.id), SIGTERM);
        QVERIFY(waitUntil([&] { return !isRunning(server); }));
        const QList<ProcessInfo> second = m_engine->servers();
        QVERIFY(QFile::exists(socket));
        verifyStillConverts();
        QCOMPARE(m_engine->servers(), second);
    }
    impostor.reset();
    QVERIFY(m_engine->endServers());
    QDir(m_engine->runtimeFolder() + u"/quirelle"_s).removeRecursively();
}

void ServerPlacesTest::aRuntimeFolderThatIsOfNoUse_data()
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

void ServerPlacesTest::aRuntimeFolderThatIsOfNoUse()
{
    QFETCH(QString, what);
    QFETCH(bool, warm);
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
        verifyStillConverts();
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

QTEST_GUILESS_MAIN(ServerPlacesTest)
#include "tst_serverplaces.moc"
