#include "engine/pdf/outline.h"

#include <qpdf/QPDF.hh>

#include <set>

std::vector<QPDFObjectHandle> outlineEntries(QPDF &pdf)
{
    std::vector<QPDFObjectHandle> entries;
    std::vector<QPDFObjectHandle> waiting;
    std::set<QPDFObjGen> seen;
    QPDFObjectHandle outlines = pdf.getRoot().getKey("/Outlines");
    if (outlines.isDictionary())
        waiting.push_back(outlines);
    while (!waiting.empty()) {
        QPDFObjectHandle item = waiting.back();
        waiting.pop_back();
        for (const char *key : {"/First", "/Next"}) {
            QPDFObjectHandle next = item.getKey(key);
            if (!next.isDictionary() || !next.isIndirect() || !seen.insert(next.getObjGen()).second)
                continue;
            entries.push_back(next);
            waiting.push_back(next);
        }
    }
    return entries;
}
