#include "engine/pdf/copies.h"

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFPageObjectHelper.hh>

namespace
{

/// An annotation belongs to one page only (ISO 32000-1, 12.5.2), so a copied page gets its own.
void copyAnnotations(QPDF &pdf, QPDFObjectHandle page)
{
    QPDFObjectHandle annotations = page.getKey("/Annots");
    if (!annotations.isArray())
        return;
    QPDFObjectHandle copies = QPDFObjectHandle::newArray();
    for (QPDFObjectHandle annotation : annotations.aitems()) {
        if (!annotation.isDictionary())
            continue;
        QPDFObjectHandle copy = annotation.shallowCopy();
        copy.removeKey("/StructParent");
        if (copy.hasKey("/P"))
            copy.replaceKey("/P", page);
        copies.appendItem(pdf.makeIndirectObject(copy));
    }
    page.replaceKey("/Annots", copies);
}

} // namespace

void repeatPages(QPDF &pdf, int copies)
{
    QPDFPageDocumentHelper document(pdf);
    const std::vector<QPDFPageObjectHelper> pages = document.getAllPages();
    for (int copy = 1; copy < copies; ++copy) {
        for (QPDFPageObjectHelper page : pages) {
            QPDFPageObjectHelper repeated = page.shallowCopyPage();
            // The marked content of the copy belongs to the original's structure elements already.
            repeated.getObjectHandle().removeKey("/StructParents");
            copyAnnotations(pdf, repeated.getObjectHandle());
            document.addPage(repeated, false);
        }
    }
}
