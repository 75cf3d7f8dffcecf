#include "engine/pdf/equalimages.h"

#include "engine/pdf/parts.h"

#include <QCryptographicHash>
#include <qpdf/Buffer.hh>
#include <qpdf/QPDF.hh>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

namespace
{

QByteArray hashOf(QPDFObjectHandle stream)
{
    const std::shared_ptr<Buffer> data = stream.getRawStreamData();
    QCryptographicHash hash(QCryptographicHash::Sha256);
    hash.addData(QByteArray::fromStdString(stream.getDict().unparse()));
    hash.addData(QByteArrayView(data->getBuffer(), static_cast<qsizetype>(data->getSize())));
    return hash.result();
}

/// The first of each kind of stream that has been met.
class Firsts
{
public:
    /// The stream to use instead of `stream`: an equal one that came before, or itself.
    QPDFObjectHandle firstLike(QPDFObjectHandle stream)
    {
        // Hardly any two have the same length without being the same.
        std::vector<Known> &alike = m_byLength[stream.getDict().getKey("/Length").unparseResolved()];
        const auto isItself = [&](Known &known) { return known.stream.getObjGen() == stream.getObjGen(); };
        if (std::any_of(alike.begin(), alike.end(), isItself))
            return stream;
        if (alike.empty()) {
            alike.push_back({stream, {}});
            return stream;
        }
        const QByteArray hash = hashOf(stream);
        for (Known &known : alike) {
            if (known.hash.isNull())
                known.hash = hashOf(known.stream);
            if (known.hash == hash)
                return known.stream;
        }
        alike.push_back({stream, hash});
        return stream;
    }

private:
    struct Known {
        QPDFObjectHandle stream;
        /// Null until it is asked for.
        QByteArray hash;
    };
    std::map<std::string, std::vector<Known>> m_byLength;
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
