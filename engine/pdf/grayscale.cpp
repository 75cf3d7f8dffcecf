#include "engine/pdf/grayscale.h"

#include "engine/pdf/colourspace.h"
#include "engine/pdf/graycontent.h"
#include "engine/pdf/grayimage.h"
#include "engine/pdf/grayshading.h"
#include "engine/pdf/outline.h"
#include "engine/pdf/parts.h"
#include "engine/pdf/streamdata.h"

#include <qpdf/QPDF.hh>

#include <algorithm>
#include <array>

namespace
{

constexpr int decimals = 4;
/// Entries of a resource dictionary's /ColorSpace that say what device colours mean (ISO 32000-1, 8.6.5.6).
constexpr std::array defaultSpaces = {"/DefaultGray", "/DefaultRGB", "/DefaultCMYK"};
/// Colours of an annotation and of its appearance characteristics: arrays of 0, 1, 3 or 4 numbers (12.5).
constexpr std::array annotationColours = {"/C", "/IC"};
constexpr std::array characteristicColours = {"/BC", "/BG"};

bool isColoured(QPDFObjectHandle array)
{
    return array.isArray() && (array.getArrayNItems() == 3 || array.getArrayNItems() == 4);
}

/// The gray of an array of three numbers for red, green, blue, or four for cyan, magenta, yellow, black.
double grayOf(QPDFObjectHandle array)
{
    std::vector<double> colour;
    for (QPDFObjectHandle item : array.aitems())
        colour.push_back(item.isNumber() ? item.getNumericValue() : 0);
    const char *space = colour.size() == 3 ? "/DeviceRGB" : "/DeviceCMYK";
    return ColourSpace::read(QPDFObjectHandle::newName(space), QPDFObjectHandle::newNull())->gray(colour);
}

QPDFObjectHandle real(double value)
{
    return QPDFObjectHandle::newReal(value, decimals);
}

void makeColourGray(QPDFObjectHandle dictionary, const char *key)
{
    QPDFObjectHandle colour = dictionary.getKey(key);
    if (isColoured(colour))
        dictionary.replaceKey(key, QPDFObjectHandle::newArray({real(grayOf(colour))}));
}

/// The operators of a default appearance (12.7.3.3), which stand in a string.
void makeDefaultAppearanceGray(QPDF &pdf, QPDFObjectHandle dictionary)
{
    QPDFObjectHandle appearance = dictionary.getKey("/DA");
    if (appearance.isString())
        dictionary.replaceKey("/DA", QPDFObjectHandle::newString(grayContent(pdf, appearance.getStringValue(),
                                                                             QPDFObjectHandle::newNull(),
                                                                             InitialColour::Black)));
}

void makeAnnotationGray(QPDF &pdf, QPDFObjectHandle annotation)
{
    for (const char *key : annotationColours)
        makeColourGray(annotation, key);
    makeDefaultAppearanceGray(pdf, annotation);
    QPDFObjectHandle characteristics = annotation.getKey("/MK");
    if (!characteristics.isDictionary())
        return;
    for (const char *key : characteristicColours)
        makeColourGray(characteristics, key);
}

/// The colour behind a luminosity mask is given in the colour space of its group (11.6.5.2).
void makeBackdropGray(QPDFObjectHandle mask)
{
    QPDFObjectHandle backdrop = mask.getKey("/BC");
    if (isColoured(backdrop))
        mask.replaceKey("/BC", QPDFObjectHandle::newArray({real(grayOf(backdrop))}));
}

void makeGroupGray(QPDFObjectHandle group)
{
    if (!group.getKey("/CS").isNull())
        group.replaceKey("/CS", QPDFObjectHandle::newName("/DeviceGray"));
}

/// Transfer functions, one for each of four colorants, would give gray a tint again: the last is that of
/// black.
void makeStateGray(QPDFObjectHandle state)
{
    for (const char *key : {"/TR", "/TR2"}) {
        QPDFObjectHandle transfer = state.getKey(key);
        if (transfer.isArray() && transfer.getArrayNItems() > 0)
            state.replaceKey(key, transfer.getArrayItem(transfer.getArrayNItems() - 1));
    }
}

void makeSpacesGray(QPDFObjectHandle resources)
{
    QPDFObjectHandle spaces = resources.getKey("/ColorSpace");
    if (!spaces.isDictionary())
        return;
    QPDFObjectHandle grays = QPDFObjectHandle::newDictionary();
    for (const auto &[name, space] : spaces.ditems()) {
        if (std::find(defaultSpaces.begin(), defaultSpaces.end(), name) == defaultSpaces.end())
            grays.replaceKey(name, ColourSpace::read(space, resources)->grayCounterpart());
    }
    resources.replaceKey("/ColorSpace", grays);
}

bool isBelowOne(QPDFObjectHandle value)
{
    return value.isNumber() && value.getNumericValue() < 1;
}

bool isTransparent(QPDFObjectHandle state)
{
    QPDFObjectHandle mode = state.getKey("/BM");
    const bool isNormal =
        mode.isNull() || mode.isNameAndEquals("/Normal") || mode.isNameAndEquals("/Compatible");
    return !isNormal || isBelowOne(state.getKey("/ca")) || isBelowOne(state.getKey("/CA"));
}

bool isTransparent(const DocumentParts &parts)
{
    const auto hasSoftMask = [](Resource image) { return image.object.getDict().hasKey("/SMask"); };
    return !parts.groups.empty() || !parts.softMasks.empty() ||
           std::any_of(parts.states.begin(), parts.states.end(),
                       [](const QPDFObjectHandle &state) { return isTransparent(state); }) ||
           std::any_of(parts.images.begin(), parts.images.end(), hasSoftMask);
}

/// What is transparent is blended in the colour space of the page's group, and without one in that of the
/// printer: there, what is gray may come out in colours, as when white is subtracted from white in each ink,
/// or when the gray of a group becomes a mixture of all inks.
void blendInGray(DocumentParts &parts)
{
    if (!isTransparent(parts))
        return;
    for (QPDFObjectHandle page : parts.pages) {
        if (!page.getKey("/Group").isDictionary())
            page.replaceKey("/Group", QPDFObjectHandle::parse("<< /Type /Group /S /Transparency >>"));
        page.getKey("/Group").replaceKey("/CS", QPDFObjectHandle::newName("/DeviceGray"));
    }
}

/// The colour of an entry is always red, green and blue.
void makeOutlineGray(QPDF &pdf)
{
    for (QPDFObjectHandle entry : outlineEntries(pdf)) {
        QPDFObjectHandle colour = entry.getKey("/C");
        if (!colour.isArray() || colour.getArrayNItems() != 3)
            continue;
        const QPDFObjectHandle gray = real(grayOf(colour));
        entry.replaceKey("/C", QPDFObjectHandle::newArray({gray, gray, gray}));
    }
}

} // namespace

void makeGray(QPDF &pdf)
{
    DocumentParts parts = DocumentParts::of(pdf);
    // While names of colour spaces are still looked up, they must lead to the colours that were meant.
    for (const Content &content : parts.contents) {
        const std::string gray =
            grayContent(pdf, decodedData(content.stream), content.resources,
                        content.ofPage ? InitialColour::Black : InitialColour::Inherited);
        QPDFObjectHandle(content.stream)
            .replaceStreamData(gray, QPDFObjectHandle::newNull(), QPDFObjectHandle::newNull());
    }
    for (const Resource &image : parts.images)
        makeImageGray(image.object, image.resources);
    for (const Resource &shading : parts.shadings)
        makeShadingGray(pdf, shading.object, shading.resources);
    for (const QPDFObjectHandle &resources : parts.resources)
        makeSpacesGray(resources);
    for (const QPDFObjectHandle &mask : parts.softMasks)
        makeBackdropGray(mask);
    for (const QPDFObjectHandle &group : parts.groups)
        makeGroupGray(group);
    for (const QPDFObjectHandle &state : parts.states)
        makeStateGray(state);
    for (const QPDFObjectHandle &annotation : parts.annotations)
        makeAnnotationGray(pdf, annotation);
    blendInGray(parts);
    makeOutlineGray(pdf);
    QPDFObjectHandle forms = pdf.getRoot().getKey("/AcroForm");
    if (forms.isDictionary())
        makeDefaultAppearanceGray(pdf, forms);
}
