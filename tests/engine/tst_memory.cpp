#include "engine/browser/memory.h"
#include "engine/job/failure.h"

#include <QProcess>
#include <QTest>

#include <memory>
#include <unistd.h>
#include <vector>

using namespace Qt::StringLiterals;

class MemoryTest : public QObject
{
    Q_OBJECT

private slots:
    void processesMayEndWhileTheyAreLookedAt();
    void aLargeRendererIsKilledAlone();
    void aLargeBrowserIsKilledWithAllItsProcesses();
};

void MemoryTest::processesMayEndWhileTheyAreLookedAt()
{
    std::vector<std::unique_ptr<QProcess>> shells;
    for (int i = 0; i < 4; ++i) {
        shells.push_back(std::make_unique<QProcess>());
        shells.back()->start(u"sh"_s, {u"-c"_s, u"while :; do (:); done"_s});
        QVERIFY(shells.back()->waitForStarted());
    }
    struct Watched {
        MemoryWatch watch{::getpid(), 1};
        WatchedJob job{watch};
    };
    std::vector<std::unique_ptr<Watched>> watched(40);
    for (std::unique_ptr<Watched> &one : watched)
        one = std::make_unique<Watched>();
    // Some hundred looks at processes of which each lives for about a millisecond.
    QTest::qWait(3000);
    for (const auto &one : watched)
        QCOMPARE(one->watch.rendererKills(), 0);
    watched.clear();
    for (const auto &shell : shells) {
        shell->kill();
        shell->waitForFinished();
    }
}

/// A process that holds so many megabytes, and for a moment twice as many, until its input ends.
std::unique_ptr<QProcess> largeProcess(int megabytes, const QStringList &arguments = {})
{
    auto shell = std::make_unique<QProcess>();
    shell->start(
        u"sh"_s,
        QStringList{u"-c"_s,
                    u"x=$(head -c $((%1 * 1000000)) /dev/zero | tr '\\0' x); read line"_s.arg(megabytes),
                    u"large"_s} +
            arguments);
    shell->waitForStarted();
    return shell;
}

void MemoryTest::aLargeRendererIsKilledAlone()
{
    // Processes other than renderers get an additional allowance.
    const auto other = largeProcess(110);
    const auto renderer = largeProcess(300, {u"--type=renderer"_s});
    MemoryWatch watch(::getpid(), 100);
    const WatchedJob job(watch);
    QVERIFY(renderer->waitForFinished(20000));
    QCOMPARE(watch.rendererKills(), 1);
    const Failure failure = job.withReason(Failure(ExitCode::Crashed, u"x"_s), u"page"_s);
    QVERIFY2(failure.message().contains(u"100 MiB"_s), failure.what());
    QVERIFY(failure.isFinal());
    QCOMPARE(job.withReason(Failure(ExitCode::NotLoaded, u"x"_s), u"page"_s).message(), u"x"_s);
    QVERIFY(!watch.killedBrowser());
    QCOMPARE(other->state(), QProcess::Running);
    other->kill();
    other->waitForFinished();
}

void MemoryTest::aLargeBrowserIsKilledWithAllItsProcesses()
{
    QProcess small;
    small.start(u"sleep"_s, {u"60"_s});
    QVERIFY(small.waitForStarted());
    const auto large = largeProcess(300);
    MemoryWatch watch(::getpid(), 100);
    const WatchedJob job(watch);
    QVERIFY(large->waitForFinished(20000));
    QVERIFY(small.waitForFinished(20000));
    QVERIFY(watch.killedBrowser());
    const Failure failure = job.withReason(Failure(ExitCode::Crashed, u"x"_s), u"page"_s);
    QVERIFY2(failure.message().contains(u"100 MiB"_s), failure.what());
    // It may have been another job's page.
    QVERIFY(!failure.isFinal());
}

QTEST_GUILESS_MAIN(MemoryTest)
#include "tst_memory.moc"
