#include "engine/pdf/fontprogram.h"
#include "tests/fuzz/fuzz.h"

#include <set>
#include <string>

// An input is a font program.

namespace
{

unsigned number(const std::string &bytes, size_t at, size_t length)
{
    unsigned value = 0;
    for (const char byte : bytes.substr(at, length))
        value = value << 8U | static_cast<unsigned char>(byte);
    return value;
}

/// Tags and contents of the tables.
std::multiset<std::pair<std::string, std::string>> tablesOf(const std::string &program)
{
    std::multiset<std::pair<std::string, std::string>> tables;
    for (size_t i = 0; i < number(program, 4, 2); ++i) {
        const size_t entry = 12 + 16 * i;
        tables.emplace(program.substr(entry, 4),
                       program.substr(number(program, entry + 8, 4), number(program, entry + 12, 4)));
    }
    return tables;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string program(reinterpret_cast<const char *>(data), size);
    const std::string trimmed = withoutSpareTables(program);
    if (trimmed == program)
        return 0;
    constexpr size_t padding = 3;
    require(trimmed.size() <= program.size() + padding * number(trimmed, 4, 2), "a font gets no larger");
    require(withoutSpareTables(trimmed) == trimmed, "nothing spare is left");
    const auto before = tablesOf(program);
    for (const auto &table : tablesOf(trimmed))
        require(before.contains(table), "tables stay what they were");
    return 0;
}
