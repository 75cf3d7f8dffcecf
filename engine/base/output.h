#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

/// Where a PDF goes: the path of a file, or "-" or "/dev/stdout" for standard output. A link stands for the
/// file that it leads to, which need not exist yet; links that belong to other users than this one and root
/// are not followed.

/// Why a PDF cannot be written, on one line and in UTF-8.
class OutputError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// Throws OutputError if it can be told beforehand that nothing can be written at `path`: its folder
/// is missing or not writable, it is a folder itself, or a file that may not be replaced, or a name that is
/// too long; or standard output is a terminal or closed.
void checkOutput(const std::string &path);

/// Writes `bytes` to `path` whole or not at all: to a temporary file in the same folder, which then takes the
/// place of an older file. Throws OutputError, and leaves the older file as it was, if that fails.
/// The permissions of an older file of this user's stay, never its set-id and sticky bits; otherwise the file
/// gets those that the umask leaves.
/// What a reader of standard output has taken before it went away cannot be called back.
void writeOutput(const std::string &path, std::string_view bytes);
