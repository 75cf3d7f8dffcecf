#pragma once

#include "engine/base/invocation.h"
#include "engine/job/job.h"

#include <optional>
#include <string>

/// The job that an engine is called for; nothing if there is none, or if the command line is refused.
using JobReader = std::optional<Job> (*)(const Invocation &invocation);

/// The warm server's whole life: takes orders from engines of the same user over the listening socket
/// `listening`, does as many at a time as there are cores, keeps the others waiting, and returns when nothing
/// has come for `idleSeconds`, or at SIGTERM. An engine that goes away cancels its order. `executable` is the
/// program that runs here. Returns the exit code; 1 if the socket is not the one by which this program is
/// met.
int runServer(int listening, const std::string &executable, int idleSeconds, JobReader readJob);
