#pragma once

#include "engine/client/endpoint.h"

enum class StartOutcome {
    Started,      ///< it accepts connections from now on
    SomebodyElse, ///< another process holds the lock: a server, or an engine that is starting one
    Impossible,
};

/// Starts a server in the background: in its own session, without this process's descriptors, working folder
/// and terminal. Its socket is listening when this returns.
StartOutcome startServer(const Endpoint &endpoint, const std::string &executable);

/// The server's argv[0] and process name; by the former main() knows that it is to be a server.
inline constexpr char serverName[] = "quirelle-server";
/// The descriptors on which the server gets its listening socket and its lock.
inline constexpr int serverSocket = 3;
inline constexpr int serverLock = 4;
