#pragma once

#include "engine/base/spool.h"

#include <stdexcept>
#include <string>
#include <string_view>

/// Where a PDF goes: the path of a file, or "-" or "/dev/stdout" for standard output. Symbolic links are
/// followed, also to a file that does not exist yet, unless they belong to a user other than this one and
/// root.

/// Why a PDF cannot be written, on one line and in UTF-8.
class OutputError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// Throws OutputError if `path` is known not to be writable: its folder is missing or not writable, it is a
/// folder itself, a file that may not be replaced, or a name that is too long; or standard output is a
/// terminal or closed.
void checkOutput(const std::string &path);

/// Writes `bytes` to `path` whole or not at all: to a temporary file in the same folder, which then replaces
/// an older file. Throws OutputError, and leaves the older file as it was, if that fails. An older file of
/// this user keeps its permissions except set-id and sticky bits; otherwise the umask decides. On standard
/// output, what was read before an error remains read.
void writeOutput(const std::string &path, std::string_view bytes);
/// Same, with all that is in the spool. Throws SpoolError if that cannot be read.
void writeOutput(const std::string &path, const Spool &spool);
