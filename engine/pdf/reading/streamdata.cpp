#include "engine/pdf/reading/streamdata.h"

#include <qpdf/Pl_Flate.hh>
#include <qpdf/Pl_String.hh>
#include <qpdf/QPDF.hh>

#include <stdexcept>

std::string filterOf(QPDFObjectHandle stream)
{
    QPDFObjectHandle filter = stream.getDict().getKey("/Filter");
    if (filter.isNull())
        return {};
    if (!filter.isName())
        throw std::runtime_error("a stream has several filters");
    return filter.getName();
}

std::string storedData(QPDFObjectHandle stream)
{
    const std::shared_ptr<Buffer> raw = stream.getRawStreamData();
    return {reinterpret_cast<const char *>(raw->getBuffer()), raw->getSize()};
}

std::string decodedData(QPDFObjectHandle stream)
{
    const std::string filter = filterOf(stream);
    std::string data;
    Pl_String text("decoded", nullptr, data);
    if ((!filter.empty() && filter != "/FlateDecode") ||
        !stream.pipeStreamData(&text, nullptr, 0, qpdf_dl_generalized, true))
        throw std::runtime_error("a stream cannot be decoded");
    return data;
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
