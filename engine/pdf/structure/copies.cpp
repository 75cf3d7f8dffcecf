#include "engine/pdf/structure/copies.h"

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>

#include <algorithm>

namespace
{

/// Adds objects without QPDF::makeIndirectObject(), which reads every object to find a free number: for long
/// documents that is slower than all other edits together (see packed()).
class NewObjects
{
public:
    explicit NewObjects(QPDF &pdf)
        : m_pdf(pdf), m_next(std::max(pdf.getXRefTable().rbegin()->first.getObj() + 1,
                                      pdf.getTrailer().getKey("/Size").getIntValueAsInt()))
    {
    }

    QPDFObjectHandle add(const QPDFObjectHandle &object)
    {
        m_pdf.replaceObject(m_next, 0, object);
        return m_pdf.getObject(m_next++, 0);
    }

private:
    QPDF &m_pdf;
    int m_next;
};

/// An annotation belongs to one page only (ISO 32000-1, 12.5.2), so a copied page gets its own.
QPDFObjectHandle copiesOf(QPDFObjectHandle annotations, NewObjects &objects)
{
    QPDFObjectHandle copies = QPDFObjectHandle::newArray();
    for (QPDFObjectHandle annotation : annotations.aitems()) {
        QPDFObjectHandle copy = annotation.shallowCopy();
        copy.removeKey("/StructParent");
        copies.appendItem(objects.add(copy));
    }
    return copies;
}

} // namespace

void repeatPages(QPDF &pdf, int copies)
{
    QPDFObjectHandle root = pdf.getRoot().getKey("/Pages");
    QPDFObjectHandle kids = QPDFObjectHandle::newArray();
    NewObjects objects(pdf);
    const std::vector<QPDFPageObjectHelper> pages = QPDFPageDocumentHelper(pdf).getAllPages();
    for (int copy = 0; copy < copies; ++copy) {
        for (QPDFPageObjectHelper page : pages) {
            QPDFObjectHandle object = page.getObjectHandle();
            if (copy > 0) {
                object = object.shallowCopy();
                // Its marked content is already in the structure tree, as content of the original page.
                object.removeKey("/StructParents");
                if (object.getKey("/Annots").isArray())
                    object.replaceKey("/Annots", copiesOf(object.getKey("/Annots"), objects));
                object = objects.add(object);
            }
            object.replaceKey("/Parent", root);
            kids.appendItem(object);
        }
    }
    root.replaceKey("/Kids", kids);
    root.replaceKey("/Count", QPDFObjectHandle::newInteger(kids.getArrayNItems()));
}
