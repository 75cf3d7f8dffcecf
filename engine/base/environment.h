#pragma once

#include <string>
#include <vector>

/// The environment variables of this process (NAME=value, sorted) that a browser and a server inherit: only
/// those in a table of allowed names. Clients share a server only if all of these are equal.
std::vector<std::string> passedEnvironment();

/// The null-terminated array that execve() takes; valid as long as `texts` is.
std::vector<char *> pointersTo(std::vector<std::string> &texts);
