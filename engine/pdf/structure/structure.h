#pragma once

class QPDF;

/// Takes the structure tree (ISO 32000-1, 14.7) out of a document with everything that refers to it: tags and
/// marked content. Marks with text that replaces what stands in the glyphs stay.
///
/// Throws std::exception if a content stream cannot be read.
void removeStructure(QPDF &pdf);
