#pragma once

#include "engine/job/job.h"

#include <string>

class QPDF;

/// Sets the document's title, author, subject, keywords, creator, producer and dates in its information
/// dictionary (ISO 32000-1, 14.3.3) as the job and its page have them, its language, and tells viewers to
/// show the title instead of the file's name (12.2). Creator is the page's generator, else Quirelle; producer
/// names Quirelle and the browser, or the browser's own name of itself if it is not known.
void setInformation(QPDF &pdf, const Job &job);

/// The information dictionary as an XMP packet (ISO 16684-1), for the catalogue's /Metadata.
std::string xmpOf(QPDF &pdf);

/// Says what the browser's own structure types, such as Em and Strong, are like (14.7.3), so that readers
/// need not know them. Nothing without a structure tree.
void mapRoles(QPDF &pdf);

/// Gives the structure elements that table cells refer to, names that depend on nothing but their order. The
/// browser counts on over all documents that it has printed.
void renameElements(QPDF &pdf);
