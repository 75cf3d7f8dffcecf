#include "engine/pdf/structure.h"

#include "engine/pdf/operatorfilter.h"
#include "engine/pdf/outline.h"
#include "engine/pdf/streamdata.h"

#include <qpdf/QPDF.hh>

#include <array>

namespace
{

constexpr std::array catalogKeys = {"/StructTreeRoot", "/MarkInfo", "/PieceInfo"};
constexpr std::array pageKeys = {"/StructParents", "/PieceInfo", "/LastModified", "/Thumb", "/Metadata"};
constexpr std::array streamKeys = {"/StructParents", "/StructParent", "/PieceInfo", "/LastModified",
                                   "/Metadata"};
/// Deeper marks are taken for ones that go. Pages nest a few dozen.
constexpr size_t maximumMarks = 4096;

template <size_t count>
void removeKeys(QPDFObjectHandle dictionary, const std::array<const char *, count> &keys)
{
    for (const char *key : keys)
        dictionary.removeKey(key);
}

/// Leaves out the operators of marked content (14.6).
class MarkFilter : public OperatorFilter
{
protected:
    void handleOperator(const QPDFTokenizer::Token &token) override
    {
        const std::string &name = token.getRawValue();
        if (name == "BDC" || name == "BMC")
            begin(token);
        else if (name == "EMC")
            end(token);
        else if (name != "MP" && name != "DP")
            pass(token);
    }

private:
    void begin(const QPDFTokenizer::Token &token)
    {
        const bool stays = m_stays.size() < maximumMarks && isForReaders();
        if (m_stays.size() < maximumMarks)
            m_stays.push_back(stays);
        else
            ++m_uncounted;
        if (stays)
            pass(token);
    }

    void end(const QPDFTokenizer::Token &token)
    {
        if (m_uncounted > 0) {
            --m_uncounted;
        } else if (!m_stays.empty()) {
            if (m_stays.back())
                pass(token);
            m_stays.pop_back();
        }
    }

    bool isForReaders() const
    {
        const std::vector<std::string> &words = names();
        return !words.empty() &&
               (words[0] == "/OC" || std::find(words.begin(), words.end(), "/ActualText") != words.end());
    }

    std::vector<bool> m_stays;
    size_t m_uncounted = 0;
};

} // namespace

void removeStructure(QPDF &pdf, const DocumentParts &parts)
{
    removeKeys(pdf.getRoot(), catalogKeys);
    for (QPDFObjectHandle page : parts.pages) {
        removeKeys(page, pageKeys);
        page.removeKey("/Tabs");
    }
    for (QPDFObjectHandle annotation : parts.annotations)
        annotation.removeKey("/StructParent");
    for (const Resource &image : parts.images)
        removeKeys(QPDFObjectHandle(image.object).getDict(), streamKeys);
    for (const Content &content : parts.contents) {
        QPDFObjectHandle stream = content.stream;
        removeKeys(stream.getDict(), streamKeys);
        MarkFilter filter;
        stream.replaceStreamData(filteredContent(decodedData(stream), filter), QPDFObjectHandle::newNull(),
                                 QPDFObjectHandle::newNull());
    }
    for (QPDFObjectHandle entry : outlineEntries(pdf))
        entry.removeKey("/SE");
}
