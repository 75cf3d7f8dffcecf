#pragma once

#include "engine/job/deadline.h"

#include <string>
#include <vector>

/// How the program was called. A job is made of this, by the engine itself or by its server.
struct Invocation {
    /// Without the program's name.
    std::vector<std::string> arguments;
    /// The working folder, where relative paths begin; empty if it has been removed.
    std::string folder;
    /// The job's time runs from here on.
    Deadline::Clock::time_point begun;
};
