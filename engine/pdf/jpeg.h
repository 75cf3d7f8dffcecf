#pragma once

#include <string>

/// Samples of 8 bits, row by row from the top, the channels of a pixel together, no padding.
struct Raster {
    int width = 0;
    int height = 0;
    int channels = 1; ///< 1 gray, 3 red green blue, 4 cyan magenta yellow black
    std::string samples;
};

/// How many pixels an image may have to be decoded.
constexpr long long maximumPixels = 1LL << 27;

struct JpegHeader {
    int width = 0;
    int height = 0;
    int channels = 0; ///< as they come out of decodeJpeg()
};

/// The functions of this file read complete JPEG files as PDFs hold them (/DCTDecode). A file that ends early
/// gives what it has, as viewers do. They throw std::runtime_error if it cannot be decoded or has more than
/// `maximumPixels`.
JpegHeader jpegHeader(const std::string &file);

/// Decodes to the file's own kind of channels. With a `leastWidth` and `leastHeight` above 0 the decoder may
/// halve the image up to three times as long as neither side gets smaller than they are.
Raster decodeJpeg(const std::string &file, int leastWidth = 0, int leastHeight = 0);

/// `quality` from 1 to 100. `halfColour` stores colour at half the resolution both ways.
std::string encodeJpeg(const Raster &raster, int quality, bool halfColour);

/// The same photograph in gray. Where its brightness is stored apart from its colour, as nearly always, the
/// brightness is kept bit by bit and nothing is compressed again; otherwise it is decoded and encoded at a
/// high quality.
std::string grayJpeg(const std::string &file);
