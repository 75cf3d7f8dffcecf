#include "engine/pdf/structure/title.h"

#include <qpdf/QPDF.hh>

void setTitle(QPDF &pdf, const QString &title)
{
    QPDFObjectHandle trailer = pdf.getTrailer();
    if (!trailer.getKey("/Info").isDictionary())
        trailer.replaceKey("/Info", pdf.makeIndirectObject(QPDFObjectHandle::newDictionary()));
    trailer.getKey("/Info").replaceKey("/Title", QPDFObjectHandle::newUnicodeString(title.toStdString()));

    QPDFObjectHandle root = pdf.getRoot();
    if (!root.getKey("/ViewerPreferences").isDictionary())
        root.replaceKey("/ViewerPreferences", QPDFObjectHandle::newDictionary());
    root.getKey("/ViewerPreferences").replaceKey("/DisplayDocTitle", QPDFObjectHandle::newBool(true));
}
