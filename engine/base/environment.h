#pragma once

#include <string>
#include <vector>

/// The variables of this process (NAME=value, sorted) that a browser gets, and a server that keeps browsers:
/// those of a table, and no others. What is not in it can change no browser; what is in it tells servers
/// apart.
std::vector<std::string> passedEnvironment();

/// As execve() takes them; valid as long as `texts` is.
std::vector<char *> pointersTo(std::vector<std::string> &texts);
