#pragma once

#include "engine/pdf/images/raster.h"

/// `raster` scaled down: each new pixel is the average of the area that it covers, including fractions of
/// pixels. `width` and `height` are at least 1 and not larger than those of `raster`.
///
/// With `weights`, a raster of one channel and the same size, it is a weighted average: for an image with a
/// soft mask, so that colours of transparent pixels do not bleed into visible ones. Where all weights are 0,
/// they count equally.
Raster averaged(const Raster &raster, int width, int height, const Raster *weights = nullptr);
