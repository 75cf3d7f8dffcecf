#pragma once

#include "engine/browser/input.h"
#include "engine/deadline.h"
#include "engine/job.h"

/// A job on its way: what is to be opened has been looked up, and its time runs.
struct Order {
    Job job;
    Address address;
    Deadline deadline;
};
