#pragma once

#include <qpdf/QPDFObjectHandle.hh>

#include <cstddef>
#include <optional>

/// The properties of an image as the browser writes it (ISO 32000-1, 8.9.5): 8 bits a sample, gray or RGB,
/// with or without an ICC profile, plain, Flate or JPEG, with or without a soft mask.
struct PrintedImage {
    int width = 0;  ///< in samples, at least 1
    int height = 0; ///< likewise; width * height is at most `maximumPixels`
    int channels = 1;
    bool isJpeg = false;

    /// Nothing if `image`, a stream, is of any other kind.
    static std::optional<PrintedImage> read(QPDFObjectHandle image);

    /// Bytes of the decoded image.
    size_t dataLength() const
    {
        return static_cast<size_t>(width) * static_cast<size_t>(height) * static_cast<size_t>(channels);
    }
};
