#include "engine/convert.h"

#include "engine/output.h"
#include "engine/render.h"
#include "engine/server/client.h"

qsizetype convert(const Job &job)
{
    checkOutput(job.output);
    const Order order{job, resolveInput(job.input), Deadline::in(job.timeout)};
    std::optional<QByteArray> pdf = renderOnServer(order);
    if (!pdf)
        pdf = renderAlone(order);
    writeOutput(job.output, *pdf);
    return pdf->size();
}
