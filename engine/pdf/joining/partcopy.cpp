#include "engine/pdf/joining/partcopy.h"

#include "engine/pdf/writing/objecttext.h"
#include "engine/pdf/writing/streamobject.h"

#include <QCryptographicHash>
#include <qpdf/QPDF.hh>

#include <set>
#include <vector>

/// The object as it is in the original.
struct PartCopy::Pending {
    int number = 0;
    bool isStream = false;
    bool isNull = false;
    /// Without the data of a stream.
    std::string text;
    std::string data;
    std::vector<int> references;
    /// How many of them are done.
    size_t done = 0;
};

PartCopy::PartCopy(QPDF &pdf, PackedFile &file, WrittenObjects &written)
    : m_pdf(pdf), m_file(file), m_written(written)
{
}

void PartCopy::replace(QPDFObjectHandle object, int number)
{
    if (object.isIndirect())
        m_numbers.emplace(object.getObjectID(), number);
}

std::string PartCopy::text(std::string_view original)
{
    return renumbered(original, [this](int number) { return numberOf(number); });
}

int PartCopy::numberOf(int original)
{
    const auto [entry, isNew] = m_numbers.try_emplace(original, 0);
    if (isNew) {
        entry->second = m_file.newNumber();
        m_waiting.push_back(original);
    }
    return entry->second;
}

void PartCopy::share(QPDFObjectHandle value)
{
    std::vector<int> references;
    appendReferences(value.unparse(), references);
    for (const int number : references) {
        if (!m_numbers.contains(number))
            shareObject(number);
    }
}

PartCopy::Pending PartCopy::pending(int number)
{
    QPDFObjectHandle object = m_pdf.getObject(number, 0);
    Pending pending;
    pending.number = number;
    pending.isNull = object.isNull();
    pending.isStream = object.isStream();
    if (pending.isStream) {
        StreamObject stream(object);
        pending.text = std::move(stream.dictionary);
        pending.data = std::move(stream.data);
    } else {
        pending.text = object.unparseResolved();
    }
    appendReferences(pending.text, pending.references);
    return pending;
}

/// An object is equal to a written one if, with the new numbers of all that it refers to, its text is. So
/// these come first. It keeps a stack of its own, so that deep nesting cannot overflow the thread's.
void PartCopy::shareObject(int number)
{
    std::vector<Pending> stack;
    std::set<int> open;
    const auto begin = [&](int next) {
        open.insert(next);
        stack.push_back(pending(next));
    };
    begin(number);
    while (!stack.empty()) {
        Pending &object = stack.back();
        if (object.done < object.references.size()) {
            const int next = object.references[object.done++];
            if (m_numbers.contains(next))
                continue;
            // An object that refers back to one that waits for it: that one cannot be shared.
            if (open.contains(next))
                m_numbers.emplace(next, m_file.newNumber());
            else
                begin(next);
            continue;
        }
        object.text = text(object.text);
        if (!m_numbers.contains(object.number)) {
            QCryptographicHash hash(QCryptographicHash::Sha256);
            hash.addData(QByteArrayView(object.text.data(), static_cast<qsizetype>(object.text.size())));
            hash.addData(QByteArrayView(object.isStream ? "s" : "o", 1));
            hash.addData(QByteArrayView(object.data.data(), static_cast<qsizetype>(object.data.size())));
            int &written = m_written[hash.result()];
            const bool isNew = written == 0;
            if (isNew)
                written = m_file.newNumber();
            m_numbers.emplace(object.number, written);
            if (isNew)
                write(written, object);
        } else {
            write(m_numbers[object.number], object);
        }
        open.erase(object.number);
        stack.pop_back();
    }
}

/// The text has its new numbers.
void PartCopy::write(int number, const Pending &object)
{
    if (object.isStream)
        m_file.addStream(number, object.text, object.data);
    else if (!object.isNull)
        m_file.addObject(number, object.text);
}

void PartCopy::finish()
{
    while (!m_waiting.empty()) {
        Pending object = pending(m_waiting.front());
        m_waiting.pop_front();
        object.text = text(object.text);
        write(m_numbers[object.number], object);
    }
}
