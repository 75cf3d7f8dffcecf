#pragma once

#include "engine/base/invocation.h"
#include "engine/cli/options.h"
#include "engine/job/joining.h"

#include <variant>

/// What a command line asks for.
using Request = std::variant<Job, Joining, Answer>;

/// Parses the command line. An option's value is the next argument, whatever it begins with. If an option is
/// given twice, the last value counts, unless the option is repeatable. "--" ends the options. Environment
/// variables apply to options that are not among the arguments. Throws Failure(BadArguments) naming the
/// argument that is unknown, lacks a value, has a bad value or is not valid UTF-8, or saying that an input or
/// output is missing.
Request parseCommandLine(const Invocation &invocation);
