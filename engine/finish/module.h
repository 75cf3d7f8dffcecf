#pragma once

#include "engine/job/job.h"

#include <QByteArray>
#include <QString>

// The function that the module with the edits exports to the engine.

enum class EditOutcome {
    Edited,
    Refused,    ///< the PDF has something that an edit is not made for
    Unreadable, ///< the PDF is damaged
};

/// Calls editedPdf(): puts its result into `pdf` and `pages`, or if it throws the reason into `problem`.
using EditPdf = EditOutcome (*)(const QByteArray &printed, const Job &job, QByteArray &pdf, int &pages,
                                QString &problem);
/// Its name in the module.
inline constexpr char editPdfName[] = "editPdf";
