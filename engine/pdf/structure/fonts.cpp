#include "engine/pdf/structure/fonts.h"

#include "engine/pdf/reading/streamdata.h"

#include <qpdf/QPDF.hh>

#include <algorithm>
#include <array>
#include <cstdint>
#include <set>
#include <vector>

namespace
{

constexpr std::array<std::string_view, 9> neededTables = {"cvt ", "fpgm", "glyf", "head", "hhea",
                                                          "hmtx", "loca", "maxp", "prep"};
constexpr std::array<std::string_view, 2> trueTypeMarks = {std::string_view("\0\1\0\0", 4), "true"};

constexpr size_t headBytes = 12;
constexpr size_t entryBytes = 16;
constexpr size_t alignment = 4;

std::uint32_t number(std::string_view bytes)
{
    std::uint32_t value = 0;
    for (const char byte : bytes)
        value = value << 8U | static_cast<unsigned char>(byte);
    return value;
}

std::string bytesOf(size_t value, size_t length)
{
    std::string bytes(length, '\0');
    for (size_t i = length; i-- > 0; value >>= 8U)
        bytes[i] = static_cast<char>(value & 0xffU);
    return bytes;
}

struct Table {
    std::string_view tag;
    std::string_view checksum;
    std::string_view data;
};

/// The needed tables in file order; none if the program is damaged.
std::vector<Table> tablesOf(std::string_view program)
{
    if (std::find(trueTypeMarks.begin(), trueTypeMarks.end(), program.substr(0, 4)) == trueTypeMarks.end())
        return {};
    const size_t count = number(program.substr(4, 2));
    const size_t begin = headBytes + count * entryBytes;
    if (program.size() < begin)
        return {};
    // Overlapping tables would be copied several times, and could make the result many times as large.
    size_t room = program.size() - begin;
    std::vector<Table> tables;
    for (size_t i = 0; i < count; ++i) {
        const std::string_view entry = program.substr(headBytes + i * entryBytes, entryBytes);
        const size_t offset = number(entry.substr(8, 4));
        const size_t length = number(entry.substr(12, 4));
        if (offset > program.size() || length > program.size() - offset)
            return {};
        if (std::find(neededTables.begin(), neededTables.end(), entry.substr(0, 4)) == neededTables.end())
            continue;
        if (length > room)
            return {};
        room -= length;
        tables.push_back({entry.substr(0, 4), entry.substr(4, 4), program.substr(offset, length)});
    }
    return tables;
}

/// The header of a font program: its mark, the number of tables, and the numbers for a binary search in their
/// directory.
std::string head(std::string_view mark, size_t count)
{
    size_t power = 1;
    size_t exponent = 0;
    for (; power * 2 <= count; power *= 2)
        ++exponent;
    return std::string(mark) + bytesOf(count, 2) + bytesOf(power * entryBytes, 2) + bytesOf(exponent, 2) +
           bytesOf((count - power) * entryBytes, 2);
}

void trimProgram(QPDFObjectHandle stream)
{
    const std::string program = decodedData(stream);
    const std::string trimmed = withoutSpareTables(program);
    if (trimmed.size() >= program.size())
        return;
    replaceFlateData(stream, flateCompressed(trimmed));
    stream.getDict().replaceKey("/Length1",
                                QPDFObjectHandle::newInteger(static_cast<long long>(trimmed.size())));
}

/// Null also if `holder` is no dictionary.
QPDFObjectHandle entry(QPDFObjectHandle holder, const char *key)
{
    return holder.isDictionary() ? holder.getKey(key) : QPDFObjectHandle::newNull();
}

/// The descendant fonts of a composite (Type 0) font.
std::vector<QPDFObjectHandle> descendantsOf(const QPDFObjectHandle &font)
{
    QPDFObjectHandle fonts = entry(font, "/DescendantFonts");
    return fonts.isArray() ? fonts.getArrayAsVector() : std::vector<QPDFObjectHandle>();
}

} // namespace

std::string withoutSpareTables(std::string_view program)
{
    const std::vector<Table> tables = tablesOf(program);
    if (tables.empty())
        return std::string(program);
    std::string directory = head(program.substr(0, 4), tables.size());
    std::string data;
    const size_t begin = headBytes + tables.size() * entryBytes;
    for (const Table &table : tables) {
        directory += table.tag;
        directory += table.checksum;
        directory += bytesOf(begin + data.size(), 4) + bytesOf(table.data.size(), 4);
        data += table.data;
        data.append((alignment - data.size() % alignment) % alignment, '\0');
    }
    return directory + data;
}

void trimFonts(const DocumentParts &parts)
{
    std::set<QPDFObjGen> seen;
    for (const QPDFObjectHandle &font : parts.fonts) {
        for (const QPDFObjectHandle &descendant : descendantsOf(font)) {
            QPDFObjectHandle program = entry(entry(descendant, "/FontDescriptor"), "/FontFile2");
            if (program.isStream() && seen.insert(program.getObjGen()).second)
                trimProgram(program);
        }
    }
}
