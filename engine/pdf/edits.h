#pragma once

#include "engine/job/job.h"

#include <QByteArray>

/// Edits the PDF that the browser printed as the job asks, and compacts it. Sets the number of its pages in
/// `pages` unless that is null. Throws Refusal if it has something that an edit is not made for, and any other
/// std::exception if it is damaged; both with a reason in English.
QByteArray editedPdf(const QByteArray &printed, const Job &job, int *pages = nullptr);
