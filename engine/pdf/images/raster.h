#pragma once

#include <string>

/// Samples of 8 bits: rows from the top, channels interleaved, no padding.
struct Raster {
    int width = 0;
    int height = 0;
    int channels = 1; ///< 1 gray, 3 red green blue
    std::string samples;
};

/// The maximum number of pixels of an image that is decoded.
constexpr long long maximumPixels = 1LL << 27;
