#include "engine/pdf/imageheader.h"

#include "engine/pdf/jpeg.h"
#include "engine/pdf/streamdata.h"

#include <stdexcept>

namespace
{

constexpr int maximumSide = 65535;

[[noreturn]] void refuse()
{
    throw std::runtime_error("an image is malformed");
}

int side(QPDFObjectHandle dictionary, const char *key)
{
    QPDFObjectHandle value = dictionary.getKey(key);
    if (!value.isInteger() || value.getIntValue() < 1 || value.getIntValue() > maximumSide)
        refuse();
    return value.getIntValueAsInt();
}

int bitsOf(QPDFObjectHandle dictionary, const std::string &filter)
{
    QPDFObjectHandle value = dictionary.getKey("/BitsPerComponent");
    if (filter == "/DCTDecode")
        return 8;
    if (value.isNull() && (filter == "/CCITTFaxDecode" || filter == "/JBIG2Decode"))
        return 1;
    if (!value.isInteger())
        refuse();
    switch (value.getIntValueAsInt()) {
    case 1:
    case 2:
    case 4:
    case 8:
    case 16:
        return value.getIntValueAsInt();
    default:
        refuse();
    }
}

bool isTrue(QPDFObjectHandle value)
{
    return value.isBool() && value.getBoolValue();
}

} // namespace

ImageHeader ImageHeader::read(QPDFObjectHandle image, const QPDFObjectHandle &resources)
{
    QPDFObjectHandle dictionary = image.getDict();
    const std::string filter = innermostFilter(image);
    ImageHeader header;
    if (filter == "/JPXDecode") {
        header.selfDescribing = true;
        return header;
    }
    header.width = side(dictionary, "/Width");
    header.height = side(dictionary, "/Height");
    if (static_cast<long long>(header.width) * header.height > maximumPixels)
        refuse();
    header.stencil = isTrue(dictionary.getKey("/ImageMask"));
    if (header.stencil) {
        header.bits = 1;
        return header;
    }
    header.bits = bitsOf(dictionary, filter);
    header.space = ColourSpace::read(dictionary.getKey("/ColorSpace"), resources);
    if (header.space->family() == ColourSpace::Family::Pattern)
        refuse();

    const std::vector<Interval> decode = intervals(dictionary.getKey("/Decode"));
    const size_t components = header.space->components();
    for (size_t i = 0; i < components; ++i) {
        const Interval plain = header.space->imageRange(i, header.bits);
        header.decode.push_back(decode.size() >= components ? decode[i] : plain);
        if (header.decode[i].from != plain.from || header.decode[i].to != plain.to)
            header.plainDecode = false;
    }
    if (dictionary.getKey("/Mask").isArray())
        header.colourKey = intervals(dictionary.getKey("/Mask"));
    if (!header.colourKey.empty() && header.colourKey.size() != components)
        refuse();
    return header;
}
