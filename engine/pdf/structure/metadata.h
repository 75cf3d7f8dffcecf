#pragma once

#include "engine/job/job.h"

#include <string>

class QPDF;

/// Sets title, author, subject, keywords, creator, producer and dates in the information dictionary (ISO
/// 32000-1, 14.3.3) from the job and its page, and the document's language; tells viewers to show the title
/// instead of the file name (12.2). The creator is the page's generator, or else Quirelle; the producer is
/// Quirelle with the browser's name, or with the producer that the browser wrote if the name is not known.
void setInformation(QPDF &pdf, const Job &job);

/// Sets the title alone, and tells viewers to show it.
void setTitle(QPDF &pdf, const QString &title);

/// The title; empty for none.
QString titleOf(QPDF &pdf);

/// The information dictionary as an XMP packet (ISO 16684-1), for the catalogue's /Metadata.
std::string xmpOf(QPDF &pdf);

/// Maps the browser's non-standard structure types, such as Em and Strong, to standard ones (14.7.3). Does
/// nothing without a structure tree.
void mapRoles(QPDF &pdf);

/// Renames the structure elements that table cells refer to by their order, the first of them number `first`:
/// the browser's numbers go on from one document to the next, and may be the same in two. Returns the number
/// after the last.
size_t renameElements(QPDF &pdf, size_t first = 0);
