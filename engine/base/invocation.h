#pragma once

#include "engine/base/deadline.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

/// The time of everything in the PDF, in seconds since 1970, so that the same input gives the same bytes.
/// Taken from the environment like the variables that stand for options.
inline constexpr char fixedTimeVariable[] = "SOURCE_DATE_EPOCH";

/// In bytes. With more, its message to the browser would be larger than browsers take.
inline constexpr size_t maximumDocument = 64 << 20;

/// How the program was called. The engine or its server makes a job of it.
struct Invocation {
    /// Without the program's name.
    std::vector<std::string> arguments;
    /// Names and values of the environment variables that stand for options, and of `fixedTimeVariable`.
    std::vector<std::pair<std::string, std::string>> variables;
    /// The working folder, which relative paths start from; empty if it has been removed.
    std::string folder;
    /// When the job's timeout starts.
    Deadline::Clock::time_point begun;
    /// The one input is one of several, whose PDFs are to be joined.
    bool isPart = false;
    /// What standard input had to give, if that is the input.
    std::optional<std::string> document = {};
};
