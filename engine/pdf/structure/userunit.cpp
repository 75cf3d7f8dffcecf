#include "engine/pdf/structure/userunit.h"

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>

void setUserUnit(QPDF &pdf, int points)
{
    for (QPDFPageObjectHelper page : QPDFPageDocumentHelper(pdf).getAllPages())
        page.getObjectHandle().replaceKey("/UserUnit", QPDFObjectHandle::newInteger(points));
    // Readers of older versions know none.
    pdf.getRoot().replaceKey("/Version", QPDFObjectHandle::newName("/1.6"));
}
