#include "engine/pdf/tags.h"

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFNumberTreeObjectHelper.hh>

#include <set>

namespace
{

bool isReference(QPDFObjectHandle kid)
{
    return kid.isDictionary() && kid.getKey("/Type").isNameAndEquals("/OBJR");
}

bool isReferenceTo(QPDFObjectHandle kid, const std::set<QPDFObjGen> &objects)
{
    return isReference(kid) && kid.getKey("/Obj").isIndirect() &&
           objects.contains(kid.getKey("/Obj").getObjGen());
}

/// Takes out of an element's kids what refers to `objects`.
void removeReferences(QPDFObjectHandle element, const std::set<QPDFObjGen> &objects)
{
    QPDFObjectHandle kids = element.getKey("/K");
    const std::vector<QPDFObjectHandle> items =
        kids.isArray() ? kids.getArrayAsVector() : std::vector<QPDFObjectHandle>{kids};
    QPDFObjectHandle kept = QPDFObjectHandle::newArray();
    bool hasReference = false;
    for (QPDFObjectHandle kid : items) {
        if (kid.isNull() || isReferenceTo(kid, objects))
            continue;
        hasReference = hasReference || isReference(kid);
        kept.appendItem(kid);
    }
    if (kept.getArrayNItems() == 0)
        element.removeKey("/K");
    else
        element.replaceKey("/K", kept.getArrayNItems() == 1 ? kept.getArrayItem(0) : kept);
    if (!hasReference && element.getKey("/S").isNameAndEquals("/Link"))
        element.replaceKey("/S", QPDFObjectHandle::newName("/Span"));
}

} // namespace

void untagAnnotations(QPDF &pdf, const std::vector<QPDFObjectHandle> &annotations)
{
    QPDFObjectHandle root = pdf.getRoot().getKey("/StructTreeRoot");
    if (annotations.empty() || !root.isDictionary() || !root.getKey("/ParentTree").isDictionary())
        return;
    std::set<QPDFObjGen> objects;
    for (const QPDFObjectHandle &annotation : annotations) {
        if (QPDFObjectHandle(annotation).isIndirect())
            objects.insert(annotation.getObjGen());
    }
    QPDFNumberTreeObjectHelper parents(root.getKey("/ParentTree"), pdf);
    for (QPDFObjectHandle annotation : annotations) {
        QPDFObjectHandle key = annotation.getKey("/StructParent");
        QPDFObjectHandle element;
        if (!key.isInteger() || !parents.remove(key.getIntValue(), &element))
            continue;
        if (element.isDictionary())
            removeReferences(element, objects);
    }
}
