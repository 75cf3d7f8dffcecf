#pragma once

#include <qpdf/QPDFObjectHandle.hh>

/// Makes an image (a stream, XObject or the like) gray in place. Photographs stay JPEG, palettes stay
/// palettes with their samples untouched, everything else becomes 8 bits a pixel, compressed without loss. A
/// mask by colour becomes a stencil mask. Gray images, stencils and JPEG 2000 images are left as they are:
/// the last cannot be decoded here, and the browser writes none.
///
/// `resources` are those that names of colour spaces are looked up in, or null. Throws std::runtime_error if
/// the image is malformed or cannot be decoded.
void makeImageGray(QPDFObjectHandle image, const QPDFObjectHandle &resources);
