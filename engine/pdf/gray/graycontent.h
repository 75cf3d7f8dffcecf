#pragma once

#include <string>

/// The content stream `content` with the browser's colour operators, "rg" and "RG", turned into those for
/// gray (ISO 32000-1, 8.6.8); all else, patterns among it, stays byte by byte. Throws std::runtime_error, see
/// refuseGray(), at any other operator that gives a colour, at shadings and at inline images.
std::string grayContent(const std::string &content);
