#pragma once

class QPDF;

/// Removes the structure tree (ISO 32000-1, 14.7) and everything that refers to it: tags and marked content.
/// Marked content with /ActualText stays, as text extraction needs it.
///
/// Throws std::exception if a content stream cannot be read.
void removeStructure(QPDF &pdf);
