#include "engine/pdf/smallimage.h"

#include "engine/pdf/bits.h"
#include "engine/pdf/downscale.h"
#include "engine/pdf/imageheader.h"
#include "engine/pdf/jpeg.h"
#include "engine/pdf/losslessimage.h"
#include "engine/pdf/streamdata.h"

#include <qpdf/QPDF.hh>

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace
{

constexpr double samplesPerPoint = 96.0 / 72.0;
/// Shown sizes come out of many multiplied numbers.
constexpr double roundingError = 0.05;
constexpr int photographQuality = 50;
constexpr int drawingQuality = 70;
/// How much larger a drawing without loss may be than as JPEG.
constexpr size_t drawingAllowance = 2;

using Family = ColourSpace::Family;

struct Target {
    int width;
    int height;
};

int samplesFor(double points, int available)
{
    const double samples = points * samplesPerPoint + roundingError;
    return samples >= available ? available : std::max(1, static_cast<int>(samples));
}

Target targetFor(const ImageHeader &header, std::optional<ShownSize> shown)
{
    if (!shown)
        return {header.width, header.height};
    return {samplesFor(shown->width, header.width), samplesFor(shown->height, header.height)};
}

bool hasMatte(QPDFObjectHandle image)
{
    QPDFObjectHandle mask = image.getDict().getKey("/SMask");
    return image.getDict().hasKey("/Matte") || (mask.isStream() && mask.getDict().hasKey("/Matte"));
}

/// Whether the image is one of those that can be stored anew: its samples, or what they are indices of, are
/// gray or RGB.
bool isSuitable(const QPDFObjectHandle &image, const ImageHeader &header)
{
    if (header.selfDescribing || header.stencil || header.bits == 1 || !header.plainDecode ||
        !header.colourKey.empty() || hasMatte(image))
        return false;
    const Family family = header.space->family();
    const bool isKnown = family == Family::Gray || family == Family::Rgb || family == Family::CalRgb ||
                         !header.space->rgbPalette().empty();
    return isKnown && (hasPlainFilters(image) || innermostFilter(image) == "/DCTDecode");
}

/// Samples of 8 bits from samples of 2 to 16.
std::string bytesOf(const ImageHeader &header, const std::string &data)
{
    if (header.bits == 8)
        return data;
    std::string bytes;
    BitReader reader(data);
    const double factor = 255 / maximumOf(header.bits);
    const size_t inRow = static_cast<size_t>(header.width) * header.space->components();
    for (int y = 0; y < header.height; ++y) {
        for (size_t x = 0; x < inRow; ++x)
            bytes.push_back(static_cast<char>(
                static_cast<unsigned char>(std::lround(reader.read(header.bits) * factor))));
        reader.skipToByte();
    }
    return bytes;
}

/// What the colours of an image's palette are colours of.
QPDFObjectHandle baseSpaceOf(QPDFObjectHandle image)
{
    return image.getDict().getKey("/ColorSpace").getArrayItem(1);
}

/// How many of the three numbers of a palette's colours differ.
size_t channelsOfPalette(const QPDFObjectHandle &image)
{
    const auto base = ColourSpace::read(baseSpaceOf(image), QPDFObjectHandle::newNull());
    return base->family() == Family::Gray ? 1 : 3;
}

std::string coloursOf(const ImageHeader &header, const std::string &data, size_t channels)
{
    const std::string palette = header.space->rgbPalette();
    std::string colours;
    BitReader reader(data);
    for (int y = 0; y < header.height; ++y) {
        for (int x = 0; x < header.width; ++x) {
            const size_t index = std::min<size_t>(reader.read(header.bits), palette.size() / 3 - 1);
            colours.append(palette, index * 3, channels);
        }
        reader.skipToByte();
    }
    return colours;
}

Raster rasterOf(const QPDFObjectHandle &image, const ImageHeader &header, Target target)
{
    if (innermostFilter(image) == "/DCTDecode") {
        // The decoder may already leave out what averaging would lose anyway, but not the last step.
        Raster raster = decodeJpeg(innermostData(image), 2 * target.width, 2 * target.height);
        const bool isPalette = header.space->family() == Family::Indexed;
        if (isPalette || static_cast<size_t>(raster.channels) != header.space->components())
            throw std::runtime_error("an image is not what its dictionary says");
        return raster;
    }
    const std::string data = decodedData(image, header.dataLength(), Excess::Ignore);
    if (data.size() < header.dataLength())
        throw std::runtime_error("an image has too few samples");
    if (header.space->family() == Family::Indexed) {
        const size_t channels = channelsOfPalette(image);
        return {header.width, header.height, static_cast<int>(channels), coloursOf(header, data, channels)};
    }
    return {header.width, header.height, static_cast<int>(header.space->components()), bytesOf(header, data)};
}

/// The soft mask of an image as weights for its colours, if it has one of the same size.
std::optional<Raster> weightsFor(QPDFObjectHandle image, const QPDFObjectHandle &resources,
                                 const Raster &raster)
{
    QPDFObjectHandle mask = image.getDict().getKey("/SMask");
    if (!mask.isStream())
        return std::nullopt;
    const ImageHeader header = ImageHeader::read(mask, resources);
    if (!isSuitable(mask, header) || header.space->family() != Family::Gray || header.width != raster.width ||
        header.height != raster.height)
        return std::nullopt;
    return rasterOf(mask, header, {header.width, header.height});
}

Raster scaled(const QPDFObjectHandle &image, const QPDFObjectHandle &resources, const Raster &raster,
              Target target)
{
    target = {std::min(target.width, raster.width), std::min(target.height, raster.height)};
    if (target.width == raster.width && target.height == raster.height)
        return raster;
    const std::optional<Raster> weights = weightsFor(image, resources, raster);
    return averaged(raster, target.width, target.height, weights ? &*weights : nullptr);
}

/// What the samples of the new image are colours of: the space itself, or the one below a palette.
QPDFObjectHandle spaceOf(QPDFObjectHandle image, const ImageHeader &header)
{
    return header.space->family() == Family::Indexed ? baseSpaceOf(image)
                                                     : image.getDict().getKey("/ColorSpace");
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
    dictionary.removeKey("/Decode");
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

/// A soft mask must be plain gray (11.6.5.3): no palette, and no JPEG, see makeSoftMaskSmall().
void store(QPDFObjectHandle image, const QPDFObjectHandle &resources, std::optional<ShownSize> shown,
           bool isSoftMask)
{
    const ImageHeader header = ImageHeader::read(image, resources);
    if (!isSuitable(image, header))
        return;
    const Target target = targetFor(header, shown);
    const bool isJpeg = innermostFilter(image) == "/DCTDecode";
    const Raster raster = rasterOf(image, header, target);
    const bool isDrawing = !isJpeg && fewColours(raster).has_value();
    const Raster small = scaled(image, resources, raster, target);

    const QPDFObjectHandle space = spaceOf(image, header);
    const LosslessImage lossless = losslessImage(small, !isSoftMask);
    const std::string jpeg =
        isSoftMask ? "" : encodeJpeg(small, isDrawing ? drawingQuality : photographQuality, !isDrawing);
    const size_t losslessSize = lossless.data.size() + lossless.palette.size();
    const size_t allowed = isDrawing ? drawingAllowance * jpeg.size() : jpeg.size();
    const bool takeLossless = isSoftMask || losslessSize <= allowed;

    const bool isScaled = target.width < header.width || target.height < header.height;
    const size_t present = image.getRawStreamData()->getSize();
    if (!isScaled && (takeLossless ? losslessSize : jpeg.size()) >= present)
        return;
    if (takeLossless)
        storeLossless(image, small, space, lossless);
    else
        storeJpeg(image, small, space, jpeg);
}

} // namespace

void makeImageSmall(const QPDFObjectHandle &image, const QPDFObjectHandle &resources,
                    std::optional<ShownSize> shown)
{
    store(image, resources, shown, false);
}

void makeSoftMaskSmall(const QPDFObjectHandle &mask, const QPDFObjectHandle &resources,
                       std::optional<ShownSize> shown)
{
    store(mask, resources, shown, true);
}
