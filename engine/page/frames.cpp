#include "engine/page/frames.h"

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

QJsonObject worldIn(const QString &frame)
{
    return {{u"frameId"_s, frame}, {u"worldName"_s, engineWorld}};
}

/// Of a reply to Page.createIsolatedWorld.
std::optional<QJsonValue> contextIn(const std::optional<Session::Reply> &world)
{
    if (!world || !world->error.isEmpty())
        return std::nullopt;
    return world->result["executionContextId"_L1];
}

/// Appends what the expression comes to in this context, if it answers by the bound; whether it does, and
/// exists.
bool evaluate(Session &session, const QString &expression, const QString &frame,
              const std::optional<QJsonValue> &context, Deadline bound, const QString &to,
              QList<FrameResult> &results)
{
    if (!context)
        return false;
    const auto outcome = session.ask(
        u"Runtime.evaluate"_s,
        {{u"expression"_s, expression}, {u"contextId"_s, *context}, {u"returnByValue"_s, true}}, bound, to);
    if (!outcome)
        return false;
    results.append({frame, outcome->result["result"_L1].toObject()["value"_L1].toObject(), to, {}, *context});
    return outcome->error.isEmpty();
}

} // namespace

QJsonObject syntaxErrorIn(Session &session, const QString &script)
{
    const Session::Reply reply =
        session.ask(u"Runtime.compileScript"_s,
                    {{u"expression"_s, script}, {u"sourceURL"_s, QString()}, {u"persistScript"_s, false}});
    return reply.result["exceptionDetails"_L1].toObject();
}

QString callOf(const char *script, const QJsonObject &argument)
{
    return u"(%1)(%2)"_s.arg(QString::fromUtf8(script),
                             QString::fromUtf8(QJsonDocument(argument).toJson(QJsonDocument::Compact)));
}

std::optional<QJsonValue> engineContext(Session &session, const QString &frame, Deadline bound,
                                        const QString &to)
{
    return contextIn(session.ask(u"Page.createIsolatedWorld"_s, worldIn(frame), bound, to));
}

QList<FrameResult> framesOf(Session &session, Deadline bound)
{
    QList<FrameResult> frames;
    const auto add = [&](const auto &self, const QJsonObject &tree, const QString &to) -> void {
        const QJsonObject frame = tree["frame"_L1].toObject();
        frames.append({frame["id"_L1].toString(), {}, to, frame["parentId"_L1].toString()});
        const QJsonArray children = tree["childFrames"_L1].toArray();
        for (const auto &child : children)
            self(self, child.toObject(), to);
    };
    for (const QString &member : session.family()) {
        const auto tree = session.ask(u"Page.getFrameTree"_s, {}, bound, member);
        if (tree)
            add(add, tree->result["frameTree"_L1].toObject(), member == session.id() ? QString() : member);
    }
    return frames;
}

std::optional<FrameResult> runInFrame(Session &session, const FrameResult &of, const char *script,
                                      const QJsonObject &argument, Deadline bound)
{
    QList<FrameResult> results;
    const QString expression = callOf(script, argument);
    const auto run = [&](const std::optional<QJsonValue> &context) {
        return evaluate(session, expression, of.frame, context, bound, of.session, results);
    };
    // A context goes with its document.
    if (of.context.isNull() || !run(of.context)) {
        results.clear();
        run(engineContext(session, of.frame, bound, of.session));
    }
    return results.isEmpty() ? std::nullopt : std::optional(results.first());
}

QList<FrameResult> runInFrames(Session &session, const QString &mainFrame, const char *script,
                               const QJsonObject &argument, Deadline bound)
{
    const QString expression = callOf(script, argument);
    QList<FrameResult> results;
    const int askedTree = session.begin(u"Page.getFrameTree"_s);
    const auto context = engineContext(session, mainFrame, bound);
    const auto mainTree = session.replyTo(askedTree, bound);
    if (!mainTree)
        return results;
    evaluate(session, expression, mainFrame, context, bound, {}, results);
    for (const QString &frame : framesOf(mainTree->result["frameTree"_L1].toObject()).mid(1))
        evaluate(session, expression, frame, engineContext(session, frame, bound), bound, {}, results);
    for (const QString &child : session.family().mid(1)) {
        const auto tree = session.ask(u"Page.getFrameTree"_s, {}, bound, child);
        if (!tree)
            break;
        for (const QString &frame : framesOf(tree->result["frameTree"_L1].toObject()))
            evaluate(session, expression, frame, engineContext(session, frame, bound, child), bound, child,
                     results);
    }
    return results;
}
