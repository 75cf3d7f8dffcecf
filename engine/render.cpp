#include "engine/render.h"

#include "engine/browser/browser.h"
#include "engine/browser/page.h"
#include "engine/pdf/finish.h"

QByteArray render(const Order &order, Page &page)
{
    page.load(order);
    return finishPdf(page.print(order.job), order.job);
}

QByteArray renderAlone(const Order &order)
{
    Browser browser(launchFlagsFor(order.job));
    try {
        Page page(browser.connection(), order.job.proxy, order.deadline);
        return render(order, page);
    } catch (const Failure &failure) {
        throw browser.explained(failure);
    }
}
