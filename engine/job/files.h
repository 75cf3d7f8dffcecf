#pragma once

#include "engine/job/job.h"

#include <optional>

/// Whether it is a file with a content of its own, which is the same for every process and has an end.
bool isOrdinaryFile(const QString &path);

/// The text; nothing if it is not valid UTF-8.
std::optional<QString> utf8Text(QByteArrayView bytes);

/// Reads the files that the job's options name, all of which must be text in UTF-8. Throws
/// Failure(BadArguments), naming the option and the file, for one that cannot be read or is not what it
/// should be.
void readFiles(Job &job);
