#include "engine/hyphenation/dictionary.h"

#include <algorithm>
#include <cstdint>
#include <iconv.h>
#include <iterator>
#include <map>

namespace
{

using Patterns = std::map<std::u16string, std::string>;

/// From a dictionary's character set to UTF-16.
class Decoder
{
public:
    explicit Decoder(const std::string &characterSet)
        : m_converter(::iconv_open("UTF-16LE", characterSet.c_str()))
    {
    }
    Decoder(const Decoder &) = delete;
    Decoder &operator=(const Decoder &) = delete;
    ~Decoder()
    {
        if (*this)
            ::iconv_close(m_converter);
    }

    /// False if the character set is unknown.
    explicit operator bool() const { return reinterpret_cast<intptr_t>(m_converter) != -1; }

    /// Empty if `text` is invalid.
    std::u16string decoded(std::string_view text) const
    {
        // A character is at least a byte.
        std::u16string result(text.size(), 0);
        char *in = const_cast<char *>(text.data());
        char *out = reinterpret_cast<char *>(result.data());
        size_t left = text.size();
        size_t room = result.size() * sizeof(char16_t);
        if (::iconv(m_converter, &in, &left, &out, &room) == static_cast<size_t>(-1))
            return {};
        result.resize(result.size() - room / sizeof(char16_t));
        return result;
    }

private:
    iconv_t m_converter;
};

/// The names that dictionaries have for character sets, as iconv() knows them.
std::string characterSet(std::string_view name)
{
    constexpr std::string_view windows = "microsoft-cp";
    if (name.starts_with(windows))
        return "CP" + std::string(name.substr(windows.size()));
    return std::string(name);
}

/// The next line of `text`, which it is removed from, without whitespace at its end.
std::string_view takeLine(std::string_view &text)
{
    const size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
    return line.substr(0, line.find_last_not_of(" \t\r") + 1);
}

void add(Patterns &patterns, const std::u16string &text, const std::string &values)
{
    std::string &known = patterns[text];
    known.resize(values.size());
    std::transform(values.begin(), values.end(), known.begin(), known.begin(),
                   [](char a, char b) { return std::max(a, b); });
}

/// Options are the smallest numbers of letters before and after a break, which the browser knows itself, and
/// what is for the parts of compound words.
bool isOptionOrComment(std::string_view line)
{
    constexpr std::string_view starts[] = {"%", "#", "LEFT", "RIGHT", "COMPOUND", "NOHYPHEN"};
    return std::any_of(std::begin(starts), std::end(starts),
                       [line](std::string_view start) { return line.starts_with(start); });
}

/// Adds the pattern of a line such as ".ab3c4" or "s1sz/sz=sz,1,3".
void addLine(Patterns &patterns, std::u16string_view line)
{
    const size_t slash = line.find(u'/');
    std::u16string text;
    std::string values(1, 0);
    for (const char16_t character : line.substr(0, slash)) {
        if (character >= u'0' && character <= u'9') {
            values.back() = static_cast<char>(character - u'0');
        } else {
            text += character;
            values += '\0';
        }
    }
    // What follows the slash is another spelling.
    if (slash != std::u16string_view::npos) {
        for (char &value : values)
            value = static_cast<char>(value + value % 2);
    }
    // The browser's format has six bits for the number of values.
    constexpr size_t maximumLength = 62;
    if (!text.empty() && text.size() <= maximumLength &&
        std::any_of(values.begin(), values.end(), [](char value) { return value != 0; }))
        add(patterns, text, values);
}

} // namespace

std::vector<HyphenationPattern> patternsOf(std::string_view dictionary)
{
    const Decoder decoder(characterSet(takeLine(dictionary)));
    if (!decoder)
        return {};
    std::vector<std::string_view> lines;
    while (!dictionary.empty()) {
        const std::string_view line = takeLine(dictionary);
        if (line == "NEXTLEVEL")
            lines.clear();
        else if (!isOptionOrComment(line))
            lines.push_back(line);
    }
    Patterns patterns;
    for (const std::string_view line : lines)
        addLine(patterns, decoder.decoded(line));
    std::vector<HyphenationPattern> result;
    result.reserve(patterns.size());
    for (auto &[text, values] : patterns)
        result.push_back({text, std::move(values)});
    return result;
}
