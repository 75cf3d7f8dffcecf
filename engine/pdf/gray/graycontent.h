#pragma once

#include <string>

/// The content stream `content` with the browser's colour operators, "rg" and "RG", replaced by those for
/// gray (ISO 32000-1, 8.6.8); everything else, also patterns, stays byte by byte. Throws Refusal at any other
/// operator that sets a colour, at shadings and at inline images.
std::string grayContent(const std::string &content);
