#pragma once

#include "engine/pdf/images/raster.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// A raster's samples, compressed without loss.
struct LosslessImage {
    int bits = 8;     ///< of a sample
    int channels = 1; ///< 1 if `palette` is not empty
    /// The colours that the samples are indices into, with one byte per channel of the raster. Empty if the
    /// samples are colours.
    std::string palette;
    bool predicted = false; ///< with PNG predictors (ISO 32000-1, 7.4.4.4)
    std::string data;       ///< Flate
};

/// The smallest of: the plain samples, the samples with PNG predictors, and, if there are at most 256 colours
/// and `mayHavePalette`, indices into a palette.
LosslessImage losslessImage(const Raster &raster, bool mayHavePalette);

/// The distinct colours of `raster` in order of first use, each with one byte per channel, the first channel
/// in the highest; nothing if there are more than 256.
std::optional<std::vector<uint32_t>> fewColours(const Raster &raster);
