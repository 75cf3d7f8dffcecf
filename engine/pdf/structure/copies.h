#pragma once

class QPDF;

/// Appends the document's pages until they stand `copies` times over, collated. The copies share everything
/// but the page dictionaries and their annotations, so the file hardly grows. Copies are not part of the
/// structure tree, which goes on describing the first ones. `copies` is at least 1.
void repeatPages(QPDF &pdf, int copies);
