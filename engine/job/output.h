#pragma once

#include "engine/job/failure.h"

#include <QByteArray>
#include <QString>

/// Where a PDF goes: the path of a file, or "-" or "/dev/stdout" for standard output. A link stands for the
/// file that it leads to, which need not exist yet; links that belong to other users than this one and root
/// are not followed.

/// Throws Failure(NotWritten) if it can be told beforehand that nothing can be written at `path`: its folder
/// is missing or not writable, it is a folder itself, or a file that may not be replaced, or a name that is
/// too long; or standard output is a terminal or closed.
void checkOutput(const QString &path);

/// Writes `bytes` to `path` whole or not at all: to a temporary file in the same folder, which then takes the
/// place of an older file. Throws Failure(NotWritten), and leaves the older file as it was, if that fails.
/// The permissions of an older file of this user's stay, never its set-id and sticky bits; otherwise the file
/// gets those that the umask leaves.
/// What a reader of standard output has taken before it went away cannot be called back.
void writeOutput(const QString &path, const QByteArray &bytes);

/// Why a PDF that is larger than this many MiB is given up.
Failure tooLargeForOutput(int mebibytes);
