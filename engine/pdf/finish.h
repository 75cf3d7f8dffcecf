#pragma once

#include "engine/job.h"

#include <QByteArray>

/// Makes the PDF that the job asks for out of the one that the browser printed: every edit that the job
/// names, one after another, then compacted. Throws Failure(Crashed) if the browser's file cannot be
/// understood, and Failure(NotWritten) if the PDF is larger than the job allows.
QByteArray finishPdf(const QByteArray &printed, const Job &job);
