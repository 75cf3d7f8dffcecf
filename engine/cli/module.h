#pragma once

#include <cstddef>

// What the engine's module offers to the program that loads it.

/// Does what the engine is called for, by `order` (see engine/client/message.h) and, unless `serverTried`, on
/// the warm server if possible. Returns the exit code.
using RunEngine = int (*)(int argc, char **argv, const char *order, size_t size, bool serverTried);
inline constexpr char runEngineName[] = "runEngine";

/// Serves orders until there is nothing to do. Returns the exit code.
using ServeOrders = int (*)(int argc, char **argv);
inline constexpr char serveOrdersName[] = "serveOrders";
