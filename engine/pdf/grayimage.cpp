#include "engine/pdf/grayimage.h"

#include "engine/pdf/bits.h"
#include "engine/pdf/imageheader.h"
#include "engine/pdf/jpeg.h"
#include "engine/pdf/streamdata.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>

namespace
{

constexpr int grayQuality = 92;
constexpr int maximumPaletteBits = 8;
constexpr size_t maximumComponents = 32;

/// The luma weights in 65536ths.
constexpr auto redWeight = static_cast<unsigned>(lumaWeights[0] * 65536);
constexpr auto greenWeight = static_cast<unsigned>(lumaWeights[1] * 65536);
constexpr auto blueWeight = 65536 - redWeight - greenWeight;

char byteOf(double gray)
{
    return static_cast<char>(static_cast<unsigned char>(std::lround(Interval{0, 1}.clip(gray) * 255)));
}

/// What remains of an image once its colours are gone.
struct GraySamples {
    std::string gray;    ///< a byte a pixel
    std::string stencil; ///< a bit a pixel, set where it is not painted; empty without colour key
};

GraySamples fromRgbBytes(const std::string &samples)
{
    GraySamples result;
    result.gray.resize(samples.size() / 3);
    const auto *from = reinterpret_cast<const unsigned char *>(samples.data());
    for (char &gray : result.gray) {
        gray = static_cast<char>(
            (from[0] * redWeight + from[1] * greenWeight + from[2] * blueWeight + 32768) >> 16);
        from += 3;
    }
    return result;
}

/// Turns samples of any kind into grays, one pixel after another. Neighbours often have one colour, and what
/// a colour comes to can be costly to find.
class GrayOfPixels
{
public:
    GrayOfPixels(const ImageHeader &header, std::string_view data)
        : m_header(header), m_reader(data), m_colour(header.space->components())
    {
        if (m_colour.size() > m_stored.size())
            throw std::runtime_error("an image has too many components");
        m_lastGray = byteOf(grayOfStored());
    }

    GraySamples read()
    {
        GraySamples result;
        BitWriter stencil;
        result.gray.reserve(static_cast<size_t>(m_header.width) * static_cast<size_t>(m_header.height));
        for (int y = 0; y < m_header.height; ++y) {
            for (int x = 0; x < m_header.width; ++x) {
                result.gray.push_back(nextPixel());
                if (!m_header.colourKey.empty())
                    stencil.write(isLeftOut() ? 1 : 0, 1);
            }
            m_reader.skipToByte();
            stencil.skipToByte();
        }
        result.stencil = stencil.bytes();
        return result;
    }

private:
    char nextPixel()
    {
        for (size_t i = 0; i < m_colour.size(); ++i)
            m_stored[i] = m_reader.read(m_header.bits);
        if (m_stored != m_last) {
            m_last = m_stored;
            m_lastGray = byteOf(grayOfStored());
        }
        return m_lastGray;
    }

    double grayOfStored()
    {
        const Interval range{0, maximumOf(m_header.bits)};
        for (size_t i = 0; i < m_colour.size(); ++i)
            m_colour[i] = range.mapped(m_stored[i], m_header.decode[i]);
        return m_header.space->gray(m_colour);
    }

    bool isLeftOut() const
    {
        for (size_t i = 0; i < m_colour.size(); ++i) {
            if (m_stored[i] < m_header.colourKey[i].from || m_stored[i] > m_header.colourKey[i].to)
                return false;
        }
        return true;
    }

    const ImageHeader &m_header;
    BitReader m_reader;
    std::array<uint32_t, maximumComponents> m_stored{};
    std::array<uint32_t, maximumComponents> m_last{};
    std::vector<double> m_colour;
    char m_lastGray = 0;
};

bool isPlainRgb(const ImageHeader &header)
{
    return header.space->family() == ColourSpace::Family::Rgb && header.bits == 8 && header.plainDecode &&
           header.colourKey.empty();
}

GraySamples graySamples(const ImageHeader &header, const std::string &data)
{
    if (data.size() < header.dataLength())
        throw std::runtime_error("an image has too few samples");
    return isPlainRgb(header) ? fromRgbBytes(data) : GrayOfPixels(header, data).read();
}

void replaceColours(QPDFObjectHandle image, const QPDFObjectHandle &space)
{
    QPDFObjectHandle dictionary = image.getDict();
    dictionary.replaceKey("/ColorSpace", space);
    dictionary.replaceKey("/BitsPerComponent", QPDFObjectHandle::newInteger(8));
    dictionary.removeKey("/Decode");
    dictionary.removeKey("/ColorTransform");
}

void attachStencil(QPDFObjectHandle image, const ImageHeader &header, const std::string &stencil)
{
    if (stencil.empty())
        return;
    QPDFObjectHandle mask = QPDFObjectHandle::newStream(image.getOwningQPDF());
    mask.replaceDict(QPDFObjectHandle::parse("<< /Type /XObject /Subtype /Image /ImageMask true"
                                             " /BitsPerComponent 1 >>"));
    mask.getDict().replaceKey("/Width", QPDFObjectHandle::newInteger(header.width));
    mask.getDict().replaceKey("/Height", QPDFObjectHandle::newInteger(header.height));
    replaceFlateData(mask, flateCompressed(stencil));
    image.getDict().replaceKey("/Mask", mask);
}

/// One component of 8 bits or fewer: its samples become indices of a palette of grays.
void replaceByPalette(QPDFObjectHandle image, const ImageHeader &header)
{
    const Interval stored{0, maximumOf(header.bits)};
    std::string palette;
    for (int sample = 0; sample <= static_cast<int>(stored.to); ++sample) {
        const double colour = stored.mapped(sample, header.decode[0]);
        palette.push_back(byteOf(header.space->gray(std::span(&colour, 1))));
    }
    QPDFObjectHandle dictionary = image.getDict();
    dictionary.removeKey("/Decode");
    dictionary.replaceKey(
        "/ColorSpace", QPDFObjectHandle::newArray(
                           {QPDFObjectHandle::newName("/Indexed"), QPDFObjectHandle::newName("/DeviceGray"),
                            QPDFObjectHandle::newInteger(static_cast<long long>(palette.size()) - 1),
                            QPDFObjectHandle::newString(palette)}));
}

void makePhotographGray(QPDFObjectHandle image, const ImageHeader &header)
{
    const std::string file = innermostData(image);
    std::string gray;
    std::string stencil;
    if (isPlainRgb(header) && jpegHeader(file).channels == 3) {
        gray = grayJpeg(file);
    } else {
        const Raster raster = decodeJpeg(file);
        if (raster.width != header.width || raster.height != header.height ||
            static_cast<size_t>(raster.channels) != header.space->components())
            throw std::runtime_error("an image is not what its dictionary says");
        GraySamples samples = graySamples(header, raster.samples);
        gray = encodeJpeg({raster.width, raster.height, 1, std::move(samples.gray)}, grayQuality, false);
        stencil = std::move(samples.stencil);
    }
    image.replaceStreamData(gray, QPDFObjectHandle::newName("/DCTDecode"), QPDFObjectHandle::newNull());
    replaceColours(image, QPDFObjectHandle::newName("/DeviceGray"));
    attachStencil(image, header, stencil);
}

void makeSamplesGray(const QPDFObjectHandle &image, const ImageHeader &header)
{
    const GraySamples samples = graySamples(header, decodedData(image, header.dataLength(), Excess::Ignore));
    replaceFlateData(image, flateCompressed(samples.gray));
    replaceColours(image, QPDFObjectHandle::newName("/DeviceGray"));
    attachStencil(image, header, samples.stencil);
}

/// The colour that an image's samples were blended with beforehand (ISO 32000-1, 11.6.5.3).
void makeMatteGray(QPDFObjectHandle image, const ImageHeader &header)
{
    QPDFObjectHandle mask = image.getDict().getKey("/SMask");
    if (!mask.isStream() || !mask.getDict().getKey("/Matte").isArray())
        return;
    std::vector<double> colour;
    for (QPDFObjectHandle item : mask.getDict().getKey("/Matte").aitems())
        colour.push_back(item.isNumber() ? item.getNumericValue() : 0);
    if (colour.size() != header.space->components())
        return;
    mask.getDict().replaceKey(
        "/Matte", QPDFObjectHandle::newArray({QPDFObjectHandle::newReal(header.space->gray(colour), 4)}));
}

} // namespace

void makeImageGray(QPDFObjectHandle image, const QPDFObjectHandle &resources)
{
    const ImageHeader header = ImageHeader::read(image, resources);
    if (header.selfDescribing || header.stencil || header.space->family() == ColourSpace::Family::Gray)
        return;
    if (header.space->family() == ColourSpace::Family::Indexed) {
        image.getDict().replaceKey("/ColorSpace", header.space->grayCounterpart());
        return;
    }
    if (header.space->components() == 1 && header.bits <= maximumPaletteBits) {
        replaceByPalette(image, header);
        return;
    }
    makeMatteGray(image, header);
    if (innermostFilter(image) == "/DCTDecode")
        makePhotographGray(image, header);
    else
        makeSamplesGray(image, header);
}
