#pragma once

#include "engine/job/job.h"
#include "engine/page/virtualtime.h"

/// Waits, in real time and until the session's deadline, for what the job wants the page to have. To be
/// called before any of the page's time is let pass. `mainFrame` is the id of the page's main frame. Throws
/// Failure(BadArguments) if the job's selector or expression is none.
void awaitConditions(Session &session, VirtualTime &time, const QString &mainFrame, const Job &job);
