#include "engine/pdf/images/downscale.h"
#include "engine/pdf/images/jpeg.h"
#include "engine/pdf/images/losslessimage.h"
#include "tests/fuzz/fuzz.h"

#include <qpdf/Buffer.hh>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>

#include <algorithm>
#include <stdexcept>
#include <string>

// An input is a JPEG file; or the letter R, a width, a number of channels, and samples.

namespace
{

size_t sampleCount(const Raster &raster)
{
    return static_cast<size_t>(raster.width) * static_cast<size_t>(raster.height) *
           static_cast<size_t>(raster.channels);
}

bool isLike(const Raster &one, const Raster &other, int channels)
{
    return one.width == other.width && one.height == other.height && one.channels == channels &&
           one.samples.size() == sampleCount(one);
}

/// The samples as a PDF reader finds them.
std::string decoded(const LosslessImage &image, const Raster &raster)
{
    QPDF pdf;
    pdf.emptyPDF();
    QPDFObjectHandle stream = QPDFObjectHandle::newStream(&pdf, image.data);
    QPDFObjectHandle dictionary = stream.getDict();
    dictionary.replaceKey("/Filter", QPDFObjectHandle::newName("/FlateDecode"));
    if (image.predicted)
        dictionary.replaceKey("/DecodeParms",
                              QPDFObjectHandle::parse("<< /Predictor 15 /Colors " +
                                                      std::to_string(image.channels) + " /BitsPerComponent " +
                                                      std::to_string(image.bits) + " /Columns " +
                                                      std::to_string(raster.width) + " >>"));
    const std::shared_ptr<Buffer> data = stream.getStreamData(qpdf_dl_generalized);
    return {reinterpret_cast<const char *>(data->getBuffer()), data->getSize()};
}

std::string withoutPalette(const LosslessImage &image, const Raster &raster)
{
    std::string data = decoded(image, raster);
    if (image.palette.empty())
        return data;
    const auto channels = static_cast<size_t>(raster.channels);
    const auto width = static_cast<size_t>(raster.width);
    const auto bits = static_cast<size_t>(image.bits);
    const size_t rowLength = (width * bits + 7) / 8;
    std::string samples;
    for (size_t pixel = 0; pixel < width * static_cast<size_t>(raster.height); ++pixel) {
        const size_t bit = pixel % width * bits;
        const unsigned byte = static_cast<unsigned char>(data.at(pixel / width * rowLength + bit / 8));
        const size_t index = (byte >> (8 - bits - bit % 8)) & ((1U << bits) - 1U);
        samples += image.palette.substr(index * channels, channels);
    }
    return samples;
}

void checkRaster(const Raster &raster)
{
    for (const bool mayHavePalette : {true, false})
        require(withoutPalette(losslessImage(raster, mayHavePalette), raster) == raster.samples,
                "lossless is without loss");
    const Raster small = averaged(raster, (raster.width + 1) / 2, (raster.height + 1) / 2);
    require(small.samples.size() == sampleCount(small), "a raster has as many samples as its size says");
    const auto byte = [](char one, char other) {
        return static_cast<unsigned char>(one) < static_cast<unsigned char>(other);
    };
    const auto [least, most] = std::minmax_element(raster.samples.begin(), raster.samples.end(), byte);
    const auto [smallest, largest] = std::minmax_element(small.samples.begin(), small.samples.end(), byte);
    require(!byte(*smallest, *least) && !byte(*most, *largest), "an average lies between");
    require(isLike(decodeJpeg(encodeJpeg(raster, 40, true)), raster, raster.channels),
            "a JPEG is as large as what it was made of");
}

void checkJpeg(const std::string &file)
{
    const Raster raster = decodeJpeg(file);
    require(isLike(raster, raster, raster.channels), "a raster has as many samples as its size says");
    const Raster half = decodeJpeg(file, (raster.width + 1) / 2, (raster.height + 1) / 2);
    require(half.width * 2 >= raster.width && half.height * 2 >= raster.height &&
                half.samples.size() == sampleCount(half),
            "no side gets smaller than asked");
    require(isLike(decodeJpeg(grayJpeg(file)), raster, 1), "a gray JPEG is as large, and gray");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string bytes(reinterpret_cast<const char *>(data), size);
    try {
        if (!bytes.starts_with('R')) {
            checkJpeg(bytes);
            return 0;
        }
        if (size < 4)
            return 0;
        Raster raster;
        raster.width = 1 + data[1];
        raster.channels = data[2] % 4 < 2 ? 1 : 3;
        raster.height = static_cast<int>(size - 3) / (raster.width * raster.channels);
        if (raster.height > 0) {
            raster.samples = bytes.substr(3, sampleCount(raster));
            checkRaster(raster);
        }
    } catch (const std::runtime_error &) {
        // Refused.
    }
    return 0;
}
