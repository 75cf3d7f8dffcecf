#include "engine/pdf/writing/objecttext.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <stdexcept>
#include <utility>

namespace
{

constexpr std::string_view blanks{"\0\t\n\f\r ", 6};

/// The characters that end a word. A table for speed: all packed text goes through it.
constexpr auto endsWord = [] {
    std::array<bool, 256> table{};
    for (const char character : std::string_view("\0\t\n\f\r ()<>[]{}/%", 16))
        table[static_cast<unsigned char>(character)] = true;
    return table;
}();

/// The words of an object's text without its strings and comments (ISO 32000-1, 7.2).
class Words
{
public:
    explicit Words(std::string_view text) : m_text(text) {}

    /// The next word: "<<", ">>", a delimiter, a name with its slash, a number or a keyword; empty at the
    /// end.
    std::string_view next()
    {
        while (true) {
            m_at = std::min(m_text.find_first_not_of(blanks, m_at), m_text.size());
            if (m_at == m_text.size())
                return {};
            const char first = m_text[m_at];
            if (first == '(')
                skipString();
            else if (first == '%')
                m_at = std::min(m_text.find_first_of("\r\n", m_at), m_text.size());
            else if (first == '<' && m_text.substr(m_at, 2) != "<<")
                m_at = std::min(m_text.find('>', m_at), m_text.size() - 1) + 1;
            else
                return take(first);
        }
    }

    /// The offset up to which the text has been read.
    size_t position() const { return m_at; }

private:
    std::string_view take(char first)
    {
        const size_t begin = m_at++;
        if (first == '<' || (first == '>' && m_text.substr(begin, 2) == ">>"))
            ++m_at;
        else if (first == '/' || !endsWord[static_cast<unsigned char>(first)])
            while (m_at < m_text.size() && !endsWord[static_cast<unsigned char>(m_text[m_at])])
                ++m_at;
        return m_text.substr(begin, m_at - begin);
    }

    void skipString()
    {
        int depth = 0;
        do {
            const char character = m_text[m_at++];
            if (character == '\\')
                m_at = std::min(m_at + 1, m_text.size());
            else if (character == '(')
                ++depth;
            else if (character == ')')
                --depth;
        } while (depth > 0 && m_at < m_text.size());
    }

    std::string_view m_text;
    size_t m_at = 0;
};

std::optional<int> wholeNumber(std::string_view word)
{
    int number = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (error != std::errc() || end != word.data() + word.size() || number < 0)
        return std::nullopt;
    return number;
}

} // namespace

std::string_view objectText(std::string_view text, int number)
{
    Words words(text);
    if (wholeNumber(words.next()) != number || wholeNumber(words.next()) != 0 || words.next() != "obj")
        return {};
    text.remove_prefix(words.position());
    words = Words(text);
    int depth = 0;
    do {
        const std::string_view word = words.next();
        if (word == "<<" || word == "[")
            ++depth;
        else if (word == ">>" || word == "]")
            --depth;
        else if (word.empty() || depth == 0)
            return {};
    } while (depth > 0);
    const size_t end = words.position();
    if (depth < 0 || words.next() != "endobj")
        return {};
    const size_t begin = text.find_first_not_of(blanks);
    return text.substr(begin, end - begin);
}

namespace
{

/// Calls `found` with each reference's object number, and the words that stand for this and the generation.
template <typename Found>
void eachReference(std::string_view text, const Found &found)
{
    Words words(text);
    std::string_view number;
    std::string_view generation;
    for (std::string_view word = words.next(); !word.empty(); word = words.next()) {
        if (word == "R") {
            const std::optional<int> first = wholeNumber(number);
            if (first && wholeNumber(generation) != 0)
                throw std::runtime_error("an object has a generation");
            if (first)
                found(*first, number);
        }
        number = std::exchange(generation, word);
    }
}

} // namespace

void appendReferences(std::string_view text, std::vector<int> &references)
{
    eachReference(text, [&](int number, std::string_view) { references.push_back(number); });
}

std::string renumbered(std::string_view text, const std::function<int(int number)> &numberOf)
{
    std::string result;
    size_t done = 0;
    eachReference(text, [&](int number, std::string_view word) {
        const auto begin = static_cast<size_t>(word.data() - text.data());
        result += text.substr(done, begin - done);
        result += std::to_string(numberOf(number));
        done = begin + word.size();
    });
    return result += text.substr(done);
}
