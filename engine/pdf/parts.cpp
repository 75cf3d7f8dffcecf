#include "engine/pdf/parts.h"

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFPageObjectHelper.hh>

#include <deque>

namespace
{

bool isNamed(QPDFObjectHandle value, const char *name)
{
    return value.isName() && value.getName() == name;
}

QPDFObjectHandle dictionaryOf(QPDFObjectHandle object)
{
    return object.isStream() ? object.getDict() : object;
}

/// The values of the dictionary that `holder` has under `key`.
std::vector<QPDFObjectHandle> entries(QPDFObjectHandle holder, const char *key)
{
    std::vector<QPDFObjectHandle> values;
    QPDFObjectHandle dictionary = holder.getKey(key);
    if (dictionary.isDictionary()) {
        for (const auto &[name, value] : dictionary.ditems())
            values.push_back(value);
    }
    return values;
}

/// Walks breadth first with a list of its own, so that no nesting exhausts the stack.
class Walk
{
public:
    explicit Walk(DocumentParts &parts) : m_parts(parts) {}

    void visitPage(QPDFPageObjectHelper page)
    {
        QPDFObjectHandle object = page.getObjectHandle();
        if (object.getKey("/Contents").isArray())
            page.coalesceContentStreams();
        m_parts.pages.push_back(object);
        QPDFObjectHandle resources = page.getAttribute("/Resources", false);
        visitGroup(object);
        visitResources(resources);
        if (object.getKey("/Contents").isStream() && isNew(object.getKey("/Contents")))
            m_parts.contents.push_back({object.getKey("/Contents"), resources, true});
        if (object.getKey("/Thumb").isStream())
            visitImage(object.getKey("/Thumb"), resources);
        if (!object.getKey("/Annots").isArray())
            return;
        for (const QPDFObjectHandle &annotation : object.getKey("/Annots").aitems())
            visitAnnotation(annotation, resources);
    }

    void visitResources(QPDFObjectHandle resources)
    {
        if (resources.isDictionary() && isNew(resources))
            m_waiting.push_back(resources);
    }

    void finish()
    {
        while (!m_waiting.empty()) {
            const QPDFObjectHandle resources = m_waiting.front();
            m_waiting.pop_front();
            m_parts.resources.push_back(resources);
            open(resources);
        }
    }

private:
    /// Whether an object is met for the first time. Direct objects have one place only and always are.
    bool isNew(const QPDFObjectHandle &object)
    {
        return !object.isIndirect() || m_seen.insert(object.getObjGen()).second;
    }

    void open(const QPDFObjectHandle &resources)
    {
        for (const QPDFObjectHandle &object : entries(resources, "/XObject"))
            visitExternal(object, resources);
        for (const QPDFObjectHandle &font : entries(resources, "/Font"))
            visitFont(font, resources);
        for (const QPDFObjectHandle &pattern : entries(resources, "/Pattern"))
            visitPattern(pattern, resources);
        for (const QPDFObjectHandle &shading : entries(resources, "/Shading"))
            visitShading(shading, resources);
        for (const QPDFObjectHandle &state : entries(resources, "/ExtGState"))
            visitState(state, resources);
    }

    void visitExternal(QPDFObjectHandle object, const QPDFObjectHandle &resources)
    {
        if (!object.isStream())
            return;
        if (isNamed(object.getDict().getKey("/Subtype"), "/Image"))
            visitImage(object, resources);
        else if (isNamed(object.getDict().getKey("/Subtype"), "/Form"))
            visitContent(object, resources);
    }

    void visitImage(QPDFObjectHandle image, const QPDFObjectHandle &resources)
    {
        if (!isNew(image))
            return;
        m_parts.images.push_back({image, resources});
        for (const char *mask : {"/SMask", "/Mask"}) {
            QPDFObjectHandle object = image.getDict().getKey(mask);
            if (object.isStream() && isNew(object))
                m_parts.images.push_back({object, resources});
        }
        QPDFObjectHandle alternates = image.getDict().getKey("/Alternates");
        if (!alternates.isArray())
            return;
        for (QPDFObjectHandle alternate : alternates.aitems()) {
            QPDFObjectHandle object =
                alternate.isDictionary() ? alternate.getKey("/Image") : QPDFObjectHandle::newNull();
            if (object.isStream() && isNew(object))
                m_parts.images.push_back({object, resources});
        }
    }

    /// A stream without resources of its own uses those of where it is used, an old habit (7.8.3).
    void visitContent(QPDFObjectHandle stream, const QPDFObjectHandle &outer)
    {
        if (!stream.isStream() || !isNew(stream))
            return;
        QPDFObjectHandle own = stream.getDict().getKey("/Resources");
        visitResources(own);
        visitGroup(stream.getDict());
        m_parts.contents.push_back({stream, own.isDictionary() ? own : outer, false});
    }

    void visitGroup(QPDFObjectHandle holder)
    {
        QPDFObjectHandle group = holder.getKey("/Group");
        if (group.isDictionary() && isNew(group))
            m_parts.groups.push_back(group);
    }

    void visitFont(QPDFObjectHandle font, const QPDFObjectHandle &outer)
    {
        if (!font.isDictionary() || !isNew(font) || !isNamed(font.getKey("/Subtype"), "/Type3"))
            return;
        QPDFObjectHandle own = font.getKey("/Resources");
        visitResources(own);
        for (const QPDFObjectHandle &glyph : entries(font, "/CharProcs"))
            visitContent(glyph, own.isDictionary() ? own : outer);
    }

    void visitPattern(QPDFObjectHandle pattern, const QPDFObjectHandle &resources)
    {
        if (pattern.isStream()) {
            visitContent(pattern, resources);
        } else if (pattern.isDictionary() && isNew(pattern)) {
            visitShading(pattern.getKey("/Shading"), resources);
            visitState(pattern.getKey("/ExtGState"), resources);
        }
    }

    void visitShading(const QPDFObjectHandle &shading, const QPDFObjectHandle &resources)
    {
        if (dictionaryOf(shading).isDictionary() && isNew(shading))
            m_parts.shadings.push_back({shading, resources});
    }

    void visitState(QPDFObjectHandle state, const QPDFObjectHandle &resources)
    {
        if (!state.isDictionary() || !isNew(state))
            return;
        m_parts.states.push_back(state);
        QPDFObjectHandle font = state.getKey("/Font");
        if (font.isArray() && font.getArrayNItems() > 0)
            visitFont(font.getArrayItem(0), resources);
        QPDFObjectHandle mask = state.getKey("/SMask");
        if (!mask.isDictionary() || !isNew(mask))
            return;
        m_parts.softMasks.push_back(mask);
        visitContent(mask.getKey("/G"), resources);
    }

    void visitAnnotation(QPDFObjectHandle annotation, const QPDFObjectHandle &resources)
    {
        if (!annotation.isDictionary() || !isNew(annotation))
            return;
        m_parts.annotations.push_back(annotation);
        for (const QPDFObjectHandle &appearance : appearancesOf(annotation))
            visitContent(appearance, resources);
    }

    DocumentParts &m_parts;
    std::set<QPDFObjGen> m_seen;
    std::deque<QPDFObjectHandle> m_waiting;
};

} // namespace

DocumentParts DocumentParts::of(QPDF &pdf)
{
    DocumentParts parts;
    Walk walk(parts);
    for (const QPDFPageObjectHelper &page : QPDFPageDocumentHelper(pdf).getAllPages())
        walk.visitPage(page);
    QPDFObjectHandle forms = pdf.getRoot().getKey("/AcroForm");
    if (forms.isDictionary())
        walk.visitResources(forms.getKey("/DR"));
    walk.finish();
    return parts;
}

std::vector<QPDFObjectHandle> appearancesOf(const QPDFObjectHandle &annotation)
{
    std::vector<QPDFObjectHandle> streams;
    for (QPDFObjectHandle appearance : entries(annotation, "/AP")) {
        if (appearance.isStream()) {
            streams.push_back(appearance);
        } else if (appearance.isDictionary()) {
            for (const auto &[state, stream] : appearance.ditems()) {
                if (QPDFObjectHandle(stream).isStream())
                    streams.push_back(stream);
            }
        }
    }
    return streams;
}
