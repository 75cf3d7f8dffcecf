#pragma once

#include <string>
#include <vector>

// Without /proc these find nothing.

/// The ids of the child processes of this one, started by any of its threads.
std::vector<std::string> childrenOf(const std::string &process);
/// Children, their children, and so on.
std::vector<std::string> descendantsOf(const std::string &process);

/// Of this browser process, by its arguments: "renderer", "utility", "gpu-process"; empty for the main one.
std::string typeOf(const std::string &process);
