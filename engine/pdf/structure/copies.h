#pragma once

class QPDF;

/// Repeats the document's pages until there are `copies` collated copies (at least 1). Copies share
/// everything with the original pages except page dictionaries and annotations, so the file hardly grows. The
/// structure tree contains only the original pages.
void repeatPages(QPDF &pdf, int copies);
