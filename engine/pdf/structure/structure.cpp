#include "engine/pdf/structure/structure.h"

#include "engine/pdf/reading/operatorfilter.h"
#include "engine/pdf/reading/parts.h"
#include "engine/pdf/reading/streamdata.h"

#include <qpdf/QPDF.hh>

#include <algorithm>
#include <set>
#include <vector>

namespace
{

/// Removes marked-content operators (14.6).
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
        else
            pass(token);
    }

private:
    void begin(const QPDFTokenizer::Token &token)
    {
        m_stays.push_back(std::find(names().begin(), names().end(), "/ActualText") != names().end());
        if (m_stays.back())
            pass(token);
    }

    void end(const QPDFTokenizer::Token &token)
    {
        if (m_stays.empty())
            return;
        if (m_stays.back())
            pass(token);
        m_stays.pop_back();
    }

    std::vector<bool> m_stays;
};

/// All entries of the outline (12.3.3), in no particular order.
std::vector<QPDFObjectHandle> outlineEntries(QPDF &pdf)
{
    std::vector<QPDFObjectHandle> entries;
    std::vector<QPDFObjectHandle> waiting = {pdf.getRoot().getKey("/Outlines")};
    std::set<QPDFObjGen> seen;
    while (!waiting.empty()) {
        QPDFObjectHandle item = waiting.back();
        waiting.pop_back();
        if (!item.isDictionary() || !seen.insert(item.getObjGen()).second)
            continue;
        entries.push_back(item);
        for (const char *key : {"/First", "/Next"})
            waiting.push_back(item.getKey(key));
    }
    return entries;
}

} // namespace

void removeStructure(QPDF &pdf)
{
    const DocumentParts parts = DocumentParts::of(pdf);
    for (const char *key : {"/StructTreeRoot", "/MarkInfo"})
        pdf.getRoot().removeKey(key);
    for (QPDFObjectHandle page : parts.pages) {
        for (const char *key : {"/StructParents", "/Tabs"})
            page.removeKey(key);
    }
    for (QPDFObjectHandle annotation : parts.annotations)
        annotation.removeKey("/StructParent");
    for (const Content &content : parts.contents) {
        QPDFObjectHandle stream = content.stream;
        stream.getDict().removeKey("/StructParents");
        MarkFilter filter;
        stream.replaceStreamData(filteredContent(decodedData(stream), filter), QPDFObjectHandle::newNull(),
                                 QPDFObjectHandle::newNull());
    }
    for (QPDFObjectHandle entry : outlineEntries(pdf))
        entry.removeKey("/SE");
}
