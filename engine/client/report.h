#pragma once

#include "engine/base/exitcode.h"
#include "engine/base/invocation.h"

#include <string>

// The end of a job: a line in the log, for a failure also one on standard error, and the exit code, which
// these return. `name` is the job's, or "refused" for a command line.

int reportWritten(const Invocation &invocation, const std::string &name, size_t bytes);
int reportFailure(ExitCode code, const std::string &name, const std::string &message);
