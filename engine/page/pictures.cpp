#include "engine/page/pictures.h"

#include "engine/page/resources.h"
#include "engine/page/scripts.h"

#include <QUuid>

#include <algorithm>
#include <utility>

using namespace std::chrono_literals;

namespace
{

using namespace Qt::StringLiterals;

/// How often it is asked whether the pictures have come.
constexpr auto askingInterval = 10ms;

/// In characters. Larger ones are no pictures with some words in them.
constexpr qsizetype maximumText = 8 << 20;

bool hasText(const QString &svg)
{
    return svg.size() <= maximumText &&
           (svg.contains("<text"_L1) || svg.contains(":text"_L1) || svg.contains("foreignObject"_L1));
}

/// The text of an address with the scheme data; empty if it is no SVG file.
QString textOfData(const QString &address)
{
    const qsizetype comma = address.indexOf(u',');
    const QStringView head = QStringView(address).left(comma);
    if (comma < 0 || !head.startsWith(u"data:image/svg+xml"_s, Qt::CaseInsensitive))
        return {};
    const QByteArray data = QByteArray::fromPercentEncoding(address.mid(comma + 1).toUtf8());
    const bool encoded = head.endsWith(u";base64"_s, Qt::CaseInsensitive);
    return QString::fromUtf8(encoded ? QByteArray::fromBase64(data) : data);
}

} // namespace

Pictures::Pictures(Session &browser, const QString &context, Session &page, VirtualTime &time)
    : m_browser(browser), m_context(context), m_page(page), m_time(time)
{
}

Pictures::~Pictures()
{
    closeDocument();
}

void Pictures::enlarge(const QList<FrameResult> &frames, Deadline bound)
{
    m_pictures.clear();
    const bool any = std::any_of(frames.begin(), frames.end(), [](const FrameResult &frame) {
        return !frame.value["pictures"_L1].toArray().isEmpty();
    });
    if (!any)
        return;
    readTexts(frames, bound);
    changeTexts(bound);
    replace(frames, bound);
}

/// Finds out which of the pictures are SVG files with text, and how these are shown.
void Pictures::readTexts(const QList<FrameResult> &frames, Deadline bound)
{
    QHash<Place, std::pair<Resource, QString>> drawings; // with the sessions of their frames
    for (const QString &session : m_page.family()) {
        const auto tree = m_page.ask(u"Page.getResourceTree"_s, {}, bound, session);
        if (!tree)
            return;
        const QList<Resource> resources = resourcesIn(tree->result["frameTree"_L1].toObject());
        for (const Resource &resource : resources) {
            if (resource.mimeType == "image/svg+xml"_L1)
                drawings.insert({resource.frame, resource.address}, {resource, session});
        }
    }
    for (const FrameResult &frame : frames) {
        const QJsonArray pictures = frame.value["pictures"_L1].toArray();
        for (const auto &picture : pictures) {
            const Place place(frame.frame, picture["address"_L1].toString());
            if (!m_texts.contains(place)) {
                QString text = textOfData(place.second);
                if (const auto drawing = drawings.constFind(place); drawing != drawings.constEnd())
                    text = contentOf(m_page, drawing->first, drawing->second, bound);
                m_texts.insert(place, hasText(text) ? text : QString());
            }
            if (!m_texts[place].isEmpty())
                m_pictures[place].shown.append(picture);
        }
    }
}

void Pictures::changeTexts(Deadline bound)
{
    if (m_pictures.isEmpty())
        return;
    const std::optional<QString> session = openDocument(bound);
    if (!session)
        return;
    for (auto picture = m_pictures.begin(); picture != m_pictures.end(); ++picture) {
        const std::optional<FrameResult> result =
            runInFrame(m_browser, {m_document, {}, *session, {}}, pictureScript,
                       {{u"text"_s, m_texts[picture.key()]}, {u"shown"_s, picture->shown}}, bound);
        if (result)
            picture->enlarged = result->value["enlarged"_L1].toString();
    }
    closeDocument();
}

/// A blank page that runs no script and loads nothing; the id of the conversation with it.
std::optional<QString> Pictures::openDocument(Deadline bound)
{
    QJsonObject settings{{u"url"_s, u"about:blank"_s}};
    if (!m_context.isEmpty())
        settings.insert(u"browserContextId"_s, m_context);
    const auto made = m_browser.ask(u"Target.createTarget"_s, settings, bound);
    if (!made || !made->error.isEmpty())
        return std::nullopt;
    m_document = made->result["targetId"_L1].toString();
    const auto attached =
        m_browser.ask(u"Target.attachToTarget"_s, {{u"targetId"_s, m_document}, {u"flatten"_s, true}}, bound);
    if (!attached || !attached->error.isEmpty())
        return std::nullopt;
    const QString session = attached->result["sessionId"_L1].toString();
    m_browser.post(u"Emulation.setScriptExecutionDisabled"_s, {{u"value"_s, true}}, session);
    const auto forbidden = runInFrame(m_browser, {m_document, {}, session, {}}, blankScript, {}, bound);
    return forbidden && forbidden->value["isReady"_L1].toBool() ? std::optional(session) : std::nullopt;
}

void Pictures::closeDocument()
{
    if (m_document.isEmpty())
        return;
    try {
        m_browser.post(u"Target.closeTarget"_s, {{u"targetId"_s, std::exchange(m_document, {})}});
    } catch (const Failure &) {
        // It goes with its context, or its browser.
    }
}

/// Has the pictures loaded anew, and answers for them.
void Pictures::replace(const QList<FrameResult> &frames, Deadline bound)
{
    const bool any = std::any_of(m_pictures.begin(), m_pictures.end(),
                                 [](const Picture &picture) { return !picture.enlarged.isEmpty(); });
    if (!any)
        return;
    m_others = m_page.on(u"Fetch.requestPaused"_s, [this](const QJsonObject &event, const QString &from) {
        if (answer(event, from))
            return;
        if (m_others)
            m_others(event, from);
        else
            m_page.post(u"Fetch.continueRequest"_s, {{u"requestId"_s, event["requestId"_L1]}}, from);
    });
    const bool answersAnyway = m_others != nullptr;
    const QJsonArray onlyImages{QJsonObject{{u"urlPattern"_s, u"*"_s}, {u"resourceType"_s, u"Image"_s}}};
    for (const QString &session : m_page.family()) {
        if (!answersAnyway)
            m_page.post(u"Fetch.enable"_s, {{u"patterns"_s, onlyImages}}, session);
        m_page.post(u"Network.setBypassServiceWorker"_s, {{u"bypass"_s, true}}, session);
        // Otherwise what has been loaded would be taken again.
        m_page.post(u"Network.setCacheDisabled"_s, {{u"cacheDisabled"_s, true}}, session);
    }
    // Only the web's addresses can be answered for; others are given one that nobody else can know.
    const QString host = u"https://%1.invalid/"_s.arg(QUuid::createUuid().toString(QUuid::WithoutBraces));
    int number = 0;
    for (auto picture = m_pictures.begin(); picture != m_pictures.end(); ++picture)
        picture->standIn = picture.key().second.startsWith("http"_L1) ? picture.key().second
                                                                      : host + QString::number(++number);
    QList<FrameResult> waiting;
    for (const FrameResult &frame : frames) {
        QJsonObject addresses;
        const QJsonArray pictures = frame.value["pictures"_L1].toArray();
        for (qsizetype i = 0; i < pictures.size(); ++i) {
            const QString address = pictures[i]["address"_L1].toString();
            const auto picture = m_pictures.constFind({frame.frame, address});
            if (picture != m_pictures.constEnd() && !picture->enlarged.isEmpty())
                addresses.insert(QString::number(i),
                                 QJsonObject{{u"from"_s, address}, {u"to"_s, picture->standIn}});
        }
        if (!addresses.isEmpty() &&
            runInFrame(m_page, frame, replaceScript, {{u"addresses"_s, addresses}}, bound))
            waiting.append(frame);
    }
    while (!waiting.isEmpty() && !bound.passed()) {
        const auto result = runInFrame(m_page, waiting.first(), replaceScript, {}, bound);
        if (!result || result->value["coming"_L1].toInt() == 0)
            waiting.removeFirst();
        else
            m_time.waitUntil([] { return false; }, VirtualTime::Pace::Real,
                             Deadline::in(askingInterval).earlier(bound));
    }
    for (const QString &session : m_page.family()) {
        m_page.post(u"Network.setBypassServiceWorker"_s, {{u"bypass"_s, false}}, session);
        if (answersAnyway)
            continue; // with passwords, which nothing that is kept may go round
        m_page.post(u"Network.setCacheDisabled"_s, {{u"cacheDisabled"_s, false}}, session);
        m_page.post(u"Fetch.disable"_s, {}, session);
    }
    m_page.on(u"Fetch.requestPaused"_s, std::exchange(m_others, nullptr));
}

/// False if it is no request for one of the pictures.
bool Pictures::answer(const QJsonObject &request, const QString &from)
{
    if (request["resourceType"_L1].toString() != "Image"_L1)
        return false;
    const QString frame = request["frameId"_L1].toString();
    const QString address = request["request"_L1]["url"_L1].toString();
    for (auto picture = m_pictures.constBegin(); picture != m_pictures.constEnd(); ++picture) {
        if (picture.key().first != frame || picture->standIn != address || picture->enlarged.isEmpty())
            continue;
        const QJsonObject type{{u"name"_s, u"Content-Type"_s},
                               {u"value"_s, u"image/svg+xml; charset=utf-8"_s}};
        m_page.post(u"Fetch.fulfillRequest"_s,
                    {{u"requestId"_s, request["requestId"_L1]},
                     {u"responseCode"_s, 200},
                     {u"responseHeaders"_s, QJsonArray{type}},
                     {u"body"_s, QString::fromLatin1(picture->enlarged.toUtf8().toBase64())}},
                    from);
        return true;
    }
    return false;
}
