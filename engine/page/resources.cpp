#include "engine/page/resources.h"

#include <QJsonArray>

using namespace Qt::StringLiterals;

QList<Resource> resourcesIn(const QJsonObject &tree)
{
    QList<Resource> all;
    const QString frame = tree["frame"_L1].toObject()["id"_L1].toString();
    const QJsonArray resources = tree["resources"_L1].toArray();
    for (const auto &resource : resources)
        all.append({frame, resource["url"_L1].toString(), resource["type"_L1].toString(),
                    resource["mimeType"_L1].toString()});
    const QJsonArray children = tree["childFrames"_L1].toArray();
    for (const auto &child : children)
        all += resourcesIn(child.toObject());
    return all;
}

QString contentOf(Session &session, const Resource &resource, const QString &to, Deadline bound)
{
    const auto reply = session.ask(u"Page.getResourceContent"_s,
                                   {{u"frameId"_s, resource.frame}, {u"url"_s, resource.address}}, bound, to);
    if (!reply)
        return {};
    const QString content = reply->result["content"_L1].toString();
    return reply->result["base64Encoded"_L1].toBool()
               ? QString::fromUtf8(QByteArray::fromBase64(content.toLatin1()))
               : content;
}
