#pragma once

#include <qpdf/QPDFObjectHandle.hh>

#include <string>

/// The name of the filter of `stream`, such as "/DCTDecode"; empty if it has none. Throws std::runtime_error
/// if it has several: the browser never uses more than one.
std::string filterOf(QPDFObjectHandle stream);

/// The stored, still compressed data of `stream`: with /DCTDecode a JPEG file.
std::string storedData(QPDFObjectHandle stream);

/// The decompressed data of `stream`. Throws std::runtime_error if it is damaged, or has a filter other than
/// Flate.
std::string decodedData(QPDFObjectHandle stream);

/// `data` compressed with Flate.
std::string flateCompressed(const std::string &data);

/// Replaces the data of `stream` by `compressed`, which is compressed with Flate.
void replaceFlateData(QPDFObjectHandle stream, const std::string &compressed);
