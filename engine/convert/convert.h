#pragma once

#include "engine/base/findings.h"
#include "engine/base/invocation.h"
#include "engine/convert/render.h"
#include "engine/job/job.h"

#include <functional>
#include <string_view>

/// Whether the warm server is asked to do the job, and started if there is none.
enum class UseServer { No, Yes };

/// Does the job that the invocation asks for from beginning to end: on the warm server, or with a browser of
/// its own, which is gone when this returns. Returns the size of the PDF in bytes; what is known of the job
/// otherwise is in `findings`, also when it fails. Throws Failure, and OutputError as checkOutput() and
/// writeOutput() do; the output is then as it was before.
size_t convert(const Invocation &invocation, const Job &job, UseServer useServer,
               const ActivityListener &listener, Findings &findings);

/// Same, but gives the PDF to `take` instead of writing it. Throws also Cancelled; and so may `listener`.
void print(const Invocation &invocation, const Job &job, UseServer useServer,
           const ActivityListener &listener, Cancellation &cancellation, Findings &findings,
           const std::function<void(std::string_view pdf)> &take);
