#pragma once

#include <string>
#include <vector>

// All of this knows of nothing where there is no /proc.

/// The processes that any thread of this one has started, by their ids.
std::vector<std::string> childrenOf(const std::string &process);
/// Those, and theirs, and so on.
std::vector<std::string> descendantsOf(const std::string &process);

/// Whether this process of a browser shows pages, as its arguments say.
bool isRenderer(const std::string &process);
