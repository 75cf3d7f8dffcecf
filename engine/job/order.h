#pragma once

#include "engine/job/deadline.h"
#include "engine/job/input.h"
#include "engine/job/invocation.h"
#include "engine/job/job.h"

#include <functional>

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

/// Is told what a job is doing, such as "printing page.html", whenever that changes.
using ActivityListener = std::function<void(const QString &activity)>;
