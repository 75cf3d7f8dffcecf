#pragma once

#include <string>

/// The patterns that Chromium asks for by the name of a file, such as "hyph-de-1996.hyb", from the dictionary
/// for that language (hyph_de_DE.dic) in `folder`. Empty if there is none, or none that can be read.
std::string hyphenationFile(const std::string &name, const std::string &folder);
