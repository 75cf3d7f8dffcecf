#pragma once

#include <qpdf/QPDFObjectHandle.hh>

/// Makes the image stream gray in place. JPEG stays JPEG; all else is compressed losslessly. A gray image is
/// not changed. Throws Refusal at a kind of image that the browser is not known to write (see
/// printedimage.h), and std::runtime_error if the image cannot be decoded.
void makeImageGray(QPDFObjectHandle image);
