#pragma once

#include "engine/base/exitcode.h"
#include "engine/base/findings.h"
#include "engine/base/invocation.h"

#include <string>

/// A job, as far as its end is concerned.
struct JobAccount {
    std::string name = "refused"; ///< for the log; this is that of a command line that is none
    std::string output = {};      ///< the PDF's path
    std::string report = {}; ///< where the report goes: a path, or "-" for standard error; empty for none
    bool isQuiet = false;    ///< warnings go to the log only
    Findings findings = {};
};

/// Throws OutputError as checkOutput() does, also for the report's place if there is to be one.
void checkPlaces(const std::string &output, const std::string &report);

// The end of a job: a line in the log for each warning, if it is written or would be, and for the result; the
// warnings and a failure also on standard error; and the report. Both return the exit code, which is
// NotWritten if the report cannot be written.

int reportWritten(const Invocation &invocation, const JobAccount &job, size_t bytes);
int reportFailure(const Invocation &invocation, const JobAccount &job, ExitCode code,
                  const std::string &message);
