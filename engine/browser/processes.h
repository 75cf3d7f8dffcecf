#pragma once

#include <string>
#include <vector>

/// The processes that any thread of this one has started, by their ids; none where there is no /proc.
std::vector<std::string> childrenOf(const std::string &process);

/// Whether a thread of this process, or of one that descends from it, runs, is ready to run, or waits for a
/// disk; false where there is no /proc.
bool isBusy(const std::string &process);
