#pragma once

#include <string>

/// Samples of 8 bits, row by row from the top, the channels of a pixel together, no padding.
struct Raster {
    int width = 0;
    int height = 0;
    int channels = 1; ///< 1 gray, 3 red green blue
    std::string samples;
};

/// How many pixels an image may have to be decoded.
constexpr long long maximumPixels = 1LL << 27;
