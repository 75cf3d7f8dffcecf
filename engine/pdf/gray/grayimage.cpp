#include "engine/pdf/gray/grayimage.h"

#include "engine/pdf/gray/luma.h"
#include "engine/pdf/images/jpeg.h"
#include "engine/pdf/images/printedimage.h"
#include "engine/pdf/reading/streamdata.h"

#include <stdexcept>

namespace
{

/// The luma weights in 65536ths.
constexpr auto redWeight = static_cast<unsigned>(lumaWeights[0] * 65536);
constexpr auto greenWeight = static_cast<unsigned>(lumaWeights[1] * 65536);
constexpr auto blueWeight = 65536 - redWeight - greenWeight;

/// RGB samples to gray: one byte per pixel instead of three.
std::string graySamples(const std::string &samples)
{
    std::string grays(samples.size() / 3, '\0');
    const auto *from = reinterpret_cast<const unsigned char *>(samples.data());
    for (char &gray : grays) {
        gray = static_cast<char>(
            (from[0] * redWeight + from[1] * greenWeight + from[2] * blueWeight + 32768) >> 16);
        from += 3;
    }
    return grays;
}

} // namespace

void makeImageGray(QPDFObjectHandle image)
{
    const std::optional<PrintedImage> header = PrintedImage::read(image);
    if (!header)
        refuseGray("an image of an unknown kind");
    if (header->channels == 1)
        return;
    if (header->isJpeg) {
        image.replaceStreamData(grayJpeg(storedData(image)), QPDFObjectHandle::newName("/DCTDecode"),
                                QPDFObjectHandle::newNull());
    } else {
        const std::string samples = decodedData(image);
        if (samples.size() != header->dataLength())
            throw std::runtime_error("an image does not have the size in its dictionary");
        replaceFlateData(image, flateCompressed(graySamples(samples)));
    }
    image.getDict().replaceKey("/ColorSpace", QPDFObjectHandle::newName("/DeviceGray"));
    image.getDict().removeKey("/ColorTransform");
}
