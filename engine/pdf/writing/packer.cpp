#include "engine/pdf/writing/packer.h"

#include "engine/pdf/reading/streamdata.h"
#include "engine/pdf/writing/objecttext.h"
#include "engine/pdf/writing/source.h"

#include <QCryptographicHash>
#include <qpdf/QPDF.hh>

#include <algorithm>
#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <set>
#include <stdexcept>
#include <vector>

namespace
{

/// More would hardly make the file smaller, and a reader must decompress a whole stream to get one object.
constexpr size_t objectsPerStream = 200;
constexpr std::string_view oldestVersion = "1.5";
/// A comment of non-ASCII bytes, so that other programs take the file for binary (7.5.2).
constexpr std::string_view binaryMark = "%\xBF\xF7\xA2\xFE\n";

/// An entry of the cross-reference stream (7.5.8.3): an object's place in the file, or in an object stream.
struct Place {
    enum Kind : std::uint8_t { InFile = 1, InStream = 2 };
    Kind kind = InFile;
    /// The offset, or the stream's object number.
    std::uint32_t where = 0;
    /// 0, or the index in the stream.
    std::uint16_t index = 0;
};
constexpr size_t placeBytes = 7;

std::array<unsigned char, placeBytes> bytesOf(const Place &place)
{
    const auto byte = [](std::uint32_t value, unsigned shift) {
        return static_cast<unsigned char>(value >> shift);
    };
    return {static_cast<unsigned char>(place.kind),
            byte(place.where, 24),
            byte(place.where, 16),
            byte(place.where, 8),
            byte(place.where, 0),
            byte(place.index, 8),
            byte(place.index, 0)};
}

class Packer
{
public:
    Packer(QPDF &pdf, const Source &source)
        : m_pdf(pdf), m_source(source.bytes()), m_read(source.sought()), m_table(pdf.getXRefTable())
    {
    }

    std::string file(const std::string &xmp)
    {
        m_file = "%PDF-" + std::max(m_pdf.getPDFVersion(), std::string(oldestVersion)) + '\n';
        m_file += binaryMark;
        const std::string trailer = trailerEntries();
        follow(trailer);
        while (!m_waiting.empty()) {
            const int number = m_waiting.back();
            m_waiting.pop_back();
            take(number);
        }
        if (!xmp.empty())
            addMetadata(xmp);
        packTexts();
        writeTable(trailer);
        return std::move(m_file);
    }

private:
    std::string trailerEntries()
    {
        std::string entries;
        for (const char *key : {"/Root", "/Info"}) {
            if (m_pdf.getTrailer().hasKey(key))
                entries += ' ' + std::string(key) + ' ' + m_pdf.getTrailer().getKey(key).unparse();
        }
        return entries;
    }

    void follow(std::string_view text)
    {
        m_references.clear();
        appendReferences(text, m_references);
        for (const int number : m_references) {
            // Also above numbers of missing objects: a new object must not take one of these.
            m_next = std::max(m_next, number + 1);
            if (m_seen.insert(number).second)
                m_waiting.push_back(number);
        }
    }

    void take(int number)
    {
        const std::string_view text = untouchedText(number);
        if (!text.empty()) {
            follow(text);
            m_texts.emplace_back(number, text);
            return;
        }
        QPDFObjectHandle object = m_pdf.getObject(number, 0);
        if (object.isStream()) {
            writeStream(number, object);
        } else if (!object.isNull()) {
            m_written.push_back(object.unparseResolved());
            follow(m_written.back());
            m_texts.emplace_back(number, m_written.back());
        }
    }

    /// The text of an object in the source; empty if the object has been read, and so may have been changed,
    /// or if it is neither a dictionary nor an array.
    std::string_view untouchedText(int number) const
    {
        const auto entry = m_table.find(QPDFObjGen(number, 0));
        if (entry == m_table.end() || entry->second.getType() != 1)
            return {};
        const auto offset = static_cast<size_t>(entry->second.getOffset());
        if (offset >= m_source.size() || m_read[offset])
            return {};
        return objectText(m_source.substr(offset), number);
    }

    void writeStream(int number, QPDFObjectHandle stream)
    {
        std::string data = storedData(stream);
        QPDFObjectHandle dictionary = stream.getDict().shallowCopy();
        if (data.empty()) {
            // Empty data is not valid Flate; some viewers report it as damaged.
            dictionary.removeKey("/Filter");
        } else if (!dictionary.hasKey("/Filter")) {
            dictionary.replaceKey("/Filter", QPDFObjectHandle::newName("/FlateDecode"));
            data = flateCompressed(data);
        }
        dictionary.replaceKey("/Length", QPDFObjectHandle::newInteger(static_cast<long long>(data.size())));
        const std::string text = dictionary.unparse();
        follow(text);
        writeObject(number, text + "\nstream\n" + data + "\nendstream");
    }

    void writeObject(int number, const std::string &text)
    {
        m_places[number] = {Place::InFile, offset(), 0};
        m_file += std::to_string(number) + " 0 obj\n" + text + "\nendobj\n";
    }

    std::uint32_t offset() const
    {
        if (m_file.size() > UINT32_MAX)
            throw std::runtime_error("the document is too big");
        return static_cast<std::uint32_t>(m_file.size());
    }

    void addMetadata(const std::string &xmp)
    {
        const int number = m_next++;
        writeObject(number, "<< /Type /Metadata /Subtype /XML /Length " + std::to_string(xmp.size()) +
                                " >>\nstream\n" + xmp + "\nendstream");
        // Added as text: libqpdf drops references to objects that it does not know.
        QPDFObjectHandle catalog = m_pdf.getRoot().shallowCopy();
        catalog.removeKey("/Metadata");
        const std::string root = catalog.unparseResolved();
        m_written.push_back(root.substr(0, root.rfind(">>")) + "/Metadata " + std::to_string(number) +
                            " 0 R >>");
        const int catalogue = m_pdf.getRoot().getObjectID();
        for (auto &[id, text] : m_texts) {
            if (id == catalogue)
                text = m_written.back();
        }
    }

    /// In the order of object numbers: similar objects have near numbers, and compress better together.
    void packTexts()
    {
        std::sort(m_texts.begin(), m_texts.end());
        for (size_t first = 0; first < m_texts.size(); first += objectsPerStream)
            packTexts(first, std::min(first + objectsPerStream, m_texts.size()));
    }

    void packTexts(size_t first, size_t last)
    {
        const int number = m_next++;
        std::string index;
        std::string texts;
        for (size_t i = first; i < last; ++i) {
            index += std::to_string(m_texts[i].first) + ' ' + std::to_string(texts.size()) + ' ';
            texts += m_texts[i].second;
            texts += '\n';
            m_places[m_texts[i].first] = {Place::InStream, static_cast<std::uint32_t>(number),
                                          static_cast<std::uint16_t>(i - first)};
        }
        const std::string data = flateCompressed(index + texts);
        writeObject(number, "<< /Type /ObjStm /N " + std::to_string(last - first) + " /First " +
                                std::to_string(index.size()) + " /Filter /FlateDecode /Length " +
                                std::to_string(data.size()) + " >>\nstream\n" + data + "\nendstream");
    }

    void writeTable(const std::string &trailer)
    {
        const int number = m_next++;
        const std::uint32_t start = offset();
        m_places[number] = {Place::InFile, start, 0};
        const std::string data = flateCompressed(rows());
        const QByteArray hash =
            QCryptographicHash::hash({m_file.data(), static_cast<qsizetype>(m_file.size())},
                                     QCryptographicHash::Md5)
                .toHex();
        const std::string id = '<' + hash.toStdString() + '>';
        m_file += std::to_string(number) + " 0 obj\n<< /Type /XRef /Size " + std::to_string(m_next) +
                  " /W [1 4 2] /Index [0 1" + sections() + "] /ID [" + id + id + ']' + trailer +
                  " /Filter /FlateDecode /DecodeParms << /Predictor 12 /Columns " +
                  std::to_string(placeBytes) + " >> /Length " + std::to_string(data.size()) +
                  " >>\nstream\n" + data + "\nendstream\nendobj\nstartxref\n" + std::to_string(start) +
                  "\n%%EOF\n";
    }

    /// The subsections of /Index: first number and length of each run of used numbers.
    std::string sections() const
    {
        std::string text;
        for (auto entry = m_places.begin(); entry != m_places.end();) {
            const int first = entry->first;
            int last = first;
            while (++entry != m_places.end() && entry->first == last + 1)
                ++last;
            text += ' ' + std::to_string(first) + ' ' + std::to_string(last - first + 1);
        }
        return text;
    }

    /// The entries with the PNG predictor "up" (7.4.4.4), beginning with the free entry of object 0.
    std::string rows() const
    {
        std::array<unsigned char, placeBytes> above = {0, 0, 0, 0, 0, 0xff, 0xff};
        std::string rows(1, '\2');
        rows.append(above.begin(), above.end());
        for (const auto &[number, place] : m_places) {
            const std::array<unsigned char, placeBytes> row = bytesOf(place);
            rows += '\2';
            for (size_t i = 0; i < placeBytes; ++i)
                rows += static_cast<char>(row[i] - above[i]);
            above = row;
        }
        return rows;
    }

    QPDF &m_pdf;
    std::string_view m_source;
    /// Copied before packing, which reads objects too but changes none.
    std::vector<bool> m_read;
    std::map<QPDFObjGen, QPDFXRefEntry> m_table;
    std::string m_file;
    std::vector<int> m_waiting;
    std::vector<int> m_references;
    std::set<int> m_seen;
    /// Number and text of the objects for object streams. The texts point into the source or into m_written.
    std::vector<std::pair<int, std::string_view>> m_texts;
    std::deque<std::string> m_written;
    std::map<int, Place> m_places;
    /// The next free object number.
    int m_next = 1;
};

} // namespace

std::string packed(QPDF &pdf, const Source &source, const std::string &xmp)
{
    return Packer(pdf, source).file(xmp);
}
