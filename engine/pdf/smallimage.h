#pragma once

#include "engine/pdf/shownsize.h"

#include <qpdf/QPDFObjectHandle.hh>

#include <optional>

/// Makes the data of an image small, in place: fewer samples where it has more than 96 for an inch of paper,
/// then strong JPEG compression; lossless compression where that is smaller, and for drawings of up to 256
/// colours also where it is up to twice as large, since JPEG blurs their edges. It never gets larger, unless
/// it had too many samples.
///
/// `shown` is the size at which the image is shown; without one it keeps its samples. Left as they are:
/// stencils and images of one bit a sample, JPEG 2000, colours other than gray and RGB, and masks by colour.
/// Throws std::runtime_error if the image is malformed or cannot be decoded.
void makeImageSmall(const QPDFObjectHandle &image, const QPDFObjectHandle &resources,
                    std::optional<ShownSize> shown);

/// The same for a soft mask: its edges are what is seen of it, so it is never stored as JPEG.
void makeSoftMaskSmall(const QPDFObjectHandle &mask, const QPDFObjectHandle &resources,
                       std::optional<ShownSize> shown);
