#include "engine/pdf/reading/parts.h"

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFPageObjectHelper.hh>

#include <deque>
#include <set>

namespace
{

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

/// Collects the parts. Keeps its own queue instead of recursing, so that deep nesting cannot overflow the
/// stack.
class Walk
{
public:
    explicit Walk(DocumentParts &parts) : m_parts(parts) {}

    void visitPage(QPDFObjectHandle page)
    {
        m_parts.pages.push_back(page);
        visitContent(page.getKey("/Contents"), page);
        QPDFObjectHandle annotations = page.getKey("/Annots");
        if (!annotations.isArray())
            return;
        for (const QPDFObjectHandle &annotation : annotations.aitems())
            m_parts.annotations.push_back(annotation);
    }

    void finish()
    {
        while (!m_waiting.empty()) {
            const QPDFObjectHandle resources = m_waiting.front();
            m_waiting.pop_front();
            m_parts.resources.push_back(resources);
            visitResources(resources);
        }
    }

private:
    /// Whether an object is visited for the first time; always true for a direct object, which is in one
    /// place only.
    bool isNew(const QPDFObjectHandle &object)
    {
        return !object.isIndirect() || m_seen.insert(object.getObjGen()).second;
    }

    void noteUnknown(const std::string &what) { m_parts.unknown.push_back(what); }

    void visitResources(QPDFObjectHandle resources)
    {
        for (const std::string &kind : resources.getKeys()) {
            for (const QPDFObjectHandle &object : entries(resources, kind.c_str()))
                visitResource(kind, object);
        }
    }

    void visitResource(const std::string &kind, const QPDFObjectHandle &object)
    {
        if (kind == "/XObject")
            visitExternal(object);
        else if (kind == "/Font")
            visitFont(object);
        else if (kind == "/Pattern")
            visitPattern(object);
        else if (kind == "/ExtGState")
            visitState(object);
        else
            noteUnknown("a resource of the kind " + kind);
    }

    void visitExternal(QPDFObjectHandle object)
    {
        QPDFObjectHandle kind =
            object.isStream() ? object.getDict().getKey("/Subtype") : QPDFObjectHandle::newNull();
        if (kind.isNameAndEquals("/Image"))
            visitImage(object);
        else if (kind.isNameAndEquals("/Form"))
            visitContent(object, object.getDict());
        else
            noteUnknown("an external object that is neither image nor form");
    }

    void visitImage(QPDFObjectHandle image)
    {
        if (!isNew(image))
            return;
        m_parts.images.push_back(image);
        if (image.getDict().getKey("/SMask").isStream())
            visitImage(image.getDict().getKey("/SMask"));
    }

    /// `holder` is the dictionary with the stream's /Resources and /Group.
    void visitContent(const QPDFObjectHandle &stream, QPDFObjectHandle holder)
    {
        if (!QPDFObjectHandle(stream).isStream()) {
            noteUnknown("content that is no stream");
            return;
        }
        if (!isNew(stream))
            return;
        const QPDFObjectHandle resources = holder.getKey("/Resources");
        if (QPDFObjectHandle(resources).isDictionary() && isNew(resources))
            m_waiting.push_back(resources);
        m_parts.contents.push_back({stream, resources});
        QPDFObjectHandle group = holder.getKey("/Group");
        if (group.isDictionary() && isNew(group))
            m_parts.groups.push_back(group);
    }

    void visitFont(QPDFObjectHandle font)
    {
        if (!font.isDictionary() || !isNew(font))
            return;
        m_parts.fonts.push_back(font);
        for (const QPDFObjectHandle &glyph : entries(font, "/CharProcs"))
            visitContent(glyph, font);
    }

    void visitPattern(QPDFObjectHandle pattern)
    {
        if (pattern.isStream())
            visitContent(pattern, pattern.getDict());
        else if (pattern.isDictionary() && isNew(pattern))
            m_parts.shadings.push_back(pattern.getKey("/Shading"));
    }

    void visitState(QPDFObjectHandle state)
    {
        if (!state.isDictionary() || !isNew(state))
            return;
        m_parts.states.push_back(state);
        QPDFObjectHandle mask = state.getKey("/SMask");
        if (!mask.isDictionary() || !isNew(mask))
            return;
        m_parts.softMasks.push_back(mask);
        QPDFObjectHandle group = mask.getKey("/G");
        visitContent(group, group.isStream() ? group.getDict() : group);
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
    for (QPDFPageObjectHelper page : QPDFPageDocumentHelper(pdf).getAllPages())
        walk.visitPage(page.getObjectHandle());
    walk.finish();
    return parts;
}
