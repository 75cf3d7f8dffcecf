#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// Reads numbers of 1 to 32 bits from bytes, the highest bit first, as image samples, sampled functions and
/// meshes hold them. Past the end it reads zeros.
class BitReader
{
public:
    explicit BitReader(std::string_view bytes) : m_bytes(bytes) {}

    uint32_t read(int bits)
    {
        uint64_t value = 0;
        for (int left = bits; left > 0;) {
            const int inByte = 8 - static_cast<int>(m_position & 7);
            const int taken = left < inByte ? left : inByte;
            const unsigned mask = (1U << static_cast<unsigned>(taken)) - 1;
            value = (value << static_cast<unsigned>(taken)) | ((byte() >> (inByte - taken)) & mask);
            m_position += static_cast<size_t>(taken);
            left -= taken;
        }
        return static_cast<uint32_t>(value);
    }

    void skipToByte() { m_position = (m_position + 7) & ~size_t{7}; }
    bool atEnd() const { return (m_position >> 3) >= m_bytes.size(); }
    size_t bitsLeft() const { return atEnd() ? 0 : m_bytes.size() * 8 - m_position; }

private:
    unsigned byte() const
    {
        const size_t index = m_position >> 3;
        return index < m_bytes.size() ? static_cast<unsigned char>(m_bytes[index]) : 0;
    }

    std::string_view m_bytes;
    size_t m_position = 0; ///< in bits
};

/// Writes numbers of 1 to 32 bits, the highest bit first.
class BitWriter
{
public:
    void write(uint32_t value, int bits)
    {
        for (int bit = bits - 1; bit >= 0; --bit) {
            if (m_used == 0)
                m_bytes.push_back('\0');
            if ((value >> static_cast<unsigned>(bit)) & 1U)
                m_bytes.back() =
                    static_cast<char>(static_cast<unsigned char>(m_bytes.back()) | (0x80U >> m_used));
            m_used = (m_used + 1) & 7U;
        }
    }

    void skipToByte() { m_used = 0; }
    const std::string &bytes() const { return m_bytes; }

private:
    std::string m_bytes;
    unsigned m_used = 0; ///< bits of the last byte
};

/// The largest number of `bits` bits, 1 to 32.
constexpr double maximumOf(int bits)
{
    return static_cast<double>((uint64_t{1} << static_cast<unsigned>(bits)) - 1);
}
