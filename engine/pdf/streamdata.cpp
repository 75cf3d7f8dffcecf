#include "engine/pdf/streamdata.h"

#include <qpdf/Pl_Flate.hh>
#include <qpdf/Pl_String.hh>
#include <qpdf/QPDF.hh>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace
{

constexpr std::array<std::string_view, 10> plainFilters = {
    "/FlateDecode",   "/Fl",  "/LZWDecode",      "/LZW", "/RunLengthDecode", "/RL",
    "/ASCII85Decode", "/A85", "/ASCIIHexDecode", "/AHx"};

/// Keeps the first bytes that come, up to a limit.
class BoundedText : public Pipeline
{
public:
    BoundedText(size_t limit, Excess excess)
        : Pipeline("bounded text", nullptr), m_limit(limit), m_excess(excess)
    {
    }

    void write(unsigned char const *data, size_t length) override
    {
        const size_t room = m_limit - m_text.size();
        if (length > room && m_excess == Excess::Refuse)
            throw std::runtime_error("a stream is too long");
        m_text.append(reinterpret_cast<const char *>(data), std::min(length, room));
    }

    void finish() override {}

    std::string take() { return std::move(m_text); }

private:
    size_t m_limit;
    Excess m_excess;
    std::string m_text;
};

std::vector<QPDFObjectHandle> listed(QPDFObjectHandle value)
{
    if (value.isArray())
        return value.getArrayAsVector();
    if (value.isNull())
        return {};
    return {value};
}

std::vector<QPDFObjectHandle> filters(QPDFObjectHandle stream)
{
    return listed(stream.getDict().getKey("/Filter"));
}

} // namespace

std::string decodedData(QPDFObjectHandle stream, size_t limit, Excess excess)
{
    if (!stream.isStream())
        throw std::runtime_error("a stream is missing");
    BoundedText text(limit, excess);
    if (!hasPlainFilters(stream) || !stream.pipeStreamData(&text, nullptr, 0, qpdf_dl_specialized, true))
        throw std::runtime_error("a stream cannot be decoded");
    return text.take();
}

bool hasPlainFilters(const QPDFObjectHandle &stream)
{
    const std::vector<QPDFObjectHandle> names = filters(stream);
    return std::all_of(names.begin(), names.end(), [](QPDFObjectHandle name) {
        return name.isName() &&
               std::find(plainFilters.begin(), plainFilters.end(), name.getName()) != plainFilters.end();
    });
}

std::string innermostFilter(const QPDFObjectHandle &stream)
{
    std::vector<QPDFObjectHandle> names = filters(stream);
    return names.empty() || !names.back().isName() ? std::string() : names.back().getName();
}

std::string innermostData(QPDFObjectHandle stream)
{
    std::vector<QPDFObjectHandle> outer = filters(stream);
    if (outer.empty() || !stream.getOwningQPDF())
        throw std::runtime_error("an image has no filter");
    outer.pop_back();

    const std::shared_ptr<Buffer> raw = stream.getRawStreamData();
    if (outer.empty())
        return {reinterpret_cast<const char *>(raw->getBuffer()), raw->getSize()};
    std::vector<QPDFObjectHandle> parameters = listed(stream.getDict().getKey("/DecodeParms"));
    parameters.resize(outer.size(), QPDFObjectHandle::newNull());
    QPDFObjectHandle wrapped = QPDFObjectHandle::newStream(stream.getOwningQPDF());
    wrapped.replaceStreamData(raw, QPDFObjectHandle::newArray(outer), QPDFObjectHandle::newArray(parameters));
    return decodedData(wrapped);
}

std::string flateCompressed(const std::string &data)
{
    std::string compressed;
    Pl_String text("compressed", nullptr, compressed);
    Pl_Flate flate("compress", &text, Pl_Flate::a_deflate);
    flate.write(reinterpret_cast<const unsigned char *>(data.data()), data.size());
    flate.finish();
    return compressed;
}

void replaceFlateData(QPDFObjectHandle stream, const std::string &compressed)
{
    stream.replaceStreamData(compressed, QPDFObjectHandle::newName("/FlateDecode"),
                             QPDFObjectHandle::newNull());
}
