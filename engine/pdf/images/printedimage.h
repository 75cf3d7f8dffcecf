#pragma once

#include <qpdf/QPDFObjectHandle.hh>

#include <cstddef>
#include <optional>

/// What the dictionary of an image says of it (ISO 32000-1, 8.9.5). The browser writes one kind: 8 bits a
/// sample, gray or RGB, plain or by a profile, stored by Flate or as JPEG, perhaps with a soft mask.
struct PrintedImage {
    int width = 0;  ///< in samples, at least 1
    int height = 0; ///< likewise; the two multiplied at most `maximumPixels`
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
