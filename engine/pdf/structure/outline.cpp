#include "engine/pdf/structure/outline.h"

#include <qpdf/QPDF.hh>

#include <vector>

namespace
{

/// An entry of the outline, or its root, whose level is 0.
struct Entry {
    int level;
    QPDFObjectHandle object;
};

/// Those of the first level can be seen; those below are closed, for which they are counted downwards.
void append(QPDFObjectHandle parent, QPDFObjectHandle entry)
{
    const bool isOpen = parent.hasKey("/Type");
    const long long count = parent.hasKey("/Count") ? parent.getKey("/Count").getIntValue() : 0;
    parent.replaceKey("/Count", QPDFObjectHandle::newInteger(isOpen ? count + 1 : count - 1));
    entry.replaceKey("/Parent", parent);
    if (parent.hasKey("/Last")) {
        QPDFObjectHandle before = parent.getKey("/Last");
        before.replaceKey("/Next", entry);
        entry.replaceKey("/Prev", before);
    } else {
        parent.replaceKey("/First", entry);
    }
    parent.replaceKey("/Last", entry);
}

} // namespace

void addOutline(QPDF &pdf, const QList<PageHeading> &headings)
{
    QPDFObjectHandle catalogue = pdf.getRoot();
    QPDFObjectHandle destinations = catalogue.getKey("/Dests");
    if (!destinations.isDictionary() || catalogue.hasKey("/Outlines"))
        return;
    std::vector<Entry> branch{{0, pdf.makeIndirectObject(QPDFObjectHandle::parse("<< /Type /Outlines >>"))}};
    for (const PageHeading &heading : headings) {
        QPDFObjectHandle destination = destinations.getKey('/' + heading.name.toStdString());
        if (!destination.isArray())
            continue;
        while (branch.size() > 1 && branch.back().level >= heading.level)
            branch.pop_back();
        QPDFObjectHandle entry = pdf.makeIndirectObject(QPDFObjectHandle::newDictionary());
        entry.replaceKey("/Title", QPDFObjectHandle::newUnicodeString(heading.title.toStdString()));
        entry.replaceKey("/Dest", destination.shallowCopy());
        append(branch.back().object, entry);
        branch.push_back({heading.level, entry});
    }
    if (branch.front().object.hasKey("/First"))
        catalogue.replaceKey("/Outlines", branch.front().object);
}
