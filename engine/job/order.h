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

/// The order for the job that the invocation asks for. Throws Failure as resolveInput() does.
inline Order orderOf(const Invocation &invocation, const Job &job)
{
    return {job, resolveInput(job.input, job.folder), Deadline::after(invocation.begun, job.timeout)};
}
