#include "tests/engine/serverfixture.h"
#include "tests/support/waiting.h"

#include <QElapsedTimer>
#include <QTest>

#include <csignal>
#include <thread>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

/// Many engines of one warm server, also around its beginning and its end.
class ServerCrowdTest : public ServerFixture
{
    Q_OBJECT

private slots:
    void nothingPilesUp();
    void endedAtItsBeginning();
    void manyEnginesAtOnce();
    void manyEnginesAtItsEnd();
};

void ServerCrowdTest::nothingPilesUp()
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

void ServerCrowdTest::endedAtItsBeginning()
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

void ServerCrowdTest::manyEnginesAtOnce()
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

void ServerCrowdTest::manyEnginesAtItsEnd()
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

QTEST_GUILESS_MAIN(ServerCrowdTest)
#include "tst_servercrowd.moc"
