#pragma once

#include <optional>
#include <string>

/// The files of the warm server for this build, user and environment.
struct Endpoint {
    std::string socket;
    /// Locked by the server while it runs.
    std::string lock;
};

/// What to do if no server is running.
enum class IfNone { Start, GiveUp };

/// The endpoint for the engine at `executable`: below XDG_RUNTIME_DIR, else below the temporary folder, or
/// the system's if the path would be too long. The file names contain a hash of the engine's build and of the
/// environment, groups, limits and namespaces that a browser would inherit. The folder is created if a server
/// is to be started. Nothing if there is no folder that belongs to this user alone.
std::optional<Endpoint> findEndpoint(const std::string &executable, IfNone ifNone);

/// Removes both files, and their folder if it is empty then. The caller must hold the lock on the descriptor
/// `lock`. Does nothing if the lock file's path names another file by now: then another process owns the
/// files.
void removeEndpoint(const Endpoint &endpoint, int lock);

/// Whether the process at the other end of this connected socket belongs to this user.
bool peerIsSameUser(int socket);

/// After how long without a client a server ends: QUIRELLE_IDLE_SECONDS, by default 30; 0 disables servers.
int idleSeconds();
