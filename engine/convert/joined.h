#pragma once

#include "engine/base/activity.h"
#include "engine/base/findings.h"
#include "engine/base/invocation.h"
#include "engine/job/joining.h"

#include <optional>

/// Reads the command line of one of the inputs.
using PartReading = std::optional<Job> (*)(const Invocation &invocation);

/// Does a job of several inputs: prints each as if it were alone, as many at a time as there are cores, joins
/// them and writes the PDF. Each input has the job's timeout for itself. The lists must have been read, see
/// withListedInputs(), and the places checked, see checkPlaces(). If an input fails, the others are
/// cancelled.
///
/// Returns, throws and fills `findings` as convert() does; SpoolError in addition.
size_t convertJoined(const Invocation &invocation, const Joining &joining, PartReading readPart,
                     const ActivityListener &listener, Findings &findings);
