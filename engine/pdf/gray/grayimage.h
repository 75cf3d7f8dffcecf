#pragma once

#include <qpdf/QPDFObjectHandle.hh>

/// Makes an image, a stream, gray in place: photographs stay JPEG, all else is compressed without loss. Gray
/// images are left as they are. Throws std::runtime_error if the image cannot be decoded, and at images of a
/// kind that is not known here (see printedimage.h and refuseGray()).
void makeImageGray(QPDFObjectHandle image);
