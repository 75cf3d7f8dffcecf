#pragma once

#include "engine/base/invocation.h"
#include "engine/convert/convert.h"

#include <optional>

/// The whole program: does what the invocation asks for and returns the exit code.
/// Every failure of a job becomes one line on standard error, one in the log, and its exit code here.
int runCommandLine(const Invocation &invocation, UseServer useServer = UseServer::Yes);

/// The job that the invocation asks for; nothing if there is none, or if it is refused.
std::optional<Job> jobFrom(const Invocation &invocation);
