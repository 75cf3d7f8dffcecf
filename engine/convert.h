#pragma once

#include "engine/job.h"

#include <functional>

/// Is told what a job is doing, such as "printing page.html", whenever that changes.
using ActivityListener = std::function<void(const QString &activity)>;

/// Does the job from beginning to end with a browser of its own, which is gone when this returns. Returns the
/// size of the PDF in bytes. Throws Failure; the output is then as it was before.
qsizetype convert(const Job &job, const ActivityListener &listener);
