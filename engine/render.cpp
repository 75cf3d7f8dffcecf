#include "engine/render.h"

#include "engine/browser/browser.h"
#include "engine/browser/page.h"
#include "engine/pdf/finish.h"

namespace
{

QByteArray printedBy(Browser &browser, const Order &order)
{
    try {
        Page page(browser.connection(), order.job.proxy, order.deadline);
        page.load(order);
        return page.print(order.job);
    } catch (const Failure &failure) {
        throw browser.explained(failure);
    }
}

} // namespace

QByteArray renderAlone(const Order &order)
{
    Browser browser(launchFlagsFor(order.job));
    const QByteArray printed = printedBy(browser, order);
    // Its end takes about as long as the edits do.
    browser.end();
    return finishPdf(printed, order.job);
}
