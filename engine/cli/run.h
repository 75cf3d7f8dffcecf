#pragma once

#include "engine/job/invocation.h"
#include "engine/job/order.h"

/// The whole program: does what the invocation asks for and returns the exit code.
/// Every failure of a job becomes one line on standard error, one in the log, and its exit code here.
int runCommandLine(const Invocation &invocation);

/// For the server: the order that an engine called so has. Throws Failure; std::runtime_error if it has none.
Order orderFrom(const Invocation &invocation);
