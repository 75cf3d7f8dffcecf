#include "engine/pdf/writing/packer.h"

#include "engine/pdf/writing/objecttext.h"
#include "engine/pdf/writing/packedfile.h"
#include "engine/pdf/writing/source.h"
#include "engine/pdf/writing/streamobject.h"

#include <qpdf/QPDF.hh>

#include <algorithm>
#include <deque>
#include <map>
#include <set>
#include <vector>

namespace
{

class Packer
{
public:
    Packer(QPDF &pdf, const Source &source)
        : m_pdf(pdf), m_source(source.bytes()), m_read(source.sought()), m_table(pdf.getXRefTable()),
          m_file([this](std::string_view bytes) { m_bytes += bytes; }, pdf.getPDFVersion())
    {
    }

    std::string file(const std::string &xmp)
    {
        const std::string trailer = trailerEntries();
        follow(trailer);
        while (!m_waiting.empty()) {
            const int number = m_waiting.back();
            m_waiting.pop_back();
            take(number);
        }
        if (!xmp.empty())
            addMetadata(xmp);
        // Similar objects have near numbers.
        std::sort(m_texts.begin(), m_texts.end());
        for (const auto &[number, text] : m_texts)
            m_file.addObject(number, text);
        m_file.finish(trailer);
        return std::move(m_bytes);
    }

private:
    std::string trailerEntries()
    {
        // Throws if there is none: libqpdf 12 opens no file without it.
        std::string entries = " /Root " + m_pdf.getRoot().unparse();
        if (m_pdf.getTrailer().hasKey("/Info"))
            entries += " /Info " + m_pdf.getTrailer().getKey("/Info").unparse();
        return entries;
    }

    void follow(std::string_view text)
    {
        m_references.clear();
        appendReferences(text, m_references);
        for (const int number : m_references) {
            // Also above numbers of missing objects: a new object must not take one of these.
            m_file.reserve(number);
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

    void writeStream(int number, const QPDFObjectHandle &stream)
    {
        const StreamObject object(stream);
        follow(object.dictionary);
        m_file.addStream(number, object.dictionary, object.data);
    }

    void addMetadata(const std::string &xmp)
    {
        const int number = m_file.newNumber();
        m_file.addStream(
            number, "<< /Type /Metadata /Subtype /XML /Length " + std::to_string(xmp.size()) + " >>", xmp);
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

    QPDF &m_pdf;
    std::string_view m_source;
    /// Copied before packing, which reads objects too but changes none.
    std::vector<bool> m_read;
    std::map<QPDFObjGen, QPDFXRefEntry> m_table;
    std::vector<int> m_waiting;
    std::vector<int> m_references;
    std::set<int> m_seen;
    /// Number and text of the objects for object streams. The texts point into the source or into m_written.
    std::vector<std::pair<int, std::string_view>> m_texts;
    std::deque<std::string> m_written;
    std::string m_bytes;
    PackedFile m_file;
};

} // namespace

std::string packed(QPDF &pdf, const Source &source, const std::string &xmp)
{
    return Packer(pdf, source).file(xmp);
}
