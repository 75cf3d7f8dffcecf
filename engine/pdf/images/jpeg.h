#pragma once

#include "engine/pdf/images/raster.h"

#include <string>

/// The functions of this file read complete JPEG files as PDFs hold them (/DCTDecode). A file that ends early
/// gives what it has, as viewers do. They throw std::runtime_error if it cannot be decoded, is neither gray
/// nor of three colours, or has more than `maximumPixels`.

/// Decodes to gray or RGB, whichever the file is. With a `leastWidth` and `leastHeight` above 0 the decoder
/// may halve the image up to three times as long as neither side gets smaller than they are.
Raster decodeJpeg(const std::string &file, int leastWidth = 0, int leastHeight = 0);

/// `quality` from 1 to 100. `halfColour` stores colour at half the resolution both ways.
std::string encodeJpeg(const Raster &raster, int quality, bool halfColour);

/// The same photograph in gray. Where its brightness is stored apart from its colour, as nearly always, the
/// brightness is kept bit by bit and nothing is compressed again; otherwise it is decoded and encoded at a
/// high quality.
std::string grayJpeg(const std::string &file);
