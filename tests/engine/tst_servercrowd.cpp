#include "tests/engine/serverfixture.h"
#include "tests/support/stress.h"
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
    struct Counts {
        qsizetype descriptors = 0;
        qsizetype processes = 0;
        bool operator==(const Counts &) const = default;
    };
    const auto counts = [&] { return Counts{openFilesOf(server).size(), descendantsOf(server.id).size()}; };
    work(5);
    // At rest: the same for two seconds.
    Counts before = counts();
    QElapsedTimer unchanged;
    unchanged.start();
    QVERIFY(waitUntil([&] {
        if (const Counts now = counts(); now != before) {
            before = now;
            unchanged.restart();
        }
        return unchanged.hasExpired(2000);
    }));
    work(30);
    const auto isAsBefore = [&] {
        const Counts now = counts();
        return now.descriptors <= before.descriptors && now.processes <= before.processes;
    };
    QVERIFY2(waitUntil(isAsBefore),
             qPrintable(u"%1 descriptors after %2, %3 processes after %4"_s.arg(counts().descriptors)
                            .arg(before.descriptors)
                            .arg(counts().processes)
                            .arg(before.processes)));
}

void ServerCrowdTest::endedAtItsBeginning()
{
    SKIP_STRESS();
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
    SKIP_STRESS();
    m_engine->setIdleSeconds(1);
    const QByteArrayList pages(4, "<p>one of many");
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
