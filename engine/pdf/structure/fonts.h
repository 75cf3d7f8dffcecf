#pragma once

#include "engine/pdf/reading/parts.h"

#include <string>
#include <string_view>

/// A TrueType font program without the tables that a PDF does not need (ISO 32000-1, 9.9): text layout, names
/// and character maps. Returns `program` unchanged if it is damaged.
std::string withoutSpareTables(std::string_view program);

/// Removes these tables from every embedded TrueType font that is used by glyph number, as all are that the
/// browser embeds.
void trimFonts(const DocumentParts &parts);
