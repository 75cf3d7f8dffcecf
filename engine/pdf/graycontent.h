#pragma once

#include <qpdf/QPDFObjectHandle.hh>

#include <string>

class QPDF;

/// Which colours a content stream begins with.
enum class InitialColour {
    Black,     ///< a page: DeviceGray
    Inherited, ///< a form, pattern or glyph: those of whatever shows it
};

/// The content stream `content` with every colour operator (ISO 32000-1, 8.6.8) turned into one for gray and
/// every inline image made gray; all else stays byte by byte. Colours given in a gray space or as index of a
/// palette stay too: the palette is changed where it is defined. `resources` are the stream's own, with the
/// colour spaces as they were. Throws std::runtime_error if a colour space or image is malformed.
std::string grayContent(QPDF &pdf, const std::string &content, const QPDFObjectHandle &resources,
                        InitialColour initial);
