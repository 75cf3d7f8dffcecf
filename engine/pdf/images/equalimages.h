#pragma once

#include "engine/pdf/reading/parts.h"

/// Deduplicates images that are equal byte for byte: the browser writes an image again for every page that
/// shows it. Throws what libqpdf throws.
void mergeEqualImages(const DocumentParts &parts);
