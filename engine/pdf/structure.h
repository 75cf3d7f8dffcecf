#pragma once

#include "engine/pdf/parts.h"

class QPDF;

/// Takes the structure tree (ISO 32000-1, 14.7) out of a document with everything that refers to it: tags,
/// marked content, and the private data of programs (14.5) and thumbnails besides. Marks that do something
/// for a reader stay: optional content, and text that replaces what stands in the glyphs.
///
/// Throws std::exception if a content stream cannot be read.
void removeStructure(QPDF &pdf, const DocumentParts &parts);
