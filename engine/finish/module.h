#pragma once

#include "engine/job/job.h"
#include "engine/job/part.h"

#include <QByteArray>
#include <QString>

#include <string_view>

// The functions that the module with the edits exports to the engine.

enum class EditOutcome {
    Edited,
    Refused,    ///< the PDF has something that an edit is not made for
    Unreadable, ///< the PDF is damaged
};

/// Calls editedPdf(): puts its results into `pdf` and `pages`, or if it throws the reason into `problem`.
using EditPdf = EditOutcome (*)(const QByteArray &printed, const Job &job, QByteArray &pdf, int &pages,
                                QString &problem);
/// Its name in the module.
inline constexpr char editPdfName[] = "editPdf";

/// Calls joinParts(), or if it throws puts the reason into `problem`.
using JoinPdfs = EditOutcome (*)(const std::vector<Part> &parts, const PartReader &read, const Job &job,
                                 const std::function<void(std::string_view)> &write, QString &problem);
inline constexpr char joinPdfsName[] = "joinPdfs";
