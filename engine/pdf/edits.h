#pragma once

#include "engine/job/job.h"

#include <QByteArray>

/// Makes the PDF that the job asks for out of the one that the browser printed: every edit that the job
/// names, one after another, then compacted. Throws an exception with a reason in English if the browser's
/// file cannot be understood.
/// `pages`, if not null, gets the number of its pages.
QByteArray editedPdf(const QByteArray &printed, const Job &job, int *pages = nullptr);
