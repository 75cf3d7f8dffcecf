#include "engine/pdf/equalimages.h"

#include "engine/pdf/parts.h"

#include <QCryptographicHash>
#include <qpdf/Buffer.hh>
#include <qpdf/QPDF.hh>

#include <map>

namespace
{

/// The first of each kind of stream that has been met.
class Firsts
{
public:
    /// The stream to use instead of `stream`: an equal one that came before, or itself.
    QPDFObjectHandle firstLike(QPDFObjectHandle stream)
    {
        const std::shared_ptr<Buffer> data = stream.getRawStreamData();
        QCryptographicHash hash(QCryptographicHash::Sha256);
        hash.addData(QByteArray::fromStdString(stream.getDict().unparse()));
        hash.addData(QByteArrayView(data->getBuffer(), static_cast<qsizetype>(data->getSize())));
        return m_firsts.try_emplace(hash.result(), stream).first->second;
    }

private:
    std::map<QByteArray, QPDFObjectHandle> m_firsts;
};

/// Replaces the value of `key` in `dictionary`, if it is an image, by the first like it.
void merge(QPDFObjectHandle dictionary, const std::string &key, Firsts &firsts)
{
    QPDFObjectHandle image = dictionary.getKey(key);
    if (!image.isStream() || !image.getDict().getKey("/Subtype").isNameAndEquals("/Image"))
        return;
    QPDFObjectHandle first = firsts.firstLike(image);
    if (first.getObjGen() != image.getObjGen())
        dictionary.replaceKey(key, first);
}

} // namespace

void mergeEqualImages(QPDF &pdf)
{
    const DocumentParts parts = DocumentParts::of(pdf);
    if (parts.images.size() < 2)
        return;
    Firsts firsts;
    // First what images refer to, so that these can be equal as well.
    for (Resource image : parts.images) {
        for (const char *key : {"/SMask", "/Mask"})
            merge(image.object.getDict(), key, firsts);
    }
    for (QPDFObjectHandle resources : parts.resources) {
        QPDFObjectHandle objects = resources.getKey("/XObject");
        if (!objects.isDictionary())
            continue;
        for (const std::string &name : objects.getKeys())
            merge(objects, name, firsts);
    }
}
