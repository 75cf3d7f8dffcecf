#include "engine/base/text.h"

#include <algorithm>
#include <cstdio>
#include <vector>

namespace
{

constexpr char32_t replacement = 0xfffd;

struct Range {
    char32_t first;
    char32_t last;
};

/// Unicode's categories Cc, Cf, Zl and Zp.
constexpr Range escapedCharacters[] = {
    {0x0000, 0x001f},   {0x007f, 0x009f},   {0x00ad, 0x00ad},   {0x0600, 0x0605},   {0x061c, 0x061c},
    {0x06dd, 0x06dd},   {0x070f, 0x070f},   {0x0890, 0x0891},   {0x08e2, 0x08e2},   {0x180e, 0x180e},
    {0x200b, 0x200f},   {0x2028, 0x202e},   {0x2060, 0x2064},   {0x2066, 0x206f},   {0xfeff, 0xfeff},
    {0xfff9, 0xfffb},   {0x110bd, 0x110bd}, {0x110cd, 0x110cd}, {0x13430, 0x1343f}, {0x1bca0, 0x1bca3},
    {0x1d173, 0x1d17a}, {0xe0001, 0xe0001}, {0xe0020, 0xe007f},
};

bool isEscaped(char32_t character)
{
    return std::any_of(std::begin(escapedCharacters), std::end(escapedCharacters), [=](const Range &range) {
        return character >= range.first && character <= range.last;
    });
}

/// The length of the UTF-8 sequence that begins with this byte; 1 for a byte that begins none.
size_t lengthFrom(unsigned char byte)
{
    return byte >= 0xf0 && byte < 0xf8 ? 4 : byte >= 0xe0 ? (byte < 0xf0 ? 3 : 1) : byte >= 0xc0 ? 2 : 1;
}

/// Removes and returns the first character; for an invalid sequence removes one byte and returns U+FFFD.
char32_t takeCharacter(std::string_view &text)
{
    const auto first = static_cast<unsigned char>(text[0]);
    const size_t length = lengthFrom(first);
    char32_t character = length == 1 ? first : first & (0x7fU >> length);
    bool isCharacter = first < 0x80 || length > 1;
    for (size_t i = 1; i < length; ++i) {
        const auto byte = i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
        isCharacter = isCharacter && (byte & 0xc0U) == 0x80;
        character = character << 6 | (byte & 0x3fU);
    }
    text.remove_prefix(isCharacter ? length : 1);
    return isCharacter ? character : replacement;
}

} // namespace

std::string onOneLine(std::string_view text, size_t maximum)
{
    std::string line;
    // Where each character begins.
    std::vector<size_t> begins;
    while (!text.empty()) {
        const std::string_view before = text;
        const char32_t character = takeCharacter(text);
        if (isEscaped(character)) {
            char escape[16];
            const int length =
                std::snprintf(escape, sizeof(escape), "\\u%04x", static_cast<unsigned>(character));
            for (int i = 0; i < length; ++i) {
                begins.push_back(line.size());
                line += escape[i];
            }
        } else {
            begins.push_back(line.size());
            line += character == replacement ? std::string_view("\xef\xbf\xbd")
                                             : before.substr(0, before.size() - text.size());
        }
    }
    if (begins.size() <= maximum)
        return line;
    // Messages begin with a name and end with a reason: keep both.
    const size_t head = maximum / 3;
    const size_t tail = begins.size() - (maximum - head);
    return line.substr(0, begins[head]) + "\xe2\x80\xa6" + line.substr(begins[tail]);
}
