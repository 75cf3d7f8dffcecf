#pragma once

#include <cstddef>

// The functions that the engine's module exports to the small program.

/// Runs the command line in `order` (see engine/client/message.h), on the warm server if possible unless
/// `serverTried`. Returns the exit code.
using RunEngine = int (*)(int argc, char **argv, const char *order, size_t size, bool serverTried);
inline constexpr char runEngineName[] = "runEngine";

/// Runs the warm server, see runServer(). Returns the exit code.
using ServeOrders = int (*)(int argc, char **argv);
inline constexpr char serveOrdersName[] = "serveOrders";
