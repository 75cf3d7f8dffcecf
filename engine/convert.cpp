#include "engine/convert.h"

#include "engine/browser/browser.h"
#include "engine/browser/page.h"
#include "engine/failure.h"
#include "engine/output.h"
#include "engine/pdf/finish.h"

namespace
{

QByteArray printed(const Job &job, const ActivityListener &listener)
{
    const QString shown = withoutCredentials(job.input);
    const Deadline deadline = Deadline::in(job.timeout);
    listener(QStringLiteral("starting the browser"));
    Browser browser(launchFlagsFor(job));
    try {
        Page page(browser.connection(), job.proxy, deadline);
        listener(QStringLiteral("loading %1").arg(shown));
        page.load(job);
        listener(QStringLiteral("printing %1").arg(shown));
        return page.print(job);
    } catch (const Failure &failure) {
        throw browser.explained(failure);
    }
}

} // namespace

qsizetype convert(const Job &job, const ActivityListener &listener)
{
    checkOutput(job.output);
    const QByteArray print = printed(job, listener);
    listener(QStringLiteral("finishing the PDF"));
    const QByteArray pdf = finishPdf(print, job);
    writeOutput(job.output, pdf);
    return pdf.size();
}
