#include "engine/job/failure.h"
#include "engine/server/browserpool.h"
#include "tests/support/processes.h"
#include "tests/support/stress.h"
#include "tests/support/waiting.h"

#include <QElapsedTimer>
#include <QTest>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <future>
#include <set>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace
{

LaunchFlags withMinimumFont(int pixels)
{
    LaunchFlags flags;
    flags.minimumFontPixels = pixels;
    return flags;
}

/// Starts browsers with so many pages ready.
BrowserPool::Starter keeping(size_t spares, const BrowserLimits &limits = {})
{
    return [=](const LaunchFlags &flags) { return std::make_shared<PooledBrowser>(flags, spares, limits); };
}

/// The process of this id.
ProcessInfo guardOf(const PooledBrowser &browser)
{
    for (const ProcessInfo &process : descendantsOf(::getpid())) {
        if (process.id == browser.guardProcess())
            return process;
    }
    return {};
}

/// Takes a page and gives it up, as a job does.
void doJob(PooledBrowser &browser)
{
    {
        const std::unique_ptr<Page> page = browser.takePage(std::nullopt, Deadline::in(20s));
    }
    browser.finishJob();
}

ExitCode codeOf(PooledBrowser &browser, Deadline deadline)
{
    try {
        browser.takePage(std::nullopt, deadline);
    } catch (const Failure &failure) {
        return failure.code();
    }
    return ExitCode::Written;
}

/// The text of an HTML page printed by this browser, as far as its PDF is one.
QByteArray printed(PooledBrowser &browser)
{
    const std::unique_ptr<Page> page = browser.takePage(std::nullopt, Deadline::in(20s));
    JobRecord record;
    page->load({Job(), Address{u"about:blank"_s, u"about:blank"_s, false, {}, {}}, Deadline::in(20s)},
               record);
    return page->print(Job()).left(4);
}

} // namespace

/// Which browser does a job, and for how long.
class BrowserPoolTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void oneBrowserForJobsInARow();
    void jobsAtATimeHaveABrowserEach();
    void theOneUsedLeastIsGivenUp();
    void unusedOnesEnd();
    void aPageIsMadeReadyAheadOfItsJob();
    void theNextIsMadeReadyWhileOneIsPrinted();
    void pagesAreNeverGivenTwice();
    void afterSoManyJobsANewOneTakesOver();
    void afterACrashANewOneTakesOver();
    void oneThatHasGrownIsReplaced();
    void memoryIsThatOfAllItsProcesses();
    void aBrowserThatCannotStart();
    void aBrowserThatSaysNothing();
    void oneThatHangsIsReplacedAtOnce();
    void aPageOfOneThatHangsCannotBeClosed();
    void whileOneStartsOthersCanBeHad();
    void aFailedStartIsTold();
    void cleanup();
};

void BrowserPoolTest::initTestCase()
{
    // As in the engine: a browser that has gone shows in the result of a write.
    std::signal(SIGPIPE, SIG_IGN);
}

void BrowserPoolTest::cleanup()
{
    QVERIFY2(waitUntil([] { return descendantsOf(::getpid()).isEmpty(); }), "processes are left");
}

void BrowserPoolTest::oneBrowserForJobsInARow()
{
    BrowserPool pool(keeping(1));
    const auto guardFor = [&](const LaunchFlags &flags) { return pool.take(flags)->guardProcess(); };
    const int usual = guardFor({});
    QCOMPARE(guardFor({}), usual);
    const int large = guardFor(withMinimumFont(40));
    QVERIFY(large != usual);
    QCOMPARE(guardFor(withMinimumFont(40)), large);
    QCOMPARE(guardFor({}), usual);
    LaunchFlags noImages;
    noImages.images = false;
    LaunchFlags noScripts;
    noScripts.javaScript = false;
    const int without = guardFor(noScripts);
    QVERIFY(without != usual);
    QVERIFY(guardFor(noImages) != without);
}

void BrowserPoolTest::jobsAtATimeHaveABrowserEach()
{
    BrowserPool pool(keeping(1));
    auto first = pool.take({});
    const auto second = pool.take({});
    QVERIFY(first->guardProcess() != second->guardProcess());
    const int freed = first->guardProcess();
    first.reset();
    QCOMPARE(pool.take({})->guardProcess(), freed);
}

void BrowserPoolTest::theOneUsedLeastIsGivenUp()
{
    BrowserPool pool(keeping(1));
    QList<ProcessInfo> guards;
    for (const int pixels : {0, 10, 20})
        guards += guardOf(*pool.take(withMinimumFont(pixels)));
    QCOMPARE(guardOf(*pool.take({})), guards[0]);
    pool.take(withMinimumFont(30));
    QVERIFY(waitUntil([&] { return !isRunning(guards[1]); }));
    QCOMPARE(guardOf(*pool.take({})), guards[0]);
    QCOMPARE(guardOf(*pool.take(withMinimumFont(20))), guards[2]);
}

void BrowserPoolTest::unusedOnesEnd()
{
    BrowserPool pool(keeping(1), {3, 1s});
    const ProcessInfo unused = guardOf(*pool.take(withMinimumFont(40)));
    QVERIFY(waitUntil([&] {
        pool.take({});
        return !isRunning(unused);
    }));
}

void BrowserPoolTest::aPageIsMadeReadyAheadOfItsJob()
{
    PooledBrowser browser({}, 1);
    // With a deadline that has passed, only a page that is ready can be taken.
    for (int i = 0; i < 3; ++i)
        QVERIFY(waitUntil([&] { return codeOf(browser, Deadline::in(0s)) == ExitCode::Written; }));
}

void BrowserPoolTest::theNextIsMadeReadyWhileOneIsPrinted()
{
    PooledBrowser browser({}, 1);
    const auto renderers = [&] {
        const QList<ProcessInfo> all = descendantsOf(browser.guardProcess());
        return std::count_if(all.begin(), all.end(), [](const ProcessInfo &process) {
            return commandLineOf(process).contains("--type=renderer");
        });
    };
    const std::unique_ptr<Page> page = browser.takePage(std::nullopt, Deadline::in(20s));
    const auto before = renderers();
    QTest::qWait(300);
    QCOMPARE(renderers(), before);
    browser.notePrinting();
    QVERIFY(waitUntil([&] { return renderers() > before; }));
}

void BrowserPoolTest::pagesAreNeverGivenTwice()
{
    PooledBrowser browser({}, 2);
    std::vector<std::unique_ptr<Page>> pages;
    std::set<Page *> different;
    for (int i = 0; i < 5; ++i) {
        pages.push_back(browser.takePage(std::nullopt, Deadline::in(20s)));
        different.insert(pages.back().get());
    }
    QCOMPARE(different.size(), pages.size());
}

void BrowserPoolTest::afterSoManyJobsANewOneTakesOver()
{
    SKIP_STRESS();
    BrowserPool pool(keeping(1));
    const ProcessInfo first = guardOf(*pool.take({}));
    for (int job = 0; job < 199; ++job)
        doJob(*pool.take({}));
    QCOMPARE(guardOf(*pool.take({})), first);
    doJob(*pool.take({}));
    const auto next = pool.take({});
    QVERIFY(!(guardOf(*next) == first));
    QVERIFY(waitUntil([&] { return !isRunning(first); }));
    QCOMPARE(printed(*next), QByteArray("%PDF"));
}

void BrowserPoolTest::afterACrashANewOneTakesOver()
{
    BrowserPool pool(keeping(1));
    auto first = pool.take({});
    QCOMPARE(printed(*first), QByteArray("%PDF"));
    const ProcessInfo main = browsersIn(descendantsOf(first->guardProcess())).value(0);
    QVERIFY(main.id > 0);
    ::kill(static_cast<pid_t>(main.id), SIGKILL);
    QVERIFY(waitUntil([&] { return first->needsReplacement(); }));
    const int ended = first->guardProcess();
    first.reset();
    const auto next = pool.take({});
    QVERIFY(next->guardProcess() != ended);
    QCOMPARE(printed(*next), QByteArray("%PDF"));
}

void BrowserPoolTest::oneThatHasGrownIsReplaced()
{
    BrowserPool pool(keeping(1, {200, 1}));
    auto first = pool.take({});
    for (int job = 0; job < 10; ++job) {
        QVERIFY(!first->needsReplacement());
        doJob(*first);
    }
    QVERIFY(waitUntil([&] { return first->needsReplacement(); }));
    const int ended = first->guardProcess();
    first.reset();
    QVERIFY(pool.take({})->guardProcess() != ended);
}

void BrowserPoolTest::memoryIsThatOfAllItsProcesses()
{
    PooledBrowser browser({}, 1);
    QCOMPARE(printed(browser), QByteArray("%PDF"));
    const auto sum = [&] {
        long long bytes = 0;
        for (const ProcessInfo &process :
             descendantsOf(browser.guardProcess()) + QList{ProcessInfo{browser.guardProcess()}}) {
            std::ifstream statm("/proc/" + std::to_string(process.id) + "/statm");
            long long size = 0;
            long long resident = 0;
            long long shared = 0;
            statm >> size >> resident >> shared;
            bytes += (resident - shared) * ::sysconf(_SC_PAGESIZE);
        }
        return bytes;
    };
    // A tenth: pages come and go.
    const auto nearly = [](long long one, long long other) { return std::abs(one - other) * 10 < other; };
    QVERIFY2(waitUntil([&] { return nearly(memoryOfTree(browser.guardProcess()), sum()); }, 5s),
             qPrintable(u"%1 instead of %2"_s.arg(memoryOfTree(browser.guardProcess())).arg(sum())));
    QVERIFY(sum() > 10 << 20);
}

void BrowserPoolTest::aBrowserThatCannotStart()
{
    qputenv("QUIRELLE_BROWSER", "/bin/false");
    BrowserPool pool(keeping(1));
    auto browser = pool.take({});
    qunsetenv("QUIRELLE_BROWSER");
    QCOMPARE(codeOf(*browser, Deadline::in(20s)), ExitCode::NoBrowser);
    QVERIFY(browser->needsReplacement());
    browser.reset();
    QCOMPARE(printed(*pool.take({})), QByteArray("%PDF"));
}

void BrowserPoolTest::aBrowserThatSaysNothing()
{
    BrowserLimits limits;
    limits.pageTimeout = 2s;
    BrowserPool pool(keeping(1, limits));
    const auto browser = pool.take({});
    QCOMPARE(codeOf(*browser, Deadline::in(20s)), ExitCode::Written);
    const ProcessInfo main = browsersIn(descendantsOf(browser->guardProcess())).value(0);
    QVERIFY(main.id > 0);
    ::kill(static_cast<pid_t>(main.id), SIGSTOP);
    QVERIFY(waitUntil([&] { return codeOf(*browser, Deadline::in(0s)) == ExitCode::OutOfTime; }));
    // The job's own time.
    QCOMPARE(codeOf(*browser, Deadline::in(100ms)), ExitCode::OutOfTime);
    // That of the making: the browser's fault.
    QCOMPARE(codeOf(*browser, Deadline::in(60s)), ExitCode::Crashed);
    QVERIFY(browser->needsReplacement());
}

void BrowserPoolTest::oneThatHangsIsReplacedAtOnce()
{
    BrowserPool pool(keeping(3));
    auto first = pool.take({});
    QCOMPARE(printed(*first), QByteArray("%PDF"));
    ::kill(static_cast<pid_t>(browsersIn(descendantsOf(first->guardProcess())).value(0).id), SIGSTOP);
    // Taking the last page makes the browser start a new one, which will fail.
    for (int i = 0; i < 4; ++i)
        codeOf(*first, Deadline::in(100ms));
    first->markUnresponsive();
    QVERIFY(first->needsReplacement());
    first.reset();
    QElapsedTimer timer;
    timer.start();
    const auto next = pool.take({});
    QVERIFY2(timer.elapsed() < 5000, qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(printed(*next), QByteArray("%PDF"));
}

void BrowserPoolTest::aPageOfOneThatHangsCannotBeClosed()
{
    PooledBrowser browser({}, 2);
    const auto first = browser.takePage(std::nullopt, Deadline::in(20s));
    const auto second = browser.takePage(std::nullopt, Deadline::in(20s));
    QVERIFY(first->closeWithin(20s));
    const ProcessInfo main = browsersIn(descendantsOf(browser.guardProcess())).value(0);
    ::kill(static_cast<pid_t>(main.id), SIGSTOP);
    QVERIFY(!second->closeWithin(100ms));
}

void BrowserPoolTest::whileOneStartsOthersCanBeHad()
{
    std::promise<void> goOn;
    std::promise<void> starting;
    BrowserPool pool([&](const LaunchFlags &flags) {
        if (flags.minimumFontPixels > 0) {
            starting.set_value();
            goOn.get_future().wait();
        }
        return std::make_shared<PooledBrowser>(flags, 1);
    });
    const int usual = pool.take({})->guardProcess();
    auto slow = std::async(std::launch::async, [&] { return pool.take(withMinimumFont(40)); });
    starting.get_future().wait();
    auto other = std::async(std::launch::async, [&] { return pool.take({})->guardProcess(); });
    const bool isThere = other.wait_for(20s) == std::future_status::ready;
    goOn.set_value();
    QVERIFY(isThere);
    QCOMPARE(other.get(), usual);
    slow.get();
}

void BrowserPoolTest::aFailedStartIsTold()
{
    int starts = 0;
    BrowserPool pool([&](const LaunchFlags &flags) -> std::shared_ptr<PooledBrowser> {
        if (++starts == 1)
            throw Failure(ExitCode::NoBrowser, u"none"_s);
        return std::make_shared<PooledBrowser>(flags, 1);
    });
    QVERIFY_THROWS_EXCEPTION(Failure, pool.take({}));
    QCOMPARE(printed(*pool.take({})), QByteArray("%PDF"));
}

QTEST_GUILESS_MAIN(BrowserPoolTest)
#include "tst_browserpool.moc"
