#pragma once

#include "engine/base/invocation.h"

#include <string>
#include <vector>

/// For each of the arguments whether it may hold a secret, which no list of processes is to show: the values
/// of the options for names, passwords and proxies, also when joined to the option, and addresses with a name
/// in them.
std::vector<bool> haveSecrets(const std::vector<std::string> &arguments);

/// Takes arguments and variables over, and blanks the secrets among them where lists of processes find them.
/// The variables that stand for options are removed from the environment: no other program gets them. `argv`
/// must be what main() was given.
Invocation takeInvocation(int argc, char *argv[]);
