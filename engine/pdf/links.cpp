#include "engine/pdf/links.h"

#include "engine/pdf/actions.h"
#include "engine/pdf/outline.h"
#include "engine/pdf/tags.h"

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>

#include <array>
#include <set>
#include <string_view>
#include <vector>

namespace
{

/// Annotations whose /A says how to play a film, not where to go.
constexpr std::string_view filmAnnotation = "/Movie";

/// What the document itself does, or tells of where it and its parts come from on the web.
constexpr std::array catalogKeys = {"/URI", "/SpiderInfo"};
/// Scripts of the document, and what web capture notes of addresses (7.7.4).
constexpr std::array nameTrees = {"/JavaScript", "/URLS", "/IDS"};

bool hasNothingToDo(QPDFObjectHandle annotation)
{
    return annotation.getKey("/Subtype").isNameAndEquals("/Link") && !annotation.hasKey("/A") &&
           !annotation.hasKey("/Dest") && !annotation.hasKey("/AA");
}

void sieveAnnotation(QPDFObjectHandle annotation)
{
    QPDFObjectHandle kind = annotation.getKey("/Subtype");
    if (kind.isName() && kind.getName() == filmAnnotation)
        annotation.replaceKey("/A", QPDFObjectHandle::newBool(false));
    else
        keepInternalAction(annotation, "/A");
    annotation.removeKey("/PA");
    keepInternalAdditionalActions(annotation);
}

void sievePage(QPDFObjectHandle page, std::vector<QPDFObjectHandle> &removed)
{
    keepInternalAdditionalActions(page);
    QPDFObjectHandle annotations = page.getKey("/Annots");
    if (!annotations.isArray())
        return;
    QPDFObjectHandle kept = QPDFObjectHandle::newArray();
    for (QPDFObjectHandle annotation : annotations.aitems()) {
        if (!annotation.isDictionary())
            continue;
        sieveAnnotation(annotation);
        if (hasNothingToDo(annotation))
            removed.push_back(annotation);
        else
            kept.appendItem(annotation);
    }
    if (kept.getArrayNItems() == 0)
        page.removeKey("/Annots");
    else
        page.replaceKey("/Annots", kept);
}

/// Form fields lie in a tree (12.7.3); only its leaves need be annotations of a page.
void sieveFields(QPDFObjectHandle fields)
{
    std::vector<QPDFObjectHandle> waiting;
    std::set<QPDFObjGen> seen;
    if (fields.isArray())
        waiting = fields.getArrayAsVector();
    while (!waiting.empty()) {
        QPDFObjectHandle field = waiting.back();
        waiting.pop_back();
        if (!field.isDictionary() || (field.isIndirect() && !seen.insert(field.getObjGen()).second))
            continue;
        keepInternalAction(field, "/A");
        keepInternalAdditionalActions(field);
        QPDFObjectHandle kids = field.getKey("/Kids");
        if (!kids.isArray())
            continue;
        for (const QPDFObjectHandle &kid : kids.aitems())
            waiting.push_back(kid);
    }
}

void sieveCatalog(QPDFObjectHandle catalog)
{
    keepInternalAction(catalog, "/OpenAction");
    keepInternalAdditionalActions(catalog);
    for (const char *key : catalogKeys)
        catalog.removeKey(key);
    QPDFObjectHandle names = catalog.getKey("/Names");
    for (const char *tree : nameTrees) {
        if (names.isDictionary())
            names.removeKey(tree);
    }
    if (catalog.getKey("/AcroForm").isDictionary())
        sieveFields(catalog.getKey("/AcroForm").getKey("/Fields"));
}

} // namespace

void removeExternalLinks(QPDF &pdf)
{
    std::vector<QPDFObjectHandle> removed;
    for (QPDFPageObjectHelper page : QPDFPageDocumentHelper(pdf).getAllPages())
        sievePage(page.getObjectHandle(), removed);
    for (const QPDFObjectHandle &entry : outlineEntries(pdf)) {
        keepInternalAction(entry, "/A");
        keepInternalAdditionalActions(entry);
    }
    sieveCatalog(pdf.getRoot());
    untagAnnotations(pdf, removed);
}
