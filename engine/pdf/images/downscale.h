#pragma once

#include "engine/pdf/images/raster.h"

/// `raster` at a smaller size, each new pixel the average of the area it covers, pixels at its edges counted
/// by the part that lies in it. `width` and `height` are at least 1 and not larger than the raster's own.
///
/// With `weights`, a raster of one channel and the same size as `raster`, pixels count by their weight: for
/// the colours of an image with a soft mask, so that what cannot be seen does not bleed into what can. Where
/// all weights are 0, all pixels count alike.
Raster averaged(const Raster &raster, int width, int height, const Raster *weights = nullptr);
