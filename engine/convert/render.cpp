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
        listener(QStringLiteral("loading %1").arg(order.address.shown));
        page->load(order);
        listener(QStringLiteral("printing %1").arg(order.address.shown));
        QByteArray printed = page->print(order.job);
        // Its end takes longer than the edits do.
        browser.end();
        return printed;
    } catch (const Failure &failure) {
        throw watched.explained(browser.explained(failure), order.address.shown);
    }
}

} // namespace

QByteArray renderAlone(const Order &order, const ActivityListener &listener)
{
    listener(QStringLiteral("starting the browser"));
    Browser browser(launchFlagsFor(order.job), order.job.proxy ? FirstPage::None : FirstPage::Blank);
    // While it starts.
    loadPdfEdits();
    const QByteArray printed = printedBy(browser, order, listener);
    listener(QStringLiteral("finishing the PDF"));
    return finishPdf(printed, order.job);
}
