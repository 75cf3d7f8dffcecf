#pragma once

#include "engine/base/invocation.h"
#include "engine/cli/options.h"
#include "engine/job/job.h"

#include <variant>

/// What a command line asks for.
using Request = std::variant<Job, Answer>;

/// Reads the command line. A value is the next argument, whatever it begins with; of an option given twice
/// the last one holds, unless it is repeatable; "--" ends the options.
/// Variables of the environment hold for options that are not among the arguments. Throws
/// Failure(BadArguments) naming the argument that is unknown, lacks its value, has a bad one or is not valid
/// UTF-8, or the input or output that is missing or too much.
Request parseCommandLine(const Invocation &invocation);
