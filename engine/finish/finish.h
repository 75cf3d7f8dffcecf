#pragma once

#include "engine/base/spool.h"
#include "engine/job/part.h"
#include "engine/job/record.h"

#include <QByteArray>

/// Loads the module with the edits unless it is loaded. It is a module because loading it takes half of an
/// engine's start-up time, and a client of the server does not need it. Throws Failure(Crashed) if it cannot
/// be loaded.
void loadPdfEdits();

/// Edits the PDF that the browser printed from the page of the record as the job asks; the record gets the
/// number of pages. Throws Failure(Crashed) if it is damaged, or if it has something that an edit is not made
/// for, which is final; and Failure(NotWritten) if the result is larger than the job allows.
QByteArray finishPdf(const QByteArray &printed, const Job &job, JobRecord &record);

/// Joins finished PDFs of jobs that are parts, as joinParts() does, and appends the file to `spool`. Throws
/// Failure as finishPdf() does, and what `read` throws, and SpoolError.
void joinPdfs(const std::vector<Part> &parts, const PartReader &read, const Job &job, Spool &spool);
