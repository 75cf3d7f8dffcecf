#include "conversion/mythread.h"

#include <QElapsedTimer>
#include <QTest>

#include <atomic>
#include <cstdlib>
#include <mutex>
#include <utility>

namespace
{

std::mutex g_linesLock;
QStringList g_lines;
std::atomic<MyThread *> g_threadToStop = nullptr;
std::atomic<int> g_stopAfter = 1;

/// A thread that is joined in a way that the thread sanitizer sees: Qt's wait() is not instrumented.
class WatchedThread : public MyThread
{
public:
    using MyThread::MyThread;

    void run() override
    {
        MyThread::run();
        m_over.store(true, std::memory_order_release);
    }

    bool ends(int milliseconds) { return wait(milliseconds) && m_over.load(std::memory_order_acquire); }

private:
    std::atomic<bool> m_over = false;
};

/// Called in the thread that logs.
void keepLine(QtMsgType type, const QMessageLogContext &, const QString &line)
{
    const std::lock_guard<std::mutex> locker(g_linesLock);
    if (type != QtDebugMsg || !line.startsWith(QLatin1String("Producing")))
        return;
    g_lines.append(line);
    if (MyThread *thread = g_threadToStop; thread && g_lines.size() >= g_stopAfter)
        thread->stopThread(true);
}

/// The thread's sleep for a random number, in milliseconds.
int sleepOf(int random)
{
    return random % 3000 + 1;
}

/// Starts the process's random numbers so that the thread's first sleeps, in milliseconds, are short: it
/// sleeps as the numbers say, and these tests are not about how long.
void makeSleepsShort()
{
    constexpr int sleeps = 3;
    constexpr int longest = 200;
    const auto areShort = [] {
        for (int sleep = 0; sleep < sleeps; ++sleep) {
            if (sleepOf(std::rand()) > longest)
                return false;
        }
        return true;
    };
    unsigned seed = 0;
    do
        std::srand(++seed);
    while (!areShort());
    std::srand(seed);
}

void stopAfter(int messages, MyThread &thread)
{
    g_stopAfter = messages;
    g_threadToStop = &thread;
}

qsizetype lineCount()
{
    const std::lock_guard<std::mutex> locker(g_linesLock);
    return g_lines.size();
}

QStringList takeLines()
{
    const std::lock_guard<std::mutex> locker(g_linesLock);
    return std::exchange(g_lines, {});
}

} // namespace

class TestMyThread : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        takeLines();
        g_threadToStop = nullptr;
        makeSleepsShort();
        m_before = qInstallMessageHandler(keepLine);
    }
    void cleanup() { qInstallMessageHandler(m_before); }

    void stoppedAfterItsFirstMessageItHasLoggedOneLine()
    {
        WatchedThread thread(QStringLiteral("A"));
        stopAfter(1, thread);
        thread.start();
        QVERIFY(thread.ends(10000));
        QCOMPARE(takeLines(), QStringList{QStringLiteral("Producing A:0")});
    }

    void anotherThreadMayStopIt()
    {
        WatchedThread thread(QStringLiteral("E"));
        thread.start();
        QTRY_VERIFY_WITH_TIMEOUT(lineCount() > 0, 10000);
        thread.stopThread(true);
        QVERIFY(thread.ends(10000));
        const qsizetype count = lineCount();
        QCOMPARE(takeLines().constLast(), QStringLiteral("Producing E:%1").arg(count - 1));
    }

    void messagesAreNumberedFromZero()
    {
        WatchedThread thread(QStringLiteral("B"));
        stopAfter(3, thread);
        thread.start();
        QVERIFY(thread.ends(20000));
        QCOMPARE(takeLines(), (QStringList{QStringLiteral("Producing B:0"), QStringLiteral("Producing B:1"),
                                           QStringLiteral("Producing B:2")}));
    }

    void stoppedBeforeItsStartItEndsWithoutAMessage()
    {
        WatchedThread thread(QStringLiteral("A"));
        thread.stopThread(true);
        thread.start();
        QVERIFY(thread.ends(10000));
        QVERIFY(takeLines().isEmpty());
    }

    void aStopTakenBackLetsItRun()
    {
        WatchedThread thread(QStringLiteral("C"));
        thread.stopThread(true);
        thread.stopThread(false);
        stopAfter(1, thread);
        thread.start();
        QVERIFY(thread.ends(10000));
        QCOMPARE(takeLines(), QStringList{QStringLiteral("Producing C:0")});
    }

    void itSleepsAsLongAsTheRandomGeneratorSays()
    {
        // One that is long enough to be measured.
        unsigned seed = 0;
        int sleep = 0;
        do {
            std::srand(++seed);
            sleep = sleepOf(std::rand());
        } while (sleep < 300 || sleep > 500);
        std::srand(seed);
        WatchedThread thread(QStringLiteral("D"));
        stopAfter(1, thread);
        QElapsedTimer timer;
        timer.start();
        thread.start();
        QVERIFY(thread.ends(sleep + 10000));
        QVERIFY2(timer.elapsed() >= sleep,
                 qPrintable(QStringLiteral("%1 of %2 ms").arg(timer.elapsed()).arg(sleep)));
    }

    void messageIsOneLine_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("number");
        QTest::addColumn<QString>("line");
        QTest::newRow("plain") << "A" << 0 << "Producing A:0";
        QTest::newRow("no name") << "" << 12 << "Producing :12";
        QTest::newRow("negative") << "A" << -1 << "Producing A:-1";
        QTest::newRow("quotes and blanks") << "a \"b\" c" << 1 << "Producing a \"b\" c:1";
        QTest::newRow("markers in the name") << "%2%1" << 5 << "Producing %2%1:5";
        QTest::newRow("not Latin") << QStringLiteral("ж") << 5 << QStringLiteral("Producing ж:5");
    }
    void messageIsOneLine()
    {
        QFETCH(QString, name);
        QFETCH(int, number);
        MyThread thread(name);
        thread.produceMessage(number);
        QFETCH(QString, line);
        QCOMPARE(takeLines(), QStringList{line});
    }

    void hasNoParent() { QVERIFY(!MyThread(QStringLiteral("A")).parent()); }

private:
    QtMessageHandler m_before = nullptr;
};

QTEST_GUILESS_MAIN(TestMyThread)
#include "tst_mythread.moc"
