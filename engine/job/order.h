#pragma once

#include "engine/base/deadline.h"
#include "engine/base/invocation.h"
#include "engine/job/input.h"
#include "engine/job/job.h"

/// A job on its way: what is to be opened has been looked up, and its time runs.
struct Order {
    Job job;
    Address address;
    Deadline deadline;
};

/// What the browser is to open for the job. Throws Failure as resolveInput() and resolveBase() do.
inline Address addressOf(const Job &job)
{
    return job.document ? resolveBase(job.baseUrl, job.folder) : resolveInput(job.input, job.folder);
}

/// The order for the job that the invocation asks for. Throws Failure as addressOf() does.
inline Order orderOf(const Invocation &invocation, const Job &job)
{
    return {job, addressOf(job), Deadline::after(invocation.begun, job.timeout)};
}
