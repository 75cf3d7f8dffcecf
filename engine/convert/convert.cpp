#include "engine/convert/convert.h"

#include "engine/job/output.h"
#include "engine/server/client.h"

qsizetype convert(const Job &job, const ActivityListener &listener)
{
    checkOutput(job.output);
    const Order order{job, resolveInput(job.input), Deadline::in(job.timeout)};
    std::optional<QByteArray> pdf = renderOnServer(order, listener);
    if (!pdf)
        pdf = renderAlone(order, listener);
    writeOutput(job.output, *pdf);
    return pdf->size();
}
