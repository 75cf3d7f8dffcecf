#pragma once

#include "engine/job/job.h"

#include <QStringList>

#include <variant>
#include <vector>

struct HelpRequest {
};
struct VersionRequest {
};

/// What a command line asks for.
using Request = std::variant<Job, HelpRequest, VersionRequest>;

/// Reads `arguments` (without the program's name). A value is the next argument, whatever it begins with; of
/// an option given twice the last one holds; "--" ends the options. Throws Failure(BadArguments) naming the
/// argument that is unknown, lacks its value, has a bad one or is not valid UTF-16, or the input or output
/// that is missing or too much.
Request parseCommandLine(const QStringList &arguments);

/// For each of `arguments` whether it may hold a secret, which no list of processes is to show: the values of
/// the options for names, passwords and proxies, and addresses with a name in them.
std::vector<bool> haveSecrets(const QStringList &arguments);

/// The text of --help: the options in groups, as the table has them.
QString helpText();
