#pragma once

#include "engine/job/job.h"
#include "engine/page/virtualtime.h"

/// Runs the job's scripts in the page one after the other, and waits for what their promises come to, until
/// the session's deadline. Throws Failure(BadArguments) for one that is no JavaScript or throws.
void runScripts(Session &session, VirtualTime &time, const Job &job);
