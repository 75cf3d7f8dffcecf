#pragma once

#include <qpdf/QPDFObjectHandle.hh>

#include <string>

/// The name of the only filter of `stream`, such as "/DCTDecode"; empty if it has none. The browser never
/// uses two. Throws std::runtime_error if there are several.
std::string filterOf(QPDFObjectHandle stream);

/// The data of `stream` as it is stored: of an image with /DCTDecode the JPEG file.
std::string storedData(QPDFObjectHandle stream);

/// The data of `stream` decompressed. Throws std::runtime_error if it is damaged, or stored other than plain
/// or by Flate.
std::string decodedData(QPDFObjectHandle stream);

/// `data` compressed by Flate.
std::string flateCompressed(const std::string &data);

/// Gives `stream` new data that is compressed by Flate already.
void replaceFlateData(QPDFObjectHandle stream, const std::string &compressed);
