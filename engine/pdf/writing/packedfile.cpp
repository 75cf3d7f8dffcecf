#include "engine/pdf/writing/packedfile.h"

#include "engine/pdf/reading/streamdata.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace
{

/// More would hardly make the file smaller, and a reader must decompress a whole stream to get one object.
constexpr size_t objectsPerStream = 200;
constexpr std::string_view oldestVersion = "1.5";
/// A comment of non-ASCII bytes, so that other programs take the file for binary (7.5.2).
constexpr std::string_view binaryMark = "%\xBF\xF7\xA2\xFE\n";

} // namespace

PackedFile::PackedFile(Sink sink, const std::string &version) : m_sink(std::move(sink))
{
    write("%PDF-" + std::max(version, std::string(oldestVersion)) + '\n');
    write(binaryMark);
}

void PackedFile::reserve(int number)
{
    m_next = std::max(m_next, number + 1);
}

void PackedFile::addObject(int number, std::string_view text)
{
    m_index += std::to_string(number) + ' ' + std::to_string(m_texts.size()) + ' ';
    m_texts += text;
    m_texts += '\n';
    m_waiting.push_back(number);
    if (m_waiting.size() == objectsPerStream)
        packWaiting();
}

void PackedFile::addStream(int number, std::string_view dictionary, std::string_view data)
{
    m_places.push_back({number, Place::InFile, 0, offset()});
    writeStream(number, dictionary, data);
}

void PackedFile::writeStream(int number, std::string_view dictionary, std::string_view data)
{
    write(std::to_string(number) + " 0 obj\n");
    write(dictionary);
    write("\nstream\n");
    write(data);
    write("\nendstream\nendobj\n");
}

void PackedFile::packWaiting()
{
    const int number = newNumber();
    for (size_t i = 0; i < m_waiting.size(); ++i)
        m_places.push_back({m_waiting[i], Place::InStream, static_cast<std::uint16_t>(i),
                            static_cast<std::uint32_t>(number)});
    const std::string data = flateCompressed(m_index + m_texts);
    addStream(number,
              "<< /Type /ObjStm /N " + std::to_string(m_waiting.size()) + " /First " +
                  std::to_string(m_index.size()) + " /Filter /FlateDecode /Length " +
                  std::to_string(data.size()) + " >>",
              data);
    m_waiting.clear();
    m_index.clear();
    m_texts.clear();
}

void PackedFile::finish(const std::string &entries)
{
    if (!m_waiting.empty())
        packWaiting();
    const int number = newNumber();
    const std::uint32_t start = offset();
    m_places.push_back({number, Place::InFile, 0, start});
    std::ranges::sort(m_places, {}, &Place::number);
    const std::string data = flateCompressed(rows());
    const std::string id = '<' + m_hash.result().toHex().toStdString() + '>';
    writeStream(number,
                "<< /Type /XRef /Size " + std::to_string(m_next) + " /W [1 4 2] /Index [0 1" + sections() +
                    "] /ID [" + id + id + ']' + entries +
                    " /Filter /FlateDecode /DecodeParms << /Predictor 12 /Columns " +
                    std::to_string(placeBytes) + " >> /Length " + std::to_string(data.size()) + " >>",
                data);
    write("startxref\n" + std::to_string(start) + "\n%%EOF\n");
}

void PackedFile::write(std::string_view bytes)
{
    m_hash.addData(QByteArrayView(bytes.data(), static_cast<qsizetype>(bytes.size())));
    m_size += bytes.size();
    m_sink(bytes);
}

std::uint32_t PackedFile::offset() const
{
    if (m_size > UINT32_MAX)
        throw std::runtime_error("the document is too big");
    return static_cast<std::uint32_t>(m_size);
}

/// The subsections of /Index: first number and length of each run of used numbers.
std::string PackedFile::sections() const
{
    std::string text;
    for (auto place = m_places.begin(); place != m_places.end();) {
        const int first = place->number;
        int end = first;
        for (; place != m_places.end() && place->number == end; ++place)
            ++end;
        text += ' ' + std::to_string(first) + ' ' + std::to_string(end - first);
    }
    return text;
}

std::string PackedFile::bytesOf(const Place &place)
{
    const auto byte = [](std::uint32_t value, unsigned shift) { return static_cast<char>(value >> shift); };
    return {static_cast<char>(place.kind), byte(place.where, 24), byte(place.where, 16), byte(place.where, 8),
            byte(place.where, 0),          byte(place.index, 8),  byte(place.index, 0)};
}

/// The entries with the PNG predictor "up" (7.4.4.4), beginning with the free entry of object 0.
std::string PackedFile::rows() const
{
    std::string above("\0\0\0\0\0\xff\xff", placeBytes);
    std::string rows = '\2' + above;
    for (const Place &place : m_places) {
        const std::string row = bytesOf(place);
        rows += '\2';
        for (size_t i = 0; i < placeBytes; ++i)
            rows += static_cast<char>(row[i] - above[i]);
        above = row;
    }
    return rows;
}
