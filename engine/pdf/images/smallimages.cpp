#include "engine/pdf/images/smallimages.h"

#include "engine/pdf/images/downscale.h"
#include "engine/pdf/images/jpeg.h"
#include "engine/pdf/images/losslessimage.h"
#include "engine/pdf/images/printedimage.h"
#include "engine/pdf/images/shownsize.h"
#include "engine/pdf/reading/streamdata.h"

#include <qpdf/QPDF.hh>

#include <algorithm>
#include <optional>
#include <set>
#include <stdexcept>

namespace
{

constexpr double samplesPerPoint = 96.0 / 72.0;
/// Of shown sizes, in samples: they are products of many numbers.
constexpr double roundingError = 0.05;
constexpr int photographQuality = 50;
constexpr int drawingQuality = 70;
/// A lossless drawing may be this many times as large as its JPEG.
constexpr size_t drawingAllowance = 2;

struct Target {
    int width;
    int height;
};

int samplesFor(double points, int available)
{
    const double samples = points * samplesPerPoint + roundingError;
    return samples >= available ? available : std::max(1, static_cast<int>(samples));
}

Target targetFor(const PrintedImage &header, std::optional<ShownSize> shown)
{
    if (!shown)
        return {header.width, header.height};
    return {samplesFor(shown->width, header.width), samplesFor(shown->height, header.height)};
}

Raster rasterOf(const QPDFObjectHandle &image, const PrintedImage &header, Target target)
{
    // The decoder may halve the image, which is faster, down to twice the target size; averaging does the
    // rest.
    Raster raster = header.isJpeg ? decodeJpeg(storedData(image), 2 * target.width, 2 * target.height)
                                  : Raster{header.width, header.height, header.channels, decodedData(image)};
    if (raster.channels != header.channels ||
        (!header.isJpeg && raster.samples.size() != header.dataLength()))
        throw std::runtime_error("an image does not have the size in its dictionary");
    return raster;
}

/// The soft mask of the image as weights for averaging, if it has one of the same size.
std::optional<Raster> weightsFor(QPDFObjectHandle image, const Raster &raster)
{
    QPDFObjectHandle mask = image.getDict().getKey("/SMask");
    if (!mask.isStream())
        return std::nullopt;
    const std::optional<PrintedImage> header = PrintedImage::read(mask);
    if (!header || header->channels != 1 || header->width != raster.width || header->height != raster.height)
        return std::nullopt;
    return rasterOf(mask, *header, {header->width, header->height});
}

Raster scaled(const QPDFObjectHandle &image, const Raster &raster, Target target)
{
    target = {std::min(target.width, raster.width), std::min(target.height, raster.height)};
    if (target.width == raster.width && target.height == raster.height)
        return raster;
    const std::optional<Raster> weights = weightsFor(image, raster);
    return averaged(raster, target.width, target.height, weights ? &*weights : nullptr);
}

QPDFObjectHandle integer(long long value)
{
    return QPDFObjectHandle::newInteger(value);
}

QPDFObjectHandle parametersOf(const LosslessImage &lossless, int width)
{
    if (!lossless.predicted)
        return QPDFObjectHandle::newNull();
    QPDFObjectHandle parameters = QPDFObjectHandle::newDictionary();
    parameters.replaceKey("/Predictor", integer(15));
    parameters.replaceKey("/Colors", integer(lossless.channels));
    parameters.replaceKey("/Columns", integer(width));
    return parameters;
}

void describe(QPDFObjectHandle image, const Raster &raster, const QPDFObjectHandle &space, int bits)
{
    QPDFObjectHandle dictionary = image.getDict();
    dictionary.replaceKey("/Width", integer(raster.width));
    dictionary.replaceKey("/Height", integer(raster.height));
    dictionary.replaceKey("/BitsPerComponent", integer(bits));
    dictionary.replaceKey("/ColorSpace", space);
    dictionary.removeKey("/ColorTransform");
}

void storeLossless(QPDFObjectHandle image, const Raster &raster, QPDFObjectHandle space,
                   const LosslessImage &lossless)
{
    if (!lossless.palette.empty()) {
        const auto last = static_cast<long long>(lossless.palette.size()) / raster.channels - 1;
        space = QPDFObjectHandle::newArray({QPDFObjectHandle::newName("/Indexed"), space, integer(last),
                                            QPDFObjectHandle::newString(lossless.palette)});
    }
    describe(image, raster, space, lossless.bits);
    image.replaceStreamData(lossless.data, QPDFObjectHandle::newName("/FlateDecode"),
                            parametersOf(lossless, raster.width));
}

void storeJpeg(QPDFObjectHandle image, const Raster &raster, const QPDFObjectHandle &space,
               const std::string &file)
{
    describe(image, raster, space, 8);
    image.replaceStreamData(file, QPDFObjectHandle::newName("/DCTDecode"), QPDFObjectHandle::newNull());
}

/// A soft mask must be DeviceGray (11.6.5.3), so it gets no palette.
void makeSmall(QPDFObjectHandle image, std::optional<ShownSize> shown, bool isSoftMask)
{
    const std::optional<PrintedImage> header = PrintedImage::read(image);
    if (!header)
        return;
    const Target target = targetFor(*header, shown);
    const Raster raster = rasterOf(image, *header, target);
    const bool isDrawing = !header->isJpeg && fewColours(raster).has_value();
    const Raster small = scaled(image, raster, target);

    const QPDFObjectHandle space = image.getDict().getKey("/ColorSpace");
    const LosslessImage lossless = losslessImage(small, !isSoftMask);
    const std::string jpeg =
        isSoftMask ? "" : encodeJpeg(small, isDrawing ? drawingQuality : photographQuality, !isDrawing);
    const size_t losslessSize = lossless.data.size() + lossless.palette.size();
    const size_t allowed = isDrawing ? drawingAllowance * jpeg.size() : jpeg.size();
    const bool takeLossless = isSoftMask || losslessSize <= allowed;

    const bool isScaled = target.width < header->width || target.height < header->height;
    const size_t present = image.getRawStreamData()->getSize();
    if (!isScaled && (takeLossless ? losslessSize : jpeg.size()) >= present)
        return;
    if (takeLossless)
        storeLossless(image, small, space, lossless);
    else
        storeJpeg(image, small, space, jpeg);
}

std::set<QPDFObjGen> softMasksOf(const DocumentParts &parts)
{
    std::set<QPDFObjGen> masks;
    for (QPDFObjectHandle image : parts.images) {
        QPDFObjectHandle mask = image.getDict().getKey("/SMask");
        if (mask.isStream())
            masks.insert(mask.getObjGen());
    }
    return masks;
}

} // namespace

void makeImagesSmall(QPDF &pdf)
{
    const DocumentParts parts = DocumentParts::of(pdf);
    const std::map<QPDFObjGen, ShownSize> sizes = shownSizes(parts);
    const std::set<QPDFObjGen> softMasks = softMasksOf(parts);
    // Images before soft masks: averaging an image needs its soft mask at the original size.
    for (const bool isSoftMask : {false, true}) {
        for (const QPDFObjectHandle &image : parts.images) {
            if (softMasks.contains(image.getObjGen()) != isSoftMask)
                continue;
            const auto size = sizes.find(image.getObjGen());
            makeSmall(image, size == sizes.end() ? std::nullopt : std::optional(size->second), isSoftMask);
        }
    }
}
