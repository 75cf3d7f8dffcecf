#pragma once

#include "engine/job/job.h"

#include <QByteArray>

#include <string>

/// Loads what edits PDFs, if it is not there yet; without it, an engine whose job the server does starts in
/// half the time. Throws Failure(Crashed) if it is missing.
void loadPdfEdits();

/// Makes the PDF that the job asks for out of the one that the browser printed. Throws Failure(Crashed) if
/// that cannot be understood, and Failure(NotWritten) if the outcome is larger than the job allows.
QByteArray finishPdf(const QByteArray &printed, const Job &job);

/// The file that is loaded, which lies beside the engine `executable`.
std::string pdfModuleOf(const std::string &executable);
