#include "engine/hyphenation/hyb.h"

#include <algorithm>
#include <bit>
#include <clocale>
#include <cstdint>
#include <cwctype>
#include <map>
#include <unordered_map>
#include <utility>

// The file is a header and three tables, all of 32-bit words:
// - alphabet: each character and its code. 0 is the code of a word's beginning and end.
// - trie: a state is an index into one array. From a state, the entry at state + code is the transition by
//   that code if it says so itself; the entry at the state itself, which is also its transition by code 0,
//   has the state's pattern. An entry is code, next state and pattern, in as many bits as each needs.
// - patterns: the different rows of values. They apply to the places before the end of the matched text, and
//   are stored without zeros around them.

namespace
{

using Code = uint16_t;
using Words = std::vector<uint32_t>;

// A code has eleven bits.
constexpr size_t maximumCode = 0x7ff;

std::map<char16_t, Code> codesOf(const std::vector<HyphenationPattern> &patterns)
{
    std::map<char16_t, Code> codes;
    for (const HyphenationPattern &pattern : patterns) {
        for (const char16_t character : pattern.text)
            codes[character] = 0;
    }
    codes.erase(u'.');
    Code last = 0;
    for (auto &[character, code] : codes)
        code = ++last;
    return codes;
}

Words alphabetTable(std::map<char16_t, Code> codes)
{
    // Capital letters count as small ones, and both apostrophes as one.
    const locale_t locale = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    for (const auto &[character, code] : std::map(codes)) {
        if (locale)
            codes.emplace(static_cast<char16_t>(::towupper_l(character, locale)), code);
        if (character == u'\'')
            codes.emplace(u'’', code);
    }
    if (locale)
        ::freelocale(locale);
    Words table{1, static_cast<uint32_t>(codes.size())};
    for (const auto &[character, code] : codes)
        table.push_back(static_cast<uint32_t>(character) << 11 | code);
    return table;
}

/// The different rows of values, those of most patterns first; number 0 is for none.
class Rows
{
public:
    explicit Rows(const std::vector<HyphenationPattern> &patterns)
    {
        std::map<Row, size_t> counts;
        for (const HyphenationPattern &pattern : patterns)
            ++counts[rowOf(pattern.values)];
        std::vector<std::pair<size_t, Row>> sorted;
        sorted.reserve(counts.size());
        for (const auto &[row, count] : counts)
            sorted.emplace_back(count, row);
        std::sort(sorted.rbegin(), sorted.rend());
        for (const auto &[ignored, row] : sorted) {
            m_numbers[row] = count();
            const auto &[values, after] = row;
            size_t place = m_bytes.find(values);
            if (place == std::string::npos) {
                place = m_bytes.size();
                m_bytes += values;
            }
            m_entries.push_back(static_cast<uint32_t>(values.size() << 26 | after << 20 | place));
        }
    }

    uint32_t numberOf(const std::string &values) const { return m_numbers.at(rowOf(values)); }
    uint32_t count() const { return static_cast<uint32_t>(m_entries.size()); }
    bool fits() const { return m_bytes.size() < 1U << 20; }

    /// The table with the bytes in whole words.
    Words table() const
    {
        constexpr uint32_t headerWords = 4;
        Words table{0, count(), static_cast<uint32_t>((headerWords + count()) * sizeof(uint32_t)),
                    static_cast<uint32_t>(m_bytes.size())};
        table.insert(table.end(), m_entries.begin(), m_entries.end());
        for (size_t i = 0; i < m_bytes.size(); ++i) {
            if (i % 4 == 0)
                table.push_back(0);
            table.back() |= static_cast<uint32_t>(m_bytes[i]) << i % 4 * 8;
        }
        return table;
    }

private:
    /// Values without zeros around them, and the number of zeros after them.
    using Row = std::pair<std::string, size_t>;

    static Row rowOf(const std::string &values)
    {
        const size_t first = values.find_first_not_of('\0');
        const size_t end = values.find_last_not_of('\0') + 1;
        return {values.substr(first, end - first), values.size() - end};
    }

    std::map<Row, uint32_t> m_numbers;
    Words m_entries{0};
    std::string m_bytes;
};

struct State {
    uint32_t row = 0;
    std::vector<std::pair<Code, uint32_t>> next;

    bool operator==(const State &) const = default;
};

struct StateHash {
    size_t operator()(const State &state) const
    {
        size_t hash = state.row;
        for (const auto &[code, next] : state.next)
            hash = (hash * 31 + code) * 1000003 + next;
        return hash;
    }
};

/// The patterns as an automaton in which equal states are one. The last state is the first of a match.
class Automaton
{
public:
    /// Texts are added in lexicographic order.
    void add(const std::vector<Code> &text, uint32_t row)
    {
        const auto differs = std::mismatch(text.begin(), text.end(), m_lastText.begin(), m_lastText.end());
        close(static_cast<size_t>(differs.first - text.begin()));
        m_open.resize(text.size() + 1);
        m_open.back().row = row;
        m_lastText = text;
    }

    const std::vector<State> &finished()
    {
        close(0);
        number(m_open.front());
        return m_states;
    }

private:
    /// Finishes the states that are deeper in the last text.
    void close(size_t depth)
    {
        while (m_open.size() > depth + 1) {
            const uint32_t state = number(m_open.back());
            m_open.pop_back();
            m_open.back().next.emplace_back(m_lastText[m_open.size() - 1], state);
        }
    }

    uint32_t number(const State &state)
    {
        const auto [found, isNew] = m_numbers.try_emplace(state, static_cast<uint32_t>(m_states.size()));
        if (isNew)
            m_states.push_back(state);
        return found->second;
    }

    std::vector<State> m_open{State()};
    std::vector<Code> m_lastText;
    std::vector<State> m_states;
    std::unordered_map<State, uint32_t, StateHash> m_numbers;
};

/// Where each state begins in one array in which none of their entries overlap; the last one at 0.
Words placed(const std::vector<State> &states, size_t codes)
{
    Words order(states.size());
    for (size_t i = 0; i < order.size(); ++i)
        order[i] = static_cast<uint32_t>(i);
    const uint32_t first = order.back();
    // Those with many transitions first: the others fill the gaps.
    std::stable_sort(order.begin(), order.end(), [&](uint32_t a, uint32_t b) {
        return std::pair(a != first, states[b].next.size()) < std::pair(b != first, states[a].next.size());
    });
    Words places(states.size());
    std::vector<bool> taken;
    size_t free = 0;
    // Where to look first: gaps that were too small for a state are so for others with as many transitions,
    // except some of the last ones.
    constexpr size_t gaps = 200;
    size_t start = 0;
    size_t transitions = 0;
    for (const uint32_t state : order) {
        const auto &next = states[state].next;
        const auto fitsAt = [&](size_t place) {
            if (taken.size() < place + codes)
                taken.resize((place + codes) * 2);
            return !taken[place] && std::all_of(next.begin(), next.end(), [&](const auto &transition) {
                return transition.first == 0 || !taken[place + transition.first];
            });
        };
        if (next.size() != transitions)
            start = free;
        transitions = next.size();
        size_t place = std::max(start, free);
        while (!fitsAt(place))
            ++place;
        start = place - std::min(place, gaps);
        places[state] = static_cast<uint32_t>(place);
        taken[place] = true;
        for (const auto &transition : next)
            taken[place + transition.first] = true;
        while (free < taken.size() && taken[free])
            ++free;
    }
    return places;
}

/// Empty if the entries do not fit into their bits.
Words trieTable(const std::vector<State> &states, size_t codes)
{
    const Words places = placed(states, codes);
    // So that adding any code to any state stays within the array.
    const size_t size = *std::max_element(places.begin(), places.end()) + codes;
    const auto codeBits = static_cast<uint32_t>(std::bit_width(codes - 1));
    const auto stateBits = static_cast<uint32_t>(std::bit_width(size - 1));
    const uint32_t rowShift = codeBits + stateBits;
    if (rowShift >= 32)
        return {};
    // Hungarian needs a bit more than there is: the rarest rows are left out.
    const uint64_t rows = uint64_t(1) << (32 - rowShift);
    Words table{0,        (1U << codeBits) - 1,       codeBits, ((1U << stateBits) - 1) << codeBits,
                rowShift, static_cast<uint32_t>(size)};
    const size_t header = table.size();
    table.resize(header + size);
    for (size_t i = 0; i < states.size(); ++i) {
        if (states[i].row < rows)
            table[header + places[i]] |= states[i].row << rowShift;
        for (const auto &[code, next] : states[i].next)
            table[header + places[i] + code] |= places[next] << codeBits | code;
    }
    return table;
}

std::string bytesOf(const std::vector<Words> &tables)
{
    std::string bytes;
    for (const Words &table : tables) {
        for (const uint32_t word : table) {
            for (int shift = 0; shift < 32; shift += 8)
                bytes += static_cast<char>(word >> shift);
        }
    }
    return bytes;
}

} // namespace

std::string hybOf(const std::vector<HyphenationPattern> &patterns)
{
    const std::map<char16_t, Code> codes = codesOf(patterns);
    if (codes.empty() || codes.size() > maximumCode)
        return {};
    const Rows rows(patterns);
    Automaton automaton;
    std::vector<Code> text;
    for (const HyphenationPattern &pattern : patterns) {
        text.clear();
        for (const char16_t character : pattern.text)
            text.push_back(character == u'.' ? Code(0) : codes.at(character));
        automaton.add(text, rows.numberOf(pattern.values));
    }
    const Words trie = trieTable(automaton.finished(), codes.size() + 1);
    if (trie.empty() || !rows.fits())
        return {};
    const Words alphabet = alphabetTable(codes);
    const Words values = rows.table();
    Words header{0x62ad7968, 0};
    size_t end = 6;
    for (const Words *table : {&alphabet, &trie, &values}) {
        header.push_back(static_cast<uint32_t>(end * sizeof(uint32_t)));
        end += table->size();
    }
    header.push_back(static_cast<uint32_t>(end * sizeof(uint32_t)));
    return bytesOf({header, alphabet, trie, values});
}
