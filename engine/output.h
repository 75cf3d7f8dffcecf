#pragma once

#include <QByteArray>
#include <QString>

/// Throws Failure(NotWritten) if it can be told beforehand that no file can be written at `path`: its folder
/// is missing or not writable, it is a folder itself, or a file that may not be replaced.
void checkOutput(const QString &path);

/// Writes `bytes` to `path` whole or not at all: to a temporary file in the same folder, which then takes the
/// place of an older file. Throws Failure(NotWritten), and leaves the older file as it was, if that fails.
void writeOutput(const QString &path, const QByteArray &bytes);
