#include "engine/page/fitting.h"

#include "engine/browser/launch.h"
#include "engine/job/paper.h"
#include "engine/page/scripts.h"

#include <QJsonArray>

#include <algorithm>

namespace
{

using namespace Qt::StringLiterals;

/// How far the browser goes in shrinking a page that is wider than the paper (Blink's print layout).
constexpr double shrinkingByPrinting = 1.5;
/// Sizes that differ by less are the same.
constexpr double tolerance = 1.001;

} // namespace

Fitting::Fitting(Session &browser, const QString &context, Session &page, const QString &mainFrame,
                 VirtualTime &time)
    : m_page(page), m_mainFrame(mainFrame), m_pictures(browser, context, page, time)
{
}

Fit Fitting::fit(const Job &job, const Preparation &page, bool isAsPrepared, Deadline bound)
{
    Fit fit;
    if (isAsPrepared && page.fittingElements() && job.minimumFontSize == 0 && job.background) {
        fit.elements = *page.fittingElements();
        return fit;
    }
    const double minimum = job.minimumFontSize * pixelsPerPoint;
    const QJsonObject settings{{u"byBrowser"_s, launchFlagsFor(job).minimumFontPixels},
                               {u"byPrinting"_s, shrinkingByPrinting},
                               {u"maximum"_s, maximumShrinking}};
    if (!job.background)
        runInFrames(m_page, m_mainFrame, readableScript, {}, bound);
    const QList<FrameResult> frames = fitFrames(settings, minimum, page, bound);
    if (frames.isEmpty() || frames.first().frame != m_mainFrame) {
        // It would hold up the printing, too.
        m_page.post(u"Runtime.terminateExecution"_s);
        return {};
    }
    if (job.minimumFontSize > 0)
        m_pictures.enlarge(frames, bound);

    const QJsonObject value = frames.first().value;
    fit.shrinking = value["shrinking"_L1].toDouble(1);
    const bool byScale =
        fit.shrinking > tolerance * (value["rightToLeft"_L1].toBool() ? 1 : shrinkingByPrinting);
    if (byScale)
        fit.scale = 1 / std::min(fit.shrinking, maximumShrinking);
    const double smallest = value["smallest"_L1].toDouble(minimum);
    if (smallest * tolerance < minimum)
        fit.smallestText = smallest / pixelsPerPoint;
    for (const FrameResult &frame : frames) {
        fit.elements += frame.value["elements"_L1].toInt();
        const QJsonArray boxes = frame.value["hidingBoxes"_L1].toArray();
        for (const auto &box : boxes) {
            if (fit.hidingBoxes.size() < 10)
                fit.hidingBoxes += box.toString();
        }
    }
    return fit;
}

/// The main frame first, because the others are shrunk with it.
QList<FrameResult> Fitting::fitFrames(const QJsonObject &settings, double minimum,
                                      const Preparation &prepared, Deadline bound)
{
    QJsonObject argument = settings;
    argument.insert(u"minimum"_s, minimum);
    argument.insert(u"outside"_s, 1);
    argument.insert(u"shrinks"_s, true);
    const auto page = runInFrame(m_page, prepared.mainFrame(), fitScript, argument, bound);
    if (!page)
        return {};
    QList<FrameResult> frames{*page};
    argument.insert(u"shrinks"_s, false);
    argument.insert(u"minimum"_s,
                    minimum * std::min(page->value["shrinking"_L1].toDouble(1), maximumShrinking));
    const QList<FrameResult> all = prepared.isAlone() ? frames : framesOf(m_page, bound);
    bool scaled = page->value["scalesFrames"_L1].toBool();
    for (const FrameResult &frame : all) {
        if (frame.frame == m_mainFrame)
            continue;
        argument.insert(u"outside"_s, scaled ? factorOf(frame, all, bound) : 1);
        if (const auto result = runInFrame(m_page, frame, fitScript, argument, bound)) {
            frames.append(*result);
            scaled = scaled || result->value["scalesFrames"_L1].toBool();
        }
    }
    return frames;
}

/// The factor at which a frame is drawn by the documents around it.
double Fitting::factorOf(const FrameResult &frame, const QList<FrameResult> &all, Deadline bound)
{
    const auto ask = [&](const QString &method, const QJsonObject &parameters, const QString &to) {
        const auto reply = m_page.ask(method, parameters, bound, to);
        return reply ? reply->result : QJsonObject();
    };
    // The document around it may belong to another session.
    const auto parent = std::find_if(all.begin(), all.end(),
                                     [&](const FrameResult &other) { return other.frame == frame.parent; });
    if (parent == all.end())
        return 1;
    const QString around = parent->session;
    const std::optional<QJsonValue> context = engineContext(m_page, parent->frame, bound, around);
    const QJsonObject owner = ask(u"DOM.getFrameOwner"_s, {{u"frameId"_s, frame.frame}}, around);
    if (!context || !owner.contains("backendNodeId"_L1))
        return 1;
    const QJsonObject element =
        ask(u"DOM.resolveNode"_s,
            {{u"backendNodeId"_s, owner["backendNodeId"_L1]}, {u"executionContextId"_s, *context}}, around);
    const QJsonObject factor =
        ask(u"Runtime.callFunctionOn"_s,
            {{u"objectId"_s, element["object"_L1].toObject()["objectId"_L1]},
             {u"functionDeclaration"_s,
              u"function() { return globalThis[Symbol.for('quirelle')].frameFactors.get(this) ?? 1; }"_s},
             {u"returnByValue"_s, true}},
            around);
    return factor["result"_L1].toObject()["value"_L1].toDouble(1);
}
