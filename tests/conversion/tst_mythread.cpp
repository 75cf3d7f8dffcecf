#include "conversion/mythread.h"

#include <QElapsedTimer>
#include <QMutex>
#include <QTest>

#include <atomic>
#include <cstdlib>
#include <utility>

namespace
{

QMutex g_linesLock;
QStringList g_lines;
std::atomic<MyThread *> g_threadToStop = nullptr;
std::atomic<int> g_stopAfter = 1;

/// Called in the thread that logs.
void keepLine(QtMsgType type, const QMessageLogContext &, const QString &line)
{
    const QMutexLocker locker(&g_linesLock);
    if (type != QtDebugMsg || !line.startsWith(QLatin1String("Producing")))
        return;
    g_lines.append(line);
    if (MyThread *thread = g_threadToStop; thread && g_lines.size() >= g_stopAfter)
        thread->stopThread(true);
}

QStringList takeLines()
{
    const QMutexLocker locker(&g_linesLock);
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
        g_stopAfter = 1;
        m_before = qInstallMessageHandler(keepLine);
    }
    void cleanup() { qInstallMessageHandler(m_before); }

    void stoppedAfterItsFirstMessageItHasLoggedOneLine()
    {
        MyThread thread(QStringLiteral("A"));
        g_threadToStop = &thread;
        thread.start();
        QVERIFY(thread.wait(10000));
        QCOMPARE(takeLines(), QStringList{QStringLiteral("Producing A:0")});
    }

    void messagesAreNumberedFromZero()
    {
        MyThread thread(QStringLiteral("B"));
        g_threadToStop = &thread;
        g_stopAfter = 3;
        thread.start();
        QVERIFY(thread.wait(20000));
        QCOMPARE(takeLines(), (QStringList{QStringLiteral("Producing B:0"), QStringLiteral("Producing B:1"),
                                           QStringLiteral("Producing B:2")}));
    }

    void stoppedBeforeItsStartItEndsWithoutAMessage()
    {
        MyThread thread(QStringLiteral("A"));
        thread.stopThread(true);
        thread.start();
        QVERIFY(thread.wait(10000));
        QVERIFY(takeLines().isEmpty());
    }

    void aStopTakenBackLetsItRun()
    {
        MyThread thread(QStringLiteral("C"));
        thread.stopThread(true);
        thread.stopThread(false);
        g_threadToStop = &thread;
        thread.start();
        QVERIFY(thread.wait(10000));
        QCOMPARE(takeLines(), QStringList{QStringLiteral("Producing C:0")});
    }

    void itSleepsAsLongAsTheRandomGeneratorSays()
    {
        constexpr unsigned seed = 7;
        std::srand(seed);
        const int sleep = std::rand() % 3000 + 1;
        std::srand(seed);
        MyThread thread(QStringLiteral("D"));
        g_threadToStop = &thread;
        QElapsedTimer timer;
        timer.start();
        thread.start();
        QVERIFY(thread.wait(sleep + 10000));
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
