#pragma once

#include "engine/client/endpoint.h"

enum class StartOutcome {
    Started,      ///< connections are taken from now on
    SomebodyElse, ///< another process is a server here, or is starting one, or is about to end
    Impossible,
};

/// Starts a server in the background: in a session of its own, with no descriptor, working folder or terminal
/// of this process. It listens already when this returns.
StartOutcome startServer(const Endpoint &endpoint, const std::string &executable);

/// The name that the server's process goes by, and is told from an engine by.
inline constexpr char serverName[] = "quirelle-server";
/// The descriptors that it finds its listening socket and its lock on.
inline constexpr int serverSocket = 3;
inline constexpr int serverLock = 4;
