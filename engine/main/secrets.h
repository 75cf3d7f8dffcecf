#pragma once

#include "engine/base/invocation.h"

#include <string>
#include <vector>

/// For each argument whether it may contain a secret, which process lists must not show: the values of secret
/// options (names, passwords, proxies), also when joined to the option, and addresses with a user name.
std::vector<bool> secretArguments(const std::vector<std::string> &arguments);

/// Copies the arguments and the variables for options, and overwrites the secrets among them where process
/// lists find them. Removes these variables from the environment, so that no other program inherits them.
/// `argv` must be the one that main() was given.
Invocation takeInvocation(int argc, char *argv[]);
