#pragma once

#include <string>
#include <string_view>

/// The engine's log: one line per job, so that a user who sees only "Failed" in the window finds the reason.
/// It is in the user's state folder, readable by its owner alone, and keeps at most about one megabyte.

/// $XDG_STATE_HOME/quirelle/engine.log, by default ~/.local/state/quirelle/engine.log; on macOS
/// ~/Library/Logs/quirelle/engine.log.
std::string logPath();

/// Appends `line` with the time in front of it. Errors are ignored, also if the path is not a regular file.
void appendToLog(std::string_view line);
