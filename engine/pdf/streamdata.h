#pragma once

#include <qpdf/QPDFObjectHandle.hh>

#include <cstddef>
#include <string>

/// Bytes that a single decoded content stream, function or mesh may have. The browser stays far below.
constexpr size_t maximumStreamBytes = size_t{256} << 20;

/// What happens to bytes beyond the limit of decodedData().
enum class Excess {
    Refuse, ///< std::runtime_error
    Ignore, ///< they are left out, as for image data, whose length follows from the image's size
};

/// The data of `stream` with every filter undone, JPEG and other image compression excepted (see
/// hasPlainFilters()); never more than `limit` bytes, however much a small stream unfolds to. Throws
/// std::runtime_error if the data is damaged or its filters are unknown.
std::string decodedData(QPDFObjectHandle stream, size_t limit = maximumStreamBytes,
                        Excess excess = Excess::Refuse);

/// Whether decodedData() can read `stream`: its filters are none but Flate, LZW, run length and ASCII ones.
bool hasPlainFilters(const QPDFObjectHandle &stream);

/// The name of the filter that made the stream's innermost data, the last of /Filter, such as "/DCTDecode";
/// empty if there is none.
std::string innermostFilter(const QPDFObjectHandle &stream);

/// The data that the innermost filter would get: the JPEG file of an image with /DCTDecode, also when it is
/// wrapped in further filters. Throws as decodedData().
std::string innermostData(QPDFObjectHandle stream);

/// `data` compressed by Flate.
std::string flateCompressed(const std::string &data);

/// Gives `stream` new data that is compressed by Flate already.
void replaceFlateData(QPDFObjectHandle stream, const std::string &compressed);
