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
    /// The colours that the samples are indices of, as many bytes each as the raster has channels. Empty if
    /// the samples are colours themselves.
    std::string palette;
    bool predicted = false; ///< by PNG's predictors (ISO 32000-1, 7.4.4.4)
    std::string data;       ///< Flate
};

/// The smallest of: the samples as they are, predicted from their neighbours, or, if there are at most 256
/// colours and `mayHavePalette`, as indices of a palette.
LosslessImage losslessImage(const Raster &raster, bool mayHavePalette);

/// The different colours of `raster` in the order in which they come, each as many bytes in a number as there
/// are channels, the first uppermost; nothing if they are more than 256.
std::optional<std::vector<uint32_t>> fewColours(const Raster &raster);
