#pragma once

#include "engine/pdf/images/raster.h"

#include <string>

// These functions read whole JPEG files, as PDFs embed them (/DCTDecode). Of a truncated file they use what
// is there, as viewers do. They throw std::runtime_error if a file cannot be decoded, has neither one nor
// three components, or has more than `maximumPixels`.

/// Decodes to gray or RGB, by the number of components. If `minimumWidth` and `minimumHeight` are above 0,
/// the decoder may halve the image up to three times, but not below them.
Raster decodeJpeg(const std::string &file, int minimumWidth = 0, int minimumHeight = 0);

/// `quality` is from 1 to 100. `halfColour` stores colour at half the resolution in both directions.
std::string encodeJpeg(const Raster &raster, int quality, bool halfColour);

/// The same image in gray. If luma is a component of its own, as in nearly all files, its coefficients are
/// copied without loss; otherwise the image is decoded and encoded at a high quality.
std::string grayJpeg(const std::string &file);
