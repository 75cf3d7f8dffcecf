#pragma once

#include <string>
#include <string_view>
#include <vector>

/// Where words may be broken around some letters.
struct HyphenationPattern {
    /// Lower-case letters, at most 62; '.' is the beginning or the end of a word.
    std::u16string text;
    /// For each place before, between and after the letters: odd allows a break there, even forbids it, and
    /// the highest value of all patterns counts.
    std::string values;
};

/// The patterns of a hyph_*.dic file, the format of hunspell's hyphenation library: sorted, each text once.
/// Breaks that would change the spelling are forbidden, as browsers cannot make them. If the file has levels,
/// only the last is used: the others are for the parts of compound words. Lines that cannot be read are left
/// out.
std::vector<HyphenationPattern> patternsOf(std::string_view dictionary);
