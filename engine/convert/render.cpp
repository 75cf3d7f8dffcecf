#include "engine/convert/render.h"

#include "engine/browser/browser.h"
#include "engine/finish/finish.h"
#include "engine/page/printing.h"

#include <memory>

namespace
{

QByteArray printedBy(Browser &browser, const Order &order, const ActivityListener &listener,
                     JobRecord &record, Cancellation &cancellation)
{
    const WatchedJob watched(browser.memory());
    try {
        const std::unique_ptr<Page> page =
            order.job.proxy ? std::make_unique<Page>(browser, order.job.proxy, order.deadline)
                            : std::make_unique<Page>(browser, order.deadline);
        // Destroyed before the page, so that cancel() cannot use a page that is gone.
        const struct Registered {
            Cancellation &cancellation;
            ~Registered() { cancellation.removePage(); }
        } registered{cancellation};
        cancellation.setPage(page.get());
        QByteArray printed = printPage(*page, order, record, listener);
        // Its end takes longer than the edits do.
        browser.end();
        return printed;
    } catch (const Failure &failure) {
        throw watched.withReason(browser.withReason(failure), order.address.shown);
    }
}

} // namespace

QByteArray renderAlone(const Order &order, const ActivityListener &listener, JobRecord &record,
                       Cancellation &cancellation)
{
    listener("starting the browser");
    Browser browser(launchFlagsFor(order.job), order.job.proxy ? FirstPage::None : FirstPage::Blank);
    // While it starts.
    loadPdfEdits();
    const QByteArray printed = printedBy(browser, order, listener, record, cancellation);
    listener("finishing the PDF");
    return finishPdf(printed, order.job, record);
}
