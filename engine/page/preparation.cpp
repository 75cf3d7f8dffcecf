#include "engine/page/preparation.h"

#include "engine/job/paper.h"
#include "engine/page/scripts.h"

#include <QJsonArray>

#include <algorithm>
#include <utility>

namespace
{

using namespace Qt::StringLiterals;

/// How far animations have come on paper.
constexpr std::chrono::milliseconds animationTime{5000};

QJsonValue orNull(const QString &text)
{
    return text.isEmpty() ? QJsonValue() : QJsonValue(text);
}

/// As style sheets and the scripts that read them mostly have it.
QString inMillimetres(double points)
{
    return QString::number(points / pointsPerInch * 25.4, 'f', 2) + u"mm"_s;
}

QString inMillimetres(const QSizeF &points)
{
    return inMillimetres(points.width()) + u' ' + inMillimetres(points.height());
}

/// In the order of CSS.
QJsonArray inMillimetres(const QMarginsF &points)
{
    return {inMillimetres(points.top()), inMillimetres(points.right()), inMillimetres(points.bottom()),
            inMillimetres(points.left())};
}

/// Whether the job changes what the page's rules for pages say.
bool setsPaper(const Job &job)
{
    return job.paper || job.orientation || job.margins || job.singlePage;
}

/// The argument of prepareScript.
QJsonObject settingsFor(const Job &job)
{
    const QSizeF paper = paperFor(job);
    const QMarginsF margins = marginsFor(job) * pixelsPerPoint;
    QString orientation;
    if (job.orientation)
        orientation = *job.orientation == PaperOrientation::Landscape ? u"landscape"_s : u"portrait"_s;
    QJsonArray added;
    for (const JobFile &file : job.styleSheets)
        added.append(file.text);
    return {{u"added"_s, added},
            {u"single"_s, job.singlePage},
            {u"size"_s, orNull(job.paper ? inMillimetres(paper) : QString())},
            {u"orientation"_s, orNull(orientation)},
            {u"background"_s, job.background},
            {u"images"_s, job.images},
            {u"width"_s, paper.width() * pixelsPerPoint},
            {u"height"_s, paper.height() * pixelsPerPoint},
            {u"margins"_s, job.margins ? QJsonValue(inMillimetres(*job.margins)) : QJsonValue()},
            {u"usualMargins"_s, QJsonObject{{u"top"_s, margins.top()},
                                            {u"right"_s, margins.right()},
                                            {u"bottom"_s, margins.bottom()},
                                            {u"left"_s, margins.left()}}},
            {u"animationTime"_s, static_cast<double>(animationTime.count())}};
}

/// `result` is that of prepareScript.
void checkRoom(const Job &job, const QJsonObject &result)
{
    if (job.margins && (result["textWidth"_L1].toDouble(1) < 1 || result["textHeight"_L1].toDouble(1) < 1))
        throw Failure(ExitCode::BadArguments, u"--margin leaves no room on the page's paper"_s,
                      Failure::Retry::IsInVain);
}

Preparation::Findings findingsIn(const QList<FrameResult> &results)
{
    Preparation::Findings findings;
    for (const FrameResult &result : results) {
        const auto says = [&](const char *name) { return result.value[QLatin1String(name)].toBool(); };
        findings.changed = says("loading") || says("animated") || findings.changed;
    }
    return findings;
}

/// In characters: what a page says of itself in more is no use in a PDF's information.
constexpr qsizetype maximumText = 2000;

PageMetadata metadataIn(const QJsonObject &object)
{
    const auto text = [&](const char *name) {
        return object[QLatin1String(name)].toString().simplified().left(maximumText);
    };
    const auto time = [&](const char *name) { return QDateTime::fromString(text(name), Qt::ISODate); };
    PageMetadata metadata{text("author"),   text("keywords"), text("description"), text("generator"),
                          text("language"), time("created"),  time("modified")};
    metadata.isUntitled = object["untitled"_L1].toBool();
    return metadata;
}

} // namespace

Preparation::Preparation(Session &session, const QString &mainFrame)
    : m_session(session), m_mainFrame(mainFrame)
{
    session.on(u"CSS.styleSheetAdded"_s, [this](const QJsonObject &event, const QString &) {
        const QJsonObject header = event["header"_L1].toObject();
        // Others can be read by scripts.
        if (!header["isInline"_L1].toBool() && !header["isConstructed"_L1].toBool() &&
            header["origin"_L1].toString() != "inspector"_L1)
            m_newSheets += header["styleSheetId"_L1].toString();
        // The browser's own trees, which crash it when scripts touch them, have no styles made by a parser.
        if (header["isInline"_L1].toBool())
            m_newStyles.append({header["frameId"_L1].toString(), header["ownerNode"_L1]});
    });
}

bool Preparation::setViewport(QSizeF size)
{
    const QSize viewport(std::max(qRound(size.width()), 1), std::max(qRound(size.height()), 1));
    if (viewport == m_viewport)
        return false;
    m_viewport = viewport;
    if (m_textSize.isEmpty())
        m_textSize = viewport;
    m_session.post(u"Emulation.setDeviceMetricsOverride"_s, {{u"width"_s, viewport.width()},
                                                             {u"height"_s, viewport.height()},
                                                             {u"deviceScaleFactor"_s, 1},
                                                             {u"mobile"_s, false}});
    return true;
}

/// Whether it has another size then.
bool Preparation::setViewportFrom(const Job &job, const QJsonObject &result)
{
    checkRoom(job, result);
    m_textSize = QSizeF(result["textWidth"_L1].toDouble(m_viewport.width()),
                        result["textHeight"_L1].toDouble(m_viewport.height()));
    const QJsonArray margins = result["usedMargins"_L1].toArray();
    const auto margin = [&](int side) { return margins[side].toDouble() / pixelsPerPoint; };
    m_paper = {QSizeF(result["paperWidth"_L1].toDouble(), result["paperHeight"_L1].toDouble()) /
                   pixelsPerPoint,
               QMarginsF(margin(3), margin(0), margin(1), margin(2))};
    return job.viewport ? m_viewport != m_textSize.toSize() : setViewport(m_textSize);
}

void Preparation::announce(const Job &job)
{
    if (!setsPaper(job))
        return;
    QJsonObject settings = settingsFor(job);
    settings.insert(u"starting"_s, true);
    m_session.post(u"Page.addScriptToEvaluateOnNewDocument"_s,
                   {{u"source"_s, callOf(prepareScript, settings)}, {u"worldName"_s, engineWorld}});
}

std::optional<Preparation::Findings> Preparation::prepare(const Job &job, Deadline bound)
{
    if (!job.background)
        findClosedTrees(bound);
    const QJsonObject settings = settingsFor(job);
    QList<FrameResult> results = runInFrames(m_session, m_mainFrame, prepareScript, settings, bound);
    if (!job.styleSheets.isEmpty() && addStyleSheets(results, bound))
        results = runInFrames(m_session, m_mainFrame, prepareScript, settings, bound);
    if (results.isEmpty())
        return std::nullopt;
    const bool unreadable = std::any_of(results.begin(), results.end(), [](const FrameResult &result) {
        return result.value["unreadable"_L1].toBool();
    });
    const bool wantsSheets = setsPaper(job) || !job.background;
    if (unreadable && wantsSheets)
        changeUnreadableSheets(job, settings, bound);
    const bool hasMain = results.first().frame == m_mainFrame;
    const QJsonObject value = hasMain ? results.first().value : QJsonObject();
    if (hasMain)
        m_metadata = metadataIn(value["metadata"_L1].toObject());
    m_mainContext = hasMain ? results.first().context : QJsonValue();
    m_isAlone = results.size() == 1 && m_session.family().size() == 1;
    const bool hasOtherViewport = !unreadable && hasMain && setViewportFrom(job, value);
    m_fittingElements = std::nullopt;
    if (m_isAlone && !hasOtherViewport && !(unreadable && wantsSheets) && value["fits"_L1].toBool())
        m_fittingElements = value["elements"_L1].toInt();
    return findingsIn(results);
}

/// Whether the inspector tells of sheets in the session, or a child session of it.
bool Preparation::inspectSheets(Deadline bound, const QString &session)
{
    if (!m_inspected.contains(session)) {
        m_session.post(u"DOM.enable"_s, {}, session);
        if (m_session.ask(u"CSS.enable"_s, {}, bound, session))
            m_inspected.insert(session);
    }
    return m_inspected.contains(session);
}

/// Adds the job's style sheets, as prepareScript has changed them, to documents that do not have them yet;
/// whether there are such. As sheets of the inspector they come last, hold whatever the page's policy says,
/// and cannot be read by its scripts.
bool Preparation::addStyleSheets(const QList<FrameResult> &frames, Deadline bound)
{
    bool any = false;
    for (const FrameResult &frame : frames) {
        const QString document = frame.session + u' ' + frame.context.toVariant().toString();
        if (m_styled.contains(document) || !inspectSheets(bound, frame.session))
            continue;
        const QJsonArray texts = frame.value["added"_L1].toArray();
        for (const auto &text : texts) {
            const auto sheet =
                m_session.ask(u"CSS.createStyleSheet"_s, {{u"frameId"_s, frame.frame}, {u"force"_s, true}},
                              bound, frame.session);
            if (!sheet)
                return any;
            m_session.post(u"CSS.setStyleSheetText"_s,
                           {{u"styleSheetId"_s, sheet->result["styleSheetId"_L1]}, {u"text"_s, text}},
                           frame.session);
        }
        m_styled.insert(document);
        any = true;
    }
    return any;
}

/// Scripts find no way into a closed shadow tree, but from a style within it they find the way out.
void Preparation::findClosedTrees(Deadline bound)
{
    if (!inspectSheets(bound))
        return;
    for (const auto &[frame, node] : std::exchange(m_newStyles, {})) {
        const std::optional<QJsonValue> context = engineContext(m_session, frame, bound);
        if (!context)
            continue;
        const auto style = m_session.ask(
            u"DOM.resolveNode"_s, {{u"backendNodeId"_s, node}, {u"executionContextId"_s, *context}}, bound);
        if (!style)
            return;
        m_session.post(u"Runtime.callFunctionOn"_s,
                       {{u"objectId"_s, style->result["object"_L1].toObject()["objectId"_L1]},
                        {u"functionDeclaration"_s,
                         u"function() { const root = this.getRootNode(); if (root.mode === 'closed') "
                         "globalThis.closedTrees = (globalThis.closedTrees || new Set()).add(root); }"_s}});
    }
}

/// Scripts cannot read the sheets of other origins, among them every file beside a file; the browser's own
/// inspector can.
void Preparation::changeUnreadableSheets(const Job &job, QJsonObject settings, Deadline bound)
{
    if (!inspectSheets(bound))
        return;
    QStringList ids;
    QJsonArray texts;
    for (const QString &id : std::exchange(m_newSheets, {})) {
        const auto reply = m_session.ask(u"CSS.getStyleSheetText"_s, {{u"styleSheetId"_s, id}}, bound);
        if (!reply || !reply->error.isEmpty())
            continue;
        const QString text = reply->result["text"_L1].toString();
        if (text.contains("@page"_L1, Qt::CaseInsensitive) ||
            text.contains("print-color-adjust"_L1, Qt::CaseInsensitive)) {
            ids += id;
            texts += text;
        }
    }
    if (ids.isEmpty())
        return;
    settings.insert(u"sheets"_s, texts);
    const QList<FrameResult> results = runInFrames(m_session, m_mainFrame, prepareScript, settings, bound);
    if (results.isEmpty() || results.first().frame != m_mainFrame)
        return;
    const QJsonObject value = results.first().value;
    const QJsonArray changed = value["sheets"_L1].toArray();
    for (qsizetype i = 0; i < ids.size() && i < changed.size(); ++i) {
        if (changed[i] != texts[i])
            m_session.post(u"CSS.setStyleSheetText"_s,
                           {{u"styleSheetId"_s, ids[i]}, {u"text"_s, changed[i]}});
    }
    setViewportFrom(job, value);
}
