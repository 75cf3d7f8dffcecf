#include "engine/convert.h"

#include "engine/browser/browser.h"
#include "engine/browser/page.h"
#include "engine/output.h"
#include "engine/pdf/finish.h"

namespace
{

QByteArray printed(const Job &job)
{
    const Deadline deadline = Deadline::in(job.timeout);
    Browser browser(launchFlagsFor(job));
    try {
        Page page(browser.connection(), job.proxy, deadline);
        page.load(job);
        return page.print(job);
    } catch (const Failure &failure) {
        throw browser.explained(failure);
    }
}

} // namespace

qsizetype convert(const Job &job)
{
    checkOutput(job.output);
    const QByteArray pdf = finishPdf(printed(job), job);
    writeOutput(job.output, pdf);
    return pdf.size();
}
