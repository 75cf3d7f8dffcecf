#pragma once

#include <QCryptographicHash>

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

/// Writes a compact PDF file object by object: streams as they come, all other objects in object streams (ISO
/// 32000-1, 7.5.7), and a cross-reference stream. It keeps in memory only where the objects are.
class PackedFile
{
public:
    /// Takes the bytes of the file, one piece after the other; may throw.
    using Sink = std::function<void(std::string_view bytes)>;

    /// `version` is that of the PDF, "1.4"; the file has at least the oldest that knows object streams.
    PackedFile(Sink sink, const std::string &version);

    /// A number that no object has.
    int newNumber() { return m_next++; }
    /// Makes newNumber() return none up to `number`.
    void reserve(int number);

    /// Adds an object that is no stream. Similar objects compress better if they are added one after the
    /// other.
    void addObject(int number, std::string_view text);
    /// Adds a stream. `dictionary` has its /Length.
    void addStream(int number, std::string_view dictionary, std::string_view data);

    /// Writes the rest of the file. `entries` are those of the trailer: " /Root 1 0 R". Throws
    /// std::runtime_error, as the functions above do, if the file is larger than its offsets can say.
    void finish(const std::string &entries);

private:
    /// An entry of the cross-reference stream (7.5.8.3): an object's place in the file, or in an object
    /// stream.
    struct Place {
        enum Kind : std::uint8_t { InFile = 1, InStream = 2 };
        int number = 0;
        Kind kind = InFile;
        /// The index in the stream.
        std::uint16_t index = 0;
        /// The offset, or the stream's object number.
        std::uint32_t where = 0;
    };
    static constexpr size_t placeBytes = 7;

    static std::string bytesOf(const Place &place);

    void write(std::string_view bytes);
    void writeStream(int number, std::string_view dictionary, std::string_view data);
    void packWaiting();
    std::uint32_t offset() const;
    std::string sections() const;
    std::string rows() const;

    Sink m_sink;
    QCryptographicHash m_hash{QCryptographicHash::Md5};
    std::uint64_t m_size = 0;
    /// Of the object stream to come.
    std::string m_index;
    std::string m_texts;
    std::vector<int> m_waiting;
    std::vector<Place> m_places;
    int m_next = 1;
};
