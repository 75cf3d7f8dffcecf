#pragma once

#include "engine/convert/render.h"
#include "engine/job/job.h"

/// Does the job from beginning to end: on the warm server where there is one, else with a browser of its own,
/// which is gone when this returns. Returns the size of the PDF in bytes. Throws Failure; the output is then
/// as it was before.
qsizetype convert(const Job &job, const ActivityListener &listener);
