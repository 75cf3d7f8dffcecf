#include "engine/pdf/structure/links.h"

#include "engine/pdf/reading/refusal.h"

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFNumberTreeObjectHelper.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>

#include <algorithm>
#include <array>
#include <set>
#include <vector>

namespace
{

/// Entries other than links that can have actions or addresses (ISO 32000-1, 12.6 and 7.7.2).
constexpr std::array catalogKeys = {"/OpenAction", "/AA", "/AcroForm", "/Names", "/URI"};

void requireNone(QPDFObjectHandle dictionary, const char *key)
{
    if (dictionary.hasKey(key))
        throw Refusal(std::string("the browser wrote ") + key +
                      ", which may lead out of the document: convert without --disable-external-links");
}

/// Moves the annotations that `isUnwanted` holds for from the page to `removed`.
template <typename Condition>
void removeAnnotations(QPDFObjectHandle page, const Condition &isUnwanted,
                       std::vector<QPDFObjectHandle> &removed)
{
    QPDFObjectHandle annotations = page.getKey("/Annots");
    if (!annotations.isArray())
        return;
    QPDFObjectHandle kept = QPDFObjectHandle::newArray();
    for (QPDFObjectHandle annotation : annotations.aitems()) {
        if (isUnwanted(annotation))
            removed.push_back(annotation);
        else
            kept.appendItem(annotation);
    }
    if (kept.getArrayNItems() == 0)
        page.removeKey("/Annots");
    else
        page.replaceKey("/Annots", kept);
}

bool isObjectReference(QPDFObjectHandle kid)
{
    return kid.isDictionary() && kid.getKey("/Type").isNameAndEquals("/OBJR");
}

/// Removes the references to `objects` from a structure element (14.7.4). A Link element without any
/// remaining reference becomes a Span.
void removeReferences(QPDFObjectHandle element, const std::set<QPDFObjGen> &objects)
{
    QPDFObjectHandle kids = element.getKey("/K");
    const std::vector<QPDFObjectHandle> items =
        kids.isArray() ? kids.getArrayAsVector() : std::vector<QPDFObjectHandle>{kids};
    QPDFObjectHandle kept = QPDFObjectHandle::newArray();
    bool hasReference = false;
    for (QPDFObjectHandle kid : items) {
        const bool isReference = isObjectReference(kid);
        if (isReference && objects.contains(kid.getKey("/Obj").getObjGen()))
            continue;
        hasReference = hasReference || isReference;
        kept.appendItem(kid);
    }
    element.replaceKey("/K", kept);
    if (!hasReference && element.getKey("/S").isNameAndEquals("/Link"))
        element.replaceKey("/S", QPDFObjectHandle::newName("/Span"));
}

/// Removes annotations, which have been removed from their pages, from the structure tree.
void untag(QPDF &pdf, const std::vector<QPDFObjectHandle> &annotations)
{
    QPDFObjectHandle root = pdf.getRoot().getKey("/StructTreeRoot");
    if (annotations.empty() || !root.isDictionary() || !root.getKey("/ParentTree").isDictionary())
        return;
    std::set<QPDFObjGen> objects;
    for (const QPDFObjectHandle &annotation : annotations)
        objects.insert(annotation.getObjGen());
    QPDFNumberTreeObjectHelper parents(root.getKey("/ParentTree"), pdf);
    for (QPDFObjectHandle annotation : annotations) {
        QPDFObjectHandle key = annotation.getKey("/StructParent");
        QPDFObjectHandle element;
        if (key.isInteger() && parents.remove(key.getIntValue(), &element) && element.isDictionary())
            removeReferences(element, objects);
    }
}

/// "../b.html#x" from "file:///home/ann/a/a.html" to "file:///home/ann/b.html#x"; empty if they have no
/// folder but the root in common.
QString relativeAddress(const QUrl &from, const QUrl &to)
{
    const QStringList folders = from.path(QUrl::FullyEncoded).split(u'/').mid(1);
    const QStringList path = to.path(QUrl::FullyEncoded).split(u'/').mid(1);
    if (folders.isEmpty() || path.isEmpty())
        return {};
    const auto differing =
        std::mismatch(folders.begin(), folders.end() - 1, path.begin(), path.end() - 1).first -
        folders.begin();
    if (differing == 0)
        return {};
    QString relative =
        QStringLiteral("../").repeated(folders.size() - 1 - differing) + path.mid(differing).join(u'/');
    // What stands before a colon would be a scheme.
    if (relative.section(u'/', 0, 0).contains(u':'))
        relative.prepend(QStringLiteral("./"));
    if (to.hasQuery())
        relative += u'?' + to.query(QUrl::FullyEncoded);
    if (to.hasFragment())
        relative += u'#' + to.fragment(QUrl::FullyEncoded);
    return relative;
}

void relateLink(QPDFObjectHandle annotation, const QUrl &base, const LinkTarget &targetOf)
{
    QPDFObjectHandle action = annotation.getKey("/A");
    if (!action.isDictionary() || !action.getKey("/URI").isString())
        return;
    const QUrl to = QUrl::fromEncoded(QByteArray::fromStdString(action.getKey("/URI").getStringValue()));
    if (QPDFObjectHandle target = targetOf(to); !target.isNull()) {
        annotation.removeKey("/A");
        annotation.replaceKey("/Dest", target);
    } else if (base.isLocalFile() && to.isLocalFile()) {
        const QString relative = relativeAddress(base, to);
        if (!relative.isEmpty())
            action.replaceKey("/URI", QPDFObjectHandle::newString(relative.toStdString()));
    }
}

} // namespace

QPDFObjectHandle startOf(QPDFPageObjectHelper page)
{
    // The page is 0 0 at its lower left.
    const double top = page.getMediaBox().getArrayItem(3).getNumericValue();
    return QPDFObjectHandle::newArray({page.getObjectHandle(), QPDFObjectHandle::newName("/XYZ"),
                                       QPDFObjectHandle::newNull(), QPDFObjectHandle::newReal(top),
                                       QPDFObjectHandle::newNull()});
}

bool mayHaveRelatedLinks(const QByteArray &printed, const QUrl &address)
{
    const QUrl origin = address.adjusted(QUrl::RemovePath | QUrl::RemoveQuery | QUrl::RemoveFragment);
    return !address.isEmpty() && printed.contains("/URI (" + origin.toEncoded());
}

void relateLinks(QPDF &pdf, const QUrl &base, const LinkTarget &targetOf)
{
    for (QPDFPageObjectHelper page : QPDFPageDocumentHelper(pdf).getAllPages()) {
        QPDFObjectHandle annotations = page.getObjectHandle().getKey("/Annots");
        if (!annotations.isArray())
            continue;
        for (const QPDFObjectHandle &annotation : annotations.aitems())
            relateLink(annotation, base, targetOf);
    }
}

void relateLinks(QPDF &pdf, const QUrl &address)
{
    const std::vector<QPDFPageObjectHelper> pages = QPDFPageDocumentHelper(pdf).getAllPages();
    relateLinks(pdf, address, [&](const QUrl &to) {
        return to.matches(address, QUrl::RemoveFragment) ? startOf(pages.front())
                                                         : QPDFObjectHandle::newNull();
    });
}

void removeExternalLinks(QPDF &pdf)
{
    for (const char *key : catalogKeys)
        requireNone(pdf.getRoot(), key);
    const auto leadsOut = [](QPDFObjectHandle annotation) {
        for (const char *key : {"/AA", "/PA"})
            requireNone(annotation, key);
        return annotation.hasKey("/A");
    };
    std::vector<QPDFObjectHandle> removed;
    for (QPDFPageObjectHelper page : QPDFPageDocumentHelper(pdf).getAllPages()) {
        requireNone(page.getObjectHandle(), "/AA");
        removeAnnotations(page.getObjectHandle(), leadsOut, removed);
    }
    untag(pdf, removed);
}

void removeDanglingLinks(QPDF &pdf)
{
    QPDFObjectHandle destinations = pdf.getRoot().getKey("/Dests");
    const auto dangles = [&](QPDFObjectHandle annotation) {
        QPDFObjectHandle destination = annotation.getKey("/Dest");
        return destination.isName() &&
               !(destinations.isDictionary() && destinations.hasKey(destination.getName()));
    };
    std::vector<QPDFObjectHandle> removed;
    for (QPDFPageObjectHelper page : QPDFPageDocumentHelper(pdf).getAllPages())
        removeAnnotations(page.getObjectHandle(), dangles, removed);
    untag(pdf, removed);
}
