#pragma once

#include "engine/job/job.h"

/// Whether it is a file with a content of its own, which is the same for every process and has an end.
bool isOrdinaryFile(const QString &path);

/// Reads the files that the job's options name, all of which must be text in UTF-8. Throws
/// Failure(BadArguments), naming the option and the file, for one that cannot be read or is not what it
/// should be.
void readFiles(Job &job);
