#pragma once

#include "engine/job/record.h"

#include <QByteArray>

/// Loads what edits PDFs, if it is not there yet; without it, an engine whose job the server does starts in
/// half the time. Throws Failure(Crashed) if it is missing.
void loadPdfEdits();

/// Makes the PDF that the job asks for out of the one that the browser printed from the page of the record,
/// which gets the number of pages. Throws Failure(Crashed) if that cannot be understood, and
/// Failure(NotWritten) if the outcome is larger than the job allows.
QByteArray finishPdf(const QByteArray &printed, const Job &job, JobRecord &record);
