#include "engine/pdf/inlineimage.h"

#include "engine/pdf/grayimage.h"
#include "engine/pdf/imageheader.h"

#include <qpdf/QPDF.hh>
#include <qpdf/QUtil.hh>

#include <array>
#include <string_view>

namespace
{

struct Abbreviation {
    std::string_view brief;
    std::string_view full;
};

/// Table 93.
constexpr std::array<Abbreviation, 11> keys = {{
    {"/BPC", "/BitsPerComponent"},
    {"/CS", "/ColorSpace"},
    {"/D", "/Decode"},
    {"/DP", "/DecodeParms"},
    {"/F", "/Filter"},
    {"/H", "/Height"},
    {"/IM", "/ImageMask"},
    {"/I", "/Interpolate"},
    {"/W", "/Width"},
    {"/L", "/Length"},
    {"/Intent", "/Intent"},
}};

/// Table 94.
constexpr std::array<Abbreviation, 7> filters = {{
    {"/AHx", "/ASCIIHexDecode"},
    {"/A85", "/ASCII85Decode"},
    {"/LZW", "/LZWDecode"},
    {"/Fl", "/FlateDecode"},
    {"/RL", "/RunLengthDecode"},
    {"/CCF", "/CCITTFaxDecode"},
    {"/DCT", "/DCTDecode"},
}};

template <size_t count>
std::string expanded(const std::string &name, const std::array<Abbreviation, count> &table)
{
    for (const Abbreviation &entry : table) {
        if (entry.brief == name)
            return std::string(entry.full);
    }
    return name;
}

QPDFObjectHandle expandedFilters(QPDFObjectHandle value)
{
    if (value.isName())
        return QPDFObjectHandle::newName(expanded(value.getName(), filters));
    QPDFObjectHandle names = QPDFObjectHandle::newArray();
    if (value.isArray()) {
        for (const QPDFObjectHandle &name : value.aitems())
            names.appendItem(expandedFilters(name));
    }
    return names;
}

QPDFObjectHandle withFilter(QPDFObjectHandle dictionary, const char *key, const QPDFObjectHandle &outermost)
{
    QPDFObjectHandle array = QPDFObjectHandle::newArray({outermost});
    QPDFObjectHandle value = dictionary.getKey(key);
    if (value.isArray()) {
        for (const QPDFObjectHandle &item : value.aitems())
            array.appendItem(item);
    } else if (!value.isNull()) {
        array.appendItem(value);
    }
    return array;
}

} // namespace

bool InlineImage::take(const QPDFTokenizer::Token &token)
{
    if (token.getType() == QPDFTokenizer::tt_inline_image) {
        m_data = token.getRawValue();
        return true;
    }
    if (!m_hasData && token.isWord("ID"))
        m_hasData = true;
    else if (!m_hasData)
        m_dictionary += token.getRawValue();
    else if (token.isWord("EI"))
        m_end = token.getRawValue();
    return m_end.empty();
}

std::string InlineImage::source() const
{
    std::string text = "BI" + m_dictionary;
    if (m_hasData)
        text += "ID " + m_data + m_end;
    return text;
}

QPDFObjectHandle InlineImage::asStream(QPDF &pdf) const
{
    QPDFObjectHandle brief = QPDFObjectHandle::parse(&pdf, "<<" + m_dictionary + ">>");
    QPDFObjectHandle full = QPDFObjectHandle::newDictionary();
    for (const auto &[key, value] : brief.ditems())
        full.replaceKey(expanded(key, keys), value);
    const QPDFObjectHandle filter =
        full.hasKey("/Filter") ? expandedFilters(full.getKey("/Filter")) : QPDFObjectHandle::newNull();
    QPDFObjectHandle stream = QPDFObjectHandle::newStream(&pdf);
    stream.replaceDict(full);
    stream.replaceStreamData(m_data, filter, full.getKey("/DecodeParms"));
    return stream;
}

std::string InlineImage::gray(QPDF &pdf, const QPDFObjectHandle &resources) const
{
    QPDFObjectHandle image = asStream(pdf);
    const ImageHeader header = ImageHeader::read(image, resources);
    if (header.stencil || header.selfDescribing || header.space->family() == ColourSpace::Family::Gray)
        return source();
    makeImageGray(image, resources);

    QPDFObjectHandle dictionary = image.getDict();
    const std::shared_ptr<Buffer> raw = image.getRawStreamData();
    const std::string data(reinterpret_cast<const char *>(raw->getBuffer()), raw->getSize());
    const QPDFObjectHandle parameters = withFilter(dictionary, "/DecodeParms", QPDFObjectHandle::newNull());
    dictionary.replaceKey("/Filter",
                          withFilter(dictionary, "/Filter", QPDFObjectHandle::newName("/ASCIIHexDecode")));
    dictionary.replaceKey("/DecodeParms", parameters);
    dictionary.removeKey("/Length");
    std::string text = "BI";
    for (const auto &[key, value] : dictionary.ditems())
        text += ' ' + key + ' ' + QPDFObjectHandle(value).unparseResolved();
    return text + " ID " + QUtil::hex_encode(data) + "> EI";
}
