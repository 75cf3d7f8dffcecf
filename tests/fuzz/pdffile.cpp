#include "tests/fuzz/pdffile.h"

#include <QRegularExpression>
#include <qpdf/Pl_Discard.hh>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>

#include <map>
#include <set>
#include <utility>
#include <vector>

namespace
{

constexpr int mostObjects = 200;
/// "200 65535 obj" and some blanks.
constexpr qsizetype longestId = 20;

/// The text of one object with the length of its stream, if it has one.
QByteArray withLength(const QByteArray &object)
{
    const qsizetype begin = object.indexOf(">>\nstream\n");
    const qsizetype end = object.lastIndexOf("\nendstream");
    if (begin < 0 || end < begin + 10)
        return object;
    return object.left(begin) + " /Length " + QByteArray::number(end - begin - 10) + ' ' + object.mid(begin);
}

/// Pairs of objects still to be compared, and those that have been.
class Comparison
{
public:
    bool holds(const QPDFObjectHandle &one, const QPDFObjectHandle &other)
    {
        m_waiting.emplace_back(one, other);
        while (!m_waiting.empty()) {
            const auto [left, right] = m_waiting.back();
            m_waiting.pop_back();
            if (!isSame(left, right))
                return false;
        }
        return true;
    }

private:
    bool isSame(QPDFObjectHandle one, QPDFObjectHandle other)
    {
        if (one.isIndirect() && !m_seen.insert({one.getObjGen(), other.getObjGen()}).second)
            return true;
        if (one.getTypeCode() != other.getTypeCode())
            return false;
        if (one.isStream())
            return isSameStream(one, other);
        if (one.isDictionary())
            return isSameDictionary(one, other);
        if (one.isArray())
            return isSameArray(one, other);
        return one.unparseResolved() == other.unparseResolved();
    }

    bool isSameArray(QPDFObjectHandle one, QPDFObjectHandle other)
    {
        const int count = one.getArrayNItems();
        if (count != other.getArrayNItems())
            return false;
        for (int i = 0; i < count; ++i)
            m_waiting.emplace_back(one.getArrayItem(i), other.getArrayItem(i));
        return true;
    }

    bool isSameDictionary(QPDFObjectHandle one, QPDFObjectHandle other)
    {
        std::set<std::string> keys = one.getKeys();
        keys.merge(other.getKeys());
        for (const std::string &key : keys)
            m_waiting.emplace_back(one.getKey(key), other.getKey(key));
        return true;
    }

    /// By its data as they come out, and its dictionary but for what tells how they are stored.
    bool isSameStream(QPDFObjectHandle one, QPDFObjectHandle other)
    {
        QPDFObjectHandle dictionaries[] = {one.getDict().shallowCopy(), other.getDict().shallowCopy()};
        for (QPDFObjectHandle dictionary : dictionaries) {
            for (const char *key : {"/Length", "/Filter", "/DecodeParms"})
                dictionary.removeKey(key);
        }
        return isSameDictionary(dictionaries[0], dictionaries[1]) && dataOf(one) == dataOf(other);
    }

    /// Decoded; as they are stored, if they cannot be.
    static std::string dataOf(QPDFObjectHandle stream)
    {
        std::shared_ptr<Buffer> data;
        try {
            data = stream.getStreamData(qpdf_dl_specialized);
        } catch (const std::exception &) {
            data = stream.getRawStreamData();
        }
        return {reinterpret_cast<const char *>(data->getBuffer()), data->getSize()};
    }

    std::set<std::pair<QPDFObjGen, QPDFObjGen>> m_seen;
    std::vector<std::pair<QPDFObjectHandle, QPDFObjectHandle>> m_waiting;
};

} // namespace

std::string fileOf(const QByteArray &objects)
{
    QByteArray file = "%PDF-1.7\n";
    std::map<int, QByteArray> entries;
    for (qsizetype at = 0; at < objects.size();) {
        const qsizetype end = objects.indexOf("\nendobj", at);
        const qsizetype next = end < 0 ? objects.size() : std::min(end + 8, objects.size());
        const QByteArray object = objects.mid(at, next - at);
        const QList<QByteArray> ids = object.left(longestId).simplified().split(' ');
        const int number = ids[0].toInt();
        const ushort generation = ids.value(1).toUShort();
        if (number > 0 && number <= mostObjects)
            entries[number] = QByteArray::number(file.size()).rightJustified(10, '0') + ' ' +
                              QByteArray::number(generation).rightJustified(5, '0') + " n \n";
        file += withLength(object);
        at = next;
    }
    const int size = entries.empty() ? 1 : entries.rbegin()->first + 1;
    const qsizetype table = file.size();
    file += "\nxref\n0 " + QByteArray::number(size) + "\n0000000000 65535 f \n";
    for (int number = 1; number < size; ++number) {
        const auto entry = entries.find(number);
        file += entry == entries.end() ? QByteArray("0000000000 65535 f \n") : entry->second;
    }
    file += "trailer\n<< /Root 1 0 R /Info 2 0 R /Size " + QByteArray::number(size) + " >>\nstartxref\n" +
            QByteArray::number(table + 1) + "\n%%EOF\n";
    return file.toStdString();
}

Reading readingOf(const std::string &file, bool mayRepair)
{
    Reading reading;
    QPDF pdf;
    pdf.setSuppressWarnings(true);
    pdf.setAttemptRecovery(mayRepair);
    try {
        pdf.processMemoryFile("a file", file.data(), file.size());
        reading.opens = true;
        reading.pages = QPDFPageDocumentHelper(pdf).getAllPages().size();
        for (QPDFObjectHandle object : pdf.getAllObjects()) {
            Pl_Discard nowhere;
            if (object.isStream())
                object.pipeStreamData(&nowhere, 0, qpdf_dl_specialized);
        }
        reading.isClean = !pdf.anyWarnings();
    } catch (const std::exception &) {
        reading.isClean = false;
    }
    return reading;
}

bool sameObjects(QPDF &one, QPDF &other)
{
    Comparison comparison;
    return comparison.holds(one.getRoot(), other.getRoot()) &&
           comparison.holds(one.getTrailer().getKey("/Info"), other.getTrailer().getKey("/Info"));
}
