#include "engine/pdf/images/equalimages.h"

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

/// Finds streams that are equal to an earlier one.
class Deduplicator
{
public:
    /// The stream to use instead of `stream`: an equal earlier one, or itself.
    QPDFObjectHandle canonical(QPDFObjectHandle stream)
    {
        // Different images rarely have equal lengths, so hashes are rarely needed.
        std::vector<Known> &candidates = m_byLength[stream.getDict().getKey("/Length").unparseResolved()];
        const auto isItself = [&](Known &known) { return known.stream.getObjGen() == stream.getObjGen(); };
        if (std::any_of(candidates.begin(), candidates.end(), isItself))
            return stream;
        if (candidates.empty()) {
            candidates.push_back({stream, {}});
            return stream;
        }
        const QByteArray hash = hashOf(stream);
        for (Known &known : candidates) {
            if (known.hash.isNull())
                known.hash = hashOf(known.stream);
            if (known.hash == hash)
                return known.stream;
        }
        candidates.push_back({stream, hash});
        return stream;
    }

private:
    struct Known {
        QPDFObjectHandle stream;
        /// Computed when needed; null until then.
        QByteArray hash;
    };
    std::map<std::string, std::vector<Known>> m_byLength;
};

/// Replaces the value of `key` in `dictionary`, if it is an image, by the canonical one.
void merge(QPDFObjectHandle dictionary, const std::string &key, Deduplicator &images)
{
    QPDFObjectHandle image = dictionary.getKey(key);
    if (!image.isStream() || !image.getDict().getKey("/Subtype").isNameAndEquals("/Image"))
        return;
    QPDFObjectHandle canonical = images.canonical(image);
    if (canonical.getObjGen() != image.getObjGen())
        dictionary.replaceKey(key, canonical);
}

} // namespace

void mergeEqualImages(const DocumentParts &parts)
{
    if (parts.images.size() < 2)
        return;
    Deduplicator images;
    // Soft masks first: images are equal only if they refer to the same soft mask.
    for (QPDFObjectHandle image : parts.images)
        merge(image.getDict(), "/SMask", images);
    for (QPDFObjectHandle resources : parts.resources) {
        QPDFObjectHandle objects = resources.getKey("/XObject");
        if (!objects.isDictionary())
            continue;
        for (const std::string &name : objects.getKeys())
            merge(objects, name, images);
    }
}
