#include "engine/pdf/gray/grayscale.h"

#include "engine/pdf/gray/graycontent.h"
#include "engine/pdf/gray/grayimage.h"
#include "engine/pdf/gray/grayshading.h"
#include "engine/pdf/gray/luma.h"
#include "engine/pdf/reading/parts.h"
#include "engine/pdf/reading/streamdata.h"

#include <qpdf/QPDF.hh>

#include <algorithm>
#include <span>
#include <string_view>

namespace
{

/// Allowed entries. Others, such as transfer functions or a soft mask's backdrop, could have a colour.
constexpr std::array<std::string_view, 10> stateKeys = {"/Type", "/BM", "/CA", "/LC", "/LJ",
                                                        "/LW",   "/ML", "/SA", "/ca", "/SMask"};
constexpr std::array<std::string_view, 4> softMaskKeys = {"/Type", "/S", "/G", "/TR"};
/// Allowed entries. The browser gives links no visible border; /C or /AP would draw something.
constexpr std::array<std::string_view, 8> annotationKeys = {"/Type", "/Subtype", "/A",    "/Border",
                                                            "/Dest", "/F",       "/Rect", "/StructParent"};

void requireOnly(QPDFObjectHandle dictionary, std::span<const std::string_view> known, const char *what)
{
    for (const std::string &key : dictionary.getKeys()) {
        if (std::find(known.begin(), known.end(), key) == known.end())
            refuseGray(key + " in " + what);
    }
}

/// Throws Refusal at anything that may have a colour and is not turned gray below.
void requireKnownParts(const DocumentParts &parts)
{
    if (!parts.unknown.empty())
        refuseGray(parts.unknown.front());
    for (const QPDFObjectHandle &state : parts.states)
        requireOnly(state, stateKeys, "a graphics state");
    for (const QPDFObjectHandle &mask : parts.softMasks)
        requireOnly(mask, softMaskKeys, "a soft mask");
    for (QPDFObjectHandle annotation : parts.annotations) {
        if (!annotation.isDictionary() || !annotation.getKey("/Subtype").isNameAndEquals("/Link"))
            refuseGray("an annotation that is no link");
        requireOnly(annotation, annotationKeys, "a link");
    }
}

bool isBelowOne(QPDFObjectHandle value)
{
    return value.isNumber() && value.getNumericValue() < 1;
}

bool isTransparentState(QPDFObjectHandle state)
{
    QPDFObjectHandle mode = state.getKey("/BM");
    return !(mode.isNull() || mode.isNameAndEquals("/Normal")) || isBelowOne(state.getKey("/ca")) ||
           isBelowOne(state.getKey("/CA"));
}

bool isTransparent(const DocumentParts &parts)
{
    const auto hasSoftMask = [](QPDFObjectHandle image) { return image.getDict().hasKey("/SMask"); };
    return !parts.groups.empty() ||
           std::any_of(parts.states.begin(), parts.states.end(), isTransparentState) ||
           std::any_of(parts.images.begin(), parts.images.end(), hasSoftMask);
}

/// Transparency is blended in the colour space of the page's group, or without one in that of the output
/// device. A CMYK printer may blend grays into colours: each ink by itself, or with gray as a mixture of all
/// inks.
void blendInGray(DocumentParts &parts)
{
    for (QPDFObjectHandle group : parts.groups) {
        if (group.hasKey("/CS"))
            group.replaceKey("/CS", QPDFObjectHandle::newName("/DeviceGray"));
    }
    if (!isTransparent(parts))
        return;
    for (QPDFObjectHandle page : parts.pages)
        page.replaceKey("/Group",
                        QPDFObjectHandle::parse("<< /Type /Group /S /Transparency /CS /DeviceGray >>"));
}

} // namespace

void makeGray(QPDF &pdf)
{
    DocumentParts parts = DocumentParts::of(pdf);
    requireKnownParts(parts);
    for (const Content &content : parts.contents)
        QPDFObjectHandle(content.stream)
            .replaceStreamData(grayContent(decodedData(content.stream)), QPDFObjectHandle::newNull(),
                               QPDFObjectHandle::newNull());
    for (const QPDFObjectHandle &image : parts.images)
        makeImageGray(image);
    makeShadingsGray(parts.shadings);
    blendInGray(parts);
}
