#pragma once

#include "engine/job/job.h"

class QPDF;

/// Gives a document an outline (ISO 32000-1, 12.3.3) of those of the page's headings that it has destinations
/// for. Does nothing without any, or if it has an outline.
void addOutline(QPDF &pdf, const QList<PageHeading> &headings);
