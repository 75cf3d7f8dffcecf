#pragma once

#include "engine/job/job.h"
#include "engine/job/part.h"
#include "engine/pdf/writing/packedfile.h"

/// Joins the PDFs that editedPdf() made of jobs that are parts, in this order, and gives the file to `sink`.
/// Each part is read twice, and only one at a time is in memory.
///
/// The outline has a bookmark for each part, with the part's own ones below; the structure tree an element
/// for the whole, with those of the parts in it. Links between parts lead to their places in the file.
/// Fonts, images and everything else that pages draw with is there once if it is equal. The document's
/// information, language and viewer preferences are those of the first part. Of the job title, copies and
/// external links count.
///
/// Throws as editedPdf() does, and what `sink` throws.
void joinParts(const std::vector<Part> &parts, const PartReader &read, const Job &job,
               const PackedFile::Sink &sink);
