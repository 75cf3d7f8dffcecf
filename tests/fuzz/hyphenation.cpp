#include "engine/hyphenation/hyb.h"
#include "tests/fuzz/fuzz.h"

#include <string_view>

// An input is a hyphenation dictionary.

namespace
{

/// A file of patterns, read as the browser does, which checks nothing.
class HybFile
{
public:
    explicit HybFile(std::string_view bytes) : m_bytes(bytes) {}

    size_t size() const { return m_bytes.size(); }
    uint32_t word(size_t place) const
    {
        require(place % 4 == 0 && place + 4 <= m_bytes.size(), "everything is within the file");
        uint32_t word = 0;
        for (size_t i = 4; i-- > 0;)
            word = word << 8 | static_cast<uint8_t>(m_bytes[place + i]);
        return word;
    }
    /// A word of the table that the header has at `header`.
    uint32_t word(size_t header, size_t number) const { return word(word(header) + number * 4); }

private:
    std::string_view m_bytes;
};

constexpr size_t alphabet = 8;
constexpr size_t trie = 12;
constexpr size_t values = 16;

uint32_t highestCode(const HybFile &file)
{
    uint32_t highest = 0;
    uint32_t last = 0;
    for (size_t i = 0; i < file.word(alphabet, 1); ++i) {
        const uint32_t entry = file.word(alphabet, 2 + i);
        require(i == 0 || entry >> 11 > last, "the browser can search for a character");
        last = entry >> 11;
        highest = std::max(highest, entry & 0x7ff);
    }
    return highest;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string content =
        hybOf(patternsOf(std::string_view(reinterpret_cast<const char *>(data), size)));
    if (content.empty())
        return 0;
    const HybFile file(content);
    require(file.word(0) == 0x62ad7968 && file.word(20) == file.size(), "the header is right");
    const uint32_t codes = highestCode(file) + 1;
    const uint32_t entries = file.word(trie, 5);
    for (size_t i = 0; i < entries; ++i) {
        const uint32_t entry = file.word(trie, 6 + i);
        const uint32_t next = (entry & file.word(trie, 3)) >> file.word(trie, 2);
        require(next + codes <= entries, "a state has entries for all codes");
        require(entry >> file.word(trie, 4) < file.word(values, 1), "a state has a row that exists");
    }
    for (size_t i = 0; i < file.word(values, 1); ++i) {
        const uint32_t entry = file.word(values, 4 + i);
        require((entry & 0xfffff) + (entry >> 26) <= file.word(values, 3), "a row is among the bytes");
    }
    require(file.word(values) + file.word(values, 2) + file.word(values, 3) <= file.size(),
            "the bytes are in the file");
    return 0;
}
