#include "engine/convert/convert.h"

#include "engine/job/output.h"
#include "engine/server/client.h"

qsizetype convert(const Invocation &invocation, const Job &job, const ActivityListener &listener)
{
    checkOutput(job.output);
    const Order order = orderOf(invocation, job);
    std::optional<QByteArray> pdf = renderOnServer(invocation, order.deadline, listener);
    if (!pdf)
        pdf = renderAlone(order, listener);
    writeOutput(job.output, *pdf);
    return pdf->size();
}
