#include "engine/pdf/images/printedimage.h"

#include "engine/pdf/images/raster.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace
{

/// Other keys, such as /Decode, /Mask or /ImageMask, can change the meaning of samples.
constexpr std::array<std::string_view, 10> knownKeys = {
    "/Type",       "/Subtype",          "/Width",  "/Height", "/Length",
    "/ColorSpace", "/BitsPerComponent", "/Filter", "/SMask",  "/ColorTransform"};

/// 0 for a colour space that the browser does not give an image.
int channelsOf(QPDFObjectHandle space)
{
    if (space.isNameAndEquals("/DeviceGray"))
        return 1;
    if (space.isNameAndEquals("/DeviceRGB"))
        return 3;
    if (!space.isArray() || space.getArrayNItems() != 2 ||
        !space.getArrayItem(0).isNameAndEquals("/ICCBased") || !space.getArrayItem(1).isStream())
        return 0;
    QPDFObjectHandle count = space.getArrayItem(1).getDict().getKey("/N");
    const long long channels = count.isInteger() ? count.getIntValue() : 0;
    return channels == 1 || channels == 3 ? static_cast<int>(channels) : 0;
}

int positive(QPDFObjectHandle value)
{
    return value.isInteger() ? std::max(0, value.getIntValueAsInt()) : 0;
}

} // namespace

std::optional<PrintedImage> PrintedImage::read(QPDFObjectHandle image)
{
    QPDFObjectHandle dictionary = image.getDict();
    for (const std::string &key : dictionary.getKeys()) {
        if (std::find(knownKeys.begin(), knownKeys.end(), key) == knownKeys.end())
            return std::nullopt;
    }
    QPDFObjectHandle filter = dictionary.getKey("/Filter");
    const PrintedImage found{positive(dictionary.getKey("/Width")), positive(dictionary.getKey("/Height")),
                             channelsOf(dictionary.getKey("/ColorSpace")),
                             filter.isNameAndEquals("/DCTDecode")};
    const long long pixels = static_cast<long long>(found.width) * found.height;
    const bool isKnownFilter = found.isJpeg || filter.isNull() || filter.isNameAndEquals("/FlateDecode");
    if (pixels < 1 || pixels > maximumPixels || found.channels == 0 || !isKnownFilter ||
        positive(dictionary.getKey("/BitsPerComponent")) != 8)
        return std::nullopt;
    return found;
}
