#pragma once

#include "engine/base/deadline.h"
#include "engine/job/files.h"
#include "engine/job/input.h"
#include "engine/job/job.h"

#include <utility>

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

/// The order for the job, with its files read. Throws Failure as readFiles() and addressOf() do.
inline Order orderOf(Job job, Deadline deadline)
{
    readFiles(job);
    const Address address = addressOf(job);
    return {std::move(job), address, deadline};
}
