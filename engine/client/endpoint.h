#pragma once

#include <optional>
#include <string>

/// Where the warm server of this build, user and environment is met.
struct Endpoint {
    std::string socket;
    /// Held locked by the server for as long as it lives.
    std::string lock;
};

/// What is done if there is no server.
enum class IfNone { Start, GiveUp };

/// The place for the engine at `executable`, its folder made if a server is to be started there: below
/// XDG_RUNTIME_DIR, else below the temporary folder, or the system's own if that has too long a path. Its
/// name tells builds of the engine apart, and environments, groups and namespaces in which a browser would
/// behave differently. Nothing if there is no folder that belongs to this user and is closed to all others.
std::optional<Endpoint> findEndpoint(const std::string &executable, IfNone ifNone);

/// Removes both files, and their folder if nothing else is in it. For who holds the lock on the descriptor
/// `lock`; if another file lies in the lock's place by now, all of it is somebody else's and stays.
void removeEndpoint(const Endpoint &endpoint, int lock);

/// Whether the process at the other end of this connected socket belongs to this user.
bool peerIsSameUser(int socket);

/// How long a server stays without work: QUIRELLE_IDLE_SECONDS, by default 30; 0 means that there shall be
/// none.
int idleSeconds();
