#pragma once

#include "engine/pdf/colourspace.h"

#include <qpdf/QPDFObjectHandle.hh>

#include <memory>
#include <vector>

/// What the dictionary of an image says of it (ISO 32000-1, 8.9.5).
struct ImageHeader {
    int width = 0;  ///< in samples, 1 to 65535
    int height = 0; ///< likewise; the two multiplied at most `maximumPixels`
    int bits = 8;   ///< of a sample: 1, 2, 4, 8 or 16
    /// A stencil through which the current colour is painted: it has no colours of its own.
    bool stencil = false;
    /// JPEG 2000, which holds its own size and colours. Nothing below is set.
    bool selfDescribing = false;
    std::shared_ptr<const ColourSpace> space; ///< null for a stencil
    std::vector<Interval> decode;             ///< for each component
    /// Whether `decode` is what it is without a /Decode.
    bool plainDecode = true;
    /// Samples that are not painted: for each component the lowest and the highest; empty for none.
    std::vector<Interval> colourKey;

    /// `resources` are those that names of colour spaces are looked up in. Throws std::runtime_error if the
    /// dictionary is malformed.
    static ImageHeader read(QPDFObjectHandle image, const QPDFObjectHandle &resources);

    /// Bytes of the decoded image, its rows filled up to whole bytes.
    size_t dataLength() const { return rowLength() * static_cast<size_t>(height); }
    size_t rowLength() const
    {
        const size_t components = space ? space->components() : 1;
        return (static_cast<size_t>(width) * components * static_cast<size_t>(bits) + 7) / 8;
    }
};
