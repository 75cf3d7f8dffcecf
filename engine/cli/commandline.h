#pragma once

#include "engine/cli/options.h"
#include "engine/job/invocation.h"
#include "engine/job/job.h"

#include <variant>
#include <vector>

/// What a command line asks for.
using Request = std::variant<Job, Answer>;

/// Reads the command line. A value is the next argument, whatever it begins with; of an option given twice
/// the last one holds, unless it is repeatable; "--" ends the options. Throws Failure(BadArguments) naming
/// the argument that is unknown, lacks its value, has a bad one or is not valid UTF-8, or the input or output
/// that is missing or too much.
Request parseCommandLine(const Invocation &invocation);

/// For each of the arguments whether it may hold a secret, which no list of processes is to show: the values
/// of the options for names, passwords and proxies, also when joined to the option, and addresses with a name
/// in them.
std::vector<bool> haveSecrets(const std::vector<std::string> &arguments);
