#include "engine/convert/render.h"

#include "engine/browser/browser.h"
#include "engine/finish/finish.h"
#include "engine/page/page.h"

#include <memory>

namespace
{

QByteArray printedBy(Browser &browser, const Order &order, const ActivityListener &listener)
{
    const WatchedJob watched(browser.memory());
    try {
        const std::unique_ptr<Page> page =
            order.job.proxy ? std::make_unique<Page>(browser, order.job.proxy, order.deadline)
                            : std::make_unique<Page>(browser, order.deadline);
        listener("loading " + order.address.shown.toStdString());
        page->load(order);
        listener("printing " + order.address.shown.toStdString());
        QByteArray printed = page->print(order.job);
        // Its end takes longer than the edits do.
        browser.end();
        return printed;
    } catch (const Failure &failure) {
        throw watched.withReason(browser.withReason(failure), order.address.shown);
    }
}

} // namespace

QByteArray renderAlone(const Order &order, const ActivityListener &listener)
{
    listener("starting the browser");
    Browser browser(launchFlagsFor(order.job), order.job.proxy ? FirstPage::None : FirstPage::Blank);
    // While it starts.
    loadPdfEdits();
    const QByteArray printed = printedBy(browser, order, listener);
    listener("finishing the PDF");
    return finishPdf(printed, order.job);
}
