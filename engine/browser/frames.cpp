#include "engine/browser/frames.h"

#include <QJsonArray>
#include <QJsonDocument>

using namespace Qt::StringLiterals;

const QString engineWorld = u"quirelle"_s;

namespace
{

/// The ids of the frames in a frame tree of the protocol's domain Page.
QStringList framesOf(const QJsonObject &tree)
{
    QStringList frames{tree["frame"_L1].toObject()["id"_L1].toString()};
    const QJsonArray children = tree["childFrames"_L1].toArray();
    for (const auto &child : children)
        frames += framesOf(child.toObject());
    return frames;
}

} // namespace

std::optional<QJsonValue> engineContext(Session &session, const QString &frame, Deadline bound,
                                        const QString &to)
{
    const auto world = session.ask(u"Page.createIsolatedWorld"_s,
                                   {{u"frameId"_s, frame}, {u"worldName"_s, engineWorld}}, bound, to);
    if (!world || !world->error.isEmpty())
        return std::nullopt;
    return world->result["executionContextId"_L1];
}

QList<FrameResult> runInFrames(Session &session, const char *script, const QJsonObject &argument,
                               Deadline bound)
{
    const QString expression =
        u"(%1)(%2)"_s.arg(QString::fromLatin1(script),
                          QString::fromUtf8(QJsonDocument(argument).toJson(QJsonDocument::Compact)));
    QList<FrameResult> results;
    for (const QString &member : session.family()) {
        const auto tree = session.ask(u"Page.getFrameTree"_s, {}, bound, member);
        if (!tree)
            break;
        for (const QString &frame : framesOf(tree->result["frameTree"_L1].toObject())) {
            const std::optional<QJsonValue> context = engineContext(session, frame, bound, member);
            if (!context)
                continue;
            const auto outcome = session.ask(
                u"Runtime.evaluate"_s,
                {{u"expression"_s, expression}, {u"contextId"_s, *context}, {u"returnByValue"_s, true}},
                bound, member);
            if (outcome)
                results.append({frame, outcome->result["result"_L1].toObject()["value"_L1].toObject()});
        }
    }
    return results;
}
