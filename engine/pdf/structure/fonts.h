#pragma once

#include "engine/pdf/reading/parts.h"

#include <string>
#include <string_view>

/// A TrueType font program without the tables that a PDF has no use for (ISO 32000-1, 9.9): those for
/// laying out text, naming the font and choosing glyphs by character. `program` itself if it is damaged.
std::string withoutSpareTables(std::string_view program);

/// Takes such tables out of every font that is embedded for use by glyph number, as the browser embeds
/// them.
void trimFonts(const DocumentParts &parts);
