#include "engine/page/whole.h"

Step nextStep(const PageFacts &page)
{
    using namespace std::chrono_literals;
    if (page.patienceIsOver)
        return Step::GiveUp;
    if (!page.isLoaded)
        return Step::AwaitLoad;
    if (!page.isPrepared)
        return Step::Prepare;
    if (page.requests > 0)
        return Step::AwaitRequests;

    const bool worksOn = page.workTime > longestWork;
    if (page.hasBegunLoading && page.quietLooks == 0 && !worksOn)
        return Step::Look;
    if (!page.hasRunScripts && !page.leadsOn)
        return page.hasChanged ? Step::Prepare : Step::Print;

    // Before time passes: what a page awaits from elsewhere must not come after its own timeouts. In real
    // time, timers keep it busy as well.
    const bool isTimerWork = page.isTimeReal && !page.hasBusyWorkers && page.workTime > firstWork;
    if (page.quietLooks == 0 && !worksOn && !isTimerWork)
        return Step::Look;
    // A page that asks to be printed says that it is whole.
    if (page.pageTimeLeft > 0ms && !page.asksForPrint && !worksOn)
        return Step::PassTime;
    if (page.quietLooks < 2 && !worksOn)
        return Step::Look;
    if (!page.isShown && !worksOn)
        return Step::Show;
    if (page.channelWait > 0ms)
        return Step::AwaitChannels;
    return page.hasChanged ? Step::Prepare : Step::Print;
}
