#include "engine/pdf/lowquality.h"

#include "engine/pdf/parts.h"
#include "engine/pdf/shownsize.h"
#include "engine/pdf/smallimage.h"
#include "engine/pdf/structure.h"

#include <qpdf/QPDF.hh>

#include <set>

namespace
{

std::set<QPDFObjGen> softMasksOf(const DocumentParts &parts)
{
    std::set<QPDFObjGen> masks;
    for (Resource image : parts.images) {
        QPDFObjectHandle mask = image.object.getDict().getKey("/SMask");
        if (mask.isStream())
            masks.insert(mask.getObjGen());
    }
    return masks;
}

} // namespace

void lowerQuality(QPDF &pdf)
{
    const DocumentParts parts = DocumentParts::of(pdf);
    removeStructure(pdf, parts);

    const std::map<QPDFObjGen, ShownSize> sizes = shownSizes(parts);
    const std::set<QPDFObjGen> softMasks = softMasksOf(parts);
    const auto shownSize = [&](const QPDFObjGen &image) {
        const auto size = sizes.find(image);
        return size == sizes.end() ? std::nullopt : std::optional(size->second);
    };
    // Colours are averaged by what can be seen of them, so the masks must still have their own size then.
    for (const Resource &image : parts.images) {
        if (!softMasks.contains(image.object.getObjGen()))
            makeImageSmall(image.object, image.resources, shownSize(image.object.getObjGen()));
    }
    for (const Resource &image : parts.images) {
        if (softMasks.contains(image.object.getObjGen()))
            makeSoftMaskSmall(image.object, image.resources, shownSize(image.object.getObjGen()));
    }
}
