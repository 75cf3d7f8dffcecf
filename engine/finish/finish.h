#pragma once

#include "engine/job/record.h"

#include <QByteArray>

/// Loads the module with the edits unless it is loaded. It is a module because loading it takes half of an
/// engine's start-up time, and a client of the server does not need it. Throws Failure(Crashed) if it cannot
/// be loaded.
void loadPdfEdits();

/// Edits the PDF that the browser printed from the page of `record` as the job asks, and sets the number of
/// pages in `record`. Throws Failure(Crashed) if the PDF is damaged, or if it has something that an edit is
/// not made for, which is final; and Failure(NotWritten) if the result is larger than the job allows.
QByteArray finishPdf(const QByteArray &printed, const Job &job, JobRecord &record);
