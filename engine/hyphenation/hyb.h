#pragma once

#include "engine/hyphenation/dictionary.h"

/// The patterns, sorted by text, in the binary format that Chromium reads (hyph-*.hyb). Empty if there are
/// none, or too many for the format.
std::string hybOf(const std::vector<HyphenationPattern> &patterns);
