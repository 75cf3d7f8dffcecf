#include "engine/job/job.h"

#include "engine/job/failure.h"

QString nameOf(const Job &job)
{
    return QStringLiteral("%1 -> %2").arg(onOneLine(withoutCredentials(job.input)), onOneLine(job.output));
}
