#pragma once

#include "engine/job/job.h"

#include <QByteArray>
#include <QString>

// What the module with the edits offers to the engine.

/// editedPdf(), with the reason in `problem` if it throws, and then false.
using EditPdf = bool (*)(const QByteArray &printed, const Job &job, QByteArray &pdf, int &pages,
                         QString &problem);
/// Its name in the module.
inline constexpr char editPdfName[] = "editPdf";
