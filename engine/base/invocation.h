#pragma once

#include "engine/base/deadline.h"

#include <string>
#include <utility>
#include <vector>

/// The time of everything in the PDF, in seconds since 1970, so that the same input gives the same bytes.
/// Taken from the environment like the variables that stand for options.
inline constexpr char fixedTimeVariable[] = "SOURCE_DATE_EPOCH";

/// How the program was called. A job is made of this, by the engine itself or by its server.
struct Invocation {
    /// Without the program's name.
    std::vector<std::string> arguments;
    /// Names and values of the environment variables that stand for options, and of `fixedTimeVariable`.
    std::vector<std::pair<std::string, std::string>> variables;
    /// The working folder, where relative paths begin; empty if it has been removed.
    std::string folder;
    /// The job's time runs from here on.
    Deadline::Clock::time_point begun;
};
