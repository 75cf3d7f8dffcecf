#pragma once

#include <string>
#include <string_view>

/// The engine's log: one line per job, so that a user who sees only "Failed" finds the reason. It lies in the
/// user's state folder, readable by its owner alone, and holds at most the last megabyte or so.

/// $XDG_STATE_HOME/quirelle/engine.log, by default ~/.local/state/quirelle/engine.log; on macOS
/// ~/Library/Logs/quirelle/engine.log.
std::string logPath();

/// Appends `line` with the time in front of it. Where that cannot be done, also because there is no
/// ordinary file, the line is lost.
void appendToLog(std::string_view line);
