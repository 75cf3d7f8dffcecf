#pragma once

#include "engine/job/invocation.h"
#include "engine/job/order.h"

#include <string>

/// Makes an order of how an engine was called. Throws if it asks for no job, or for one that is refused.
using OrderReader = Order (*)(const Invocation &invocation);

/// The warm server's whole life: takes orders from engines of the same user over the listening socket
/// `listening`, does as many at a time as there are cores, keeps the others waiting, and returns when nothing
/// has come for `idleSeconds`, or at SIGTERM. An engine that goes away cancels its order. `executable` is the
/// program that runs here. Returns the exit code; 1 if the socket is not the one by which this program is
/// met.
int runServer(int listening, const std::string &executable, int idleSeconds, OrderReader readOrder);
