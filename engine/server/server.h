#pragma once

#include "engine/base/descriptor.h"
#include "engine/base/invocation.h"
#include "engine/job/job.h"

#include <optional>
#include <string>

/// The job of a command line; nothing if it asks for something else (--help) or is refused.
using JobReader = std::optional<Job> (*)(const Invocation &invocation);

/// Runs the warm server: accepts orders from engines of the same user on the socket `listening`, does as many
/// jobs at a time as there are cores and queues the others. An engine that disconnects cancels its order.
/// Returns after `idleSeconds` without a client, or after SIGTERM. `executable` is the path of this program.
/// The result is the exit code: 1 if the socket is not at the endpoint of this program, or the system has no
/// descriptors or threads left.
int runServer(Descriptor listening, const std::string &executable, int idleSeconds, JobReader readJob);
