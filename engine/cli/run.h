#pragma once

#include "engine/base/invocation.h"
#include "engine/convert/convert.h"

#include <optional>

/// Runs the command line and returns the exit code. A failure becomes one line on standard error and one in
/// the log.
int runCommandLine(const Invocation &invocation, UseServer useServer = UseServer::Yes);

/// The job of a command line; nothing if it asks for something else (--help), is refused, or needs the
/// process that was called: for several inputs, or for standard input that has not been read.
std::optional<Job> jobFrom(const Invocation &invocation);
