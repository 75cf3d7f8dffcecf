#include "engine/page/whole.h"

#include <QTest>

using namespace std::chrono_literals;

/// When a page is whole, one sentence a row.
class WholeTest : public QObject
{
    Q_OBJECT

private slots:
    void nextStepIs_data();
    void nextStepIs();
};

namespace
{

/// Loaded, without scripts, prepared.
PageFacts still()
{
    PageFacts page;
    page.isLoaded = true;
    page.isPrepared = true;
    return page;
}

/// With scripts that have done all they do.
PageFacts scripted()
{
    PageFacts page = still();
    page.hasRunScripts = true;
    page.isTimeReal = false;
    page.quietLooks = 2;
    page.isShown = true;
    return page;
}

} // namespace

void WholeTest::nextStepIs_data()
{
    QTest::addColumn<PageFacts>("page");
    QTest::addColumn<Step>("step");
    const auto row = [](const char *sentence, PageFacts page, Step step, auto change) {
        change(page);
        QTest::newRow(sentence) << page << step;
    };
    using F = PageFacts;
    row("a page is awaited until it is loaded", {}, Step::AwaitLoad, [](F &) {});
    row("a page that is not loaded in time is taken as it is", {}, Step::GiveUp,
        [](F &page) { page.patienceIsOver = true; });
    row("patience ends whatever goes on", scripted(), Step::GiveUp, [](F &page) {
        page.patienceIsOver = true;
        page.requests = 3;
    });
    row("a loaded page is prepared", still(), Step::Prepare, [](F &page) { page.isPrepared = false; });
    row("a page without scripts is printed at once", still(), Step::Print, [](F &) {});
    row("its requests are awaited", still(), Step::AwaitRequests, [](F &page) { page.requests = 1; });
    row("what has come in is prepared", still(), Step::Prepare, [](F &page) { page.hasChanged = true; });
    row("what its preparation sets going is looked for", still(), Step::Look,
        [](F &page) { page.hasBegunLoading = true; });
    row("once, if there is nothing", still(), Step::Print, [](F &page) {
        page.hasBegunLoading = true;
        page.quietLooks = 1;
    });
    row("a page without scripts that leads on is given time", still(), Step::PassTime, [](F &page) {
        page.leadsOn = true;
        page.quietLooks = 1;
        page.pageTimeLeft = 5s;
    });
    row("sockets that no script has opened are not waited for", still(), Step::Print,
        [](F &page) { page.channelWait = 500ms; });

    row("a page whose scripts have done all is printed", scripted(), Step::Print, [](F &) {});
    row("what a page with scripts awaits comes before its time passes", scripted(), Step::Look, [](F &page) {
        page.quietLooks = 0;
        page.pageTimeLeft = 5s;
    });
    row("its requests come before all", scripted(), Step::AwaitRequests, [](F &page) {
        page.quietLooks = 0;
        page.requests = 1;
        page.pageTimeLeft = 5s;
    });
    row("then its time passes", scripted(), Step::PassTime, [](F &page) {
        page.quietLooks = 1;
        page.pageTimeLeft = 5s;
        page.isShown = false;
    });
    row("one quiet look is not enough", scripted(), Step::Look, [](F &page) {
        page.quietLooks = 1;
        page.isShown = false;
    });
    row("then it is shown", scripted(), Step::Show, [](F &page) { page.isShown = false; });
    row("timers that keep it busy in real time do not hold up its own", scripted(), Step::PassTime,
        [](F &page) {
            page.isTimeReal = true;
            page.quietLooks = 0;
            page.workTime = 200ms;
            page.pageTimeLeft = 5s;
        });
    row("workers that keep it busy do", scripted(), Step::Look, [](F &page) {
        page.isTimeReal = true;
        page.hasBusyWorkers = true;
        page.quietLooks = 0;
        page.workTime = 200ms;
        page.pageTimeLeft = 5s;
    });
    row("a page that works without end is not followed for ever", scripted(), Step::Prepare, [](F &page) {
        page.quietLooks = 0;
        page.workTime = 11s;
        page.pageTimeLeft = 5s;
        page.isShown = false;
        page.hasChanged = true;
    });
    row("but for what servers may push", scripted(), Step::AwaitChannels,
        [](F &page) { page.channelWait = 100ms; });
    row("a page that has changed is prepared anew", scripted(), Step::Prepare,
        [](F &page) { page.hasChanged = true; });
    row("a page that asks to be printed gets no more time", scripted(), Step::Print, [](F &page) {
        page.asksForPrint = true;
        page.pageTimeLeft = 5s;
    });
    row("but what it loads", scripted(), Step::AwaitRequests, [](F &page) {
        page.asksForPrint = true;
        page.requests = 1;
    });
}

void WholeTest::nextStepIs()
{
    QFETCH(PageFacts, page);
    QFETCH(Step, step);
    QCOMPARE(static_cast<int>(nextStep(page)), static_cast<int>(step));
}

QTEST_GUILESS_MAIN(WholeTest)
#include "tst_whole.moc"
