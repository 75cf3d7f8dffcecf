#include "engine/page/givendocument.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QUrl>

using namespace Qt::StringLiterals;

QJsonObject GivenDocument::begin(const QString &url, const QByteArray &content,
                                 const QJsonObject &interception)
{
    const QUrl document(url);
    m_others =
        m_session.on(u"Fetch.requestPaused"_s, [=, this](const QJsonObject &event, const QString &from) {
            const QJsonValue id = event["requestId"_L1];
            const QUrl asked(event["request"_L1]["url"_L1].toString());
            // Also again, when the page reloads itself; before it is asked for elsewhere, as there is no
            // response.
            if (event["resourceType"_L1].toString() == "Document"_L1 &&
                !event.contains("responseStatusCode"_L1) && asked.matches(document, QUrl::RemoveFragment)) {
                const QJsonObject type{{u"name"_s, u"Content-Type"_s}, {u"value"_s, u"text/html"_s}};
                m_session.post(u"Fetch.fulfillRequest"_s,
                               {{u"requestId"_s, id},
                                {u"responseCode"_s, 200},
                                {u"responseHeaders"_s, QJsonArray{type}},
                                {u"body"_s, QString::fromLatin1(content.toBase64())}},
                               from);
            } else if (m_others) {
                m_others(event, from);
            } else {
                m_session.post(u"Fetch.continueRequest"_s, {{u"requestId"_s, id}}, from);
            }
        });
    if (!interception.isEmpty())
        return interception;
    // Images for Pictures, which takes this handler as a sign that it need not ask for them.
    QJsonArray patterns;
    for (const QString &kind : {u"Document"_s, u"Image"_s})
        patterns.append(QJsonObject{{u"urlPattern"_s, u"*"_s}, {u"resourceType"_s, kind}});
    return {{u"patterns"_s, patterns}};
}
