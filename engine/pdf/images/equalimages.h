#pragma once

#include "engine/pdf/reading/parts.h"

/// Keeps one of all images that are the same, byte for byte: the browser writes an image anew for every page
/// that shows it. Throws what libqpdf throws.
void mergeEqualImages(const DocumentParts &parts);
