#pragma once

#include "engine/base/deadline.h"

#include <string>
#include <utility>
#include <vector>

/// How the program was called. A job is made of this, by the engine itself or by its server.
struct Invocation {
    /// Without the program's name.
    std::vector<std::string> arguments;
    /// Names and values of the environment variables that stand for options.
    std::vector<std::pair<std::string, std::string>> variables;
    /// The working folder, where relative paths begin; empty if it has been removed.
    std::string folder;
    /// The job's time runs from here on.
    Deadline::Clock::time_point begun;
};
