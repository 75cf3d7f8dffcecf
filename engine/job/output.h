#pragma once

#include "engine/job/failure.h"

#include <QByteArray>
#include <QString>

/// Where a PDF goes: the path of a file, or "-" for standard output.

/// Throws Failure(NotWritten) if it can be told beforehand that nothing can be written at `path`: its folder
/// is missing or not writable, it is a folder itself, or a file that may not be replaced; or standard output
/// is a terminal or closed.
void checkOutput(const QString &path);

/// Writes `bytes` to `path` whole or not at all: to a temporary file in the same folder, which then takes the
/// place of an older file. Throws Failure(NotWritten), and leaves the older file as it was, if that fails.
/// What a reader of standard output has taken before it went away cannot be called back.
void writeOutput(const QString &path, const QByteArray &bytes);

/// Why a PDF that is larger than this many MiB is given up.
Failure tooLargeForOutput(int mebibytes);
