#pragma once

#include "engine/job/deadline.h"
#include "engine/job/input.h"
#include "engine/job/job.h"

#include <functional>

/// A job on its way: what is to be opened has been looked up, and its time runs.
struct Order {
    Job job;
    Address address;
    Deadline deadline;
};

/// Is told what a job is doing, such as "printing page.html", whenever that changes.
using ActivityListener = std::function<void(const QString &activity)>;
