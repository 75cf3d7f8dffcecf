#include "engine/page/conditions.h"

#include "engine/page/frames.h"

#include <QJsonArray>
#include <QJsonDocument>

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace
{

constexpr auto interval = 50ms;

/// Whether a value, or what its promise comes to, is true, in this context or in the page's own. What throws
/// may come true later, and with an error the document has gone meanwhile.
bool holds(const Session &session, VirtualTime &time, const QString &expression,
           const std::optional<QJsonValue> &context)
{
    QJsonObject parameters{
        {u"expression"_s, expression}, {u"awaitPromise"_s, true}, {u"returnByValue"_s, true}};
    if (context)
        parameters.insert(u"contextId"_s, *context);
    const auto reply = time.ask(u"Runtime.evaluate"_s, parameters, session.deadline());
    return reply && reply->result["result"_L1].toObject()["value"_L1].toBool();
}

void awaitTruth(VirtualTime &time, const std::function<bool()> &ask)
{
    while (!ask())
        time.waitUntil([] { return false; }, VirtualTime::Pace::Real, Deadline::in(interval));
}

[[noreturn]] void refuse(const QString &message)
{
    throw Failure(ExitCode::BadArguments, message, Failure::Retry::IsInVain);
}

QString quoted(const QString &text)
{
    const QByteArray array = QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(array.sliced(1, array.size() - 2));
}

void awaitElement(Session &session, VirtualTime &time, const QString &mainFrame, const QString &selector)
{
    session.setActivity(u"waiting for an element \"%1\" (--wait-for)"_s.arg(onOneLine(selector)));
    const Session::Reply tried =
        session.ask(u"Runtime.evaluate"_s,
                    {{u"expression"_s, u"new DocumentFragment().querySelector(%1)"_s.arg(quoted(selector))}});
    if (tried.result.contains("exceptionDetails"_L1))
        refuse(u"--wait-for takes a CSS selector, not \"%1\""_s.arg(onOneLine(selector)));
    const QString expression =
        u"[...document.querySelectorAll(%1)].some((element) => element.getClientRects().length > 0 &&"
        " element.checkVisibility({ visibilityProperty: true, opacityProperty: true }))"_s.arg(
            quoted(selector));
    awaitTruth(time, [&] {
        const auto context = engineContext(session, mainFrame, Deadline::in(interval));
        return context && holds(session, time, expression, context);
    });
}

void awaitExpression(Session &session, VirtualTime &time, const QString &condition)
{
    session.setActivity(u"waiting for \"%1\" to be true (--wait-for-expression)"_s.arg(onOneLine(condition)));
    const QString expression = u"(async () => Boolean(await (%1\n)))()"_s.arg(condition);
    if (!syntaxErrorIn(session, expression).isEmpty())
        refuse(u"--wait-for-expression takes an expression in JavaScript, not \"%1\""_s.arg(
            onOneLine(condition)));
    awaitTruth(time, [&] { return holds(session, time, expression, std::nullopt); });
}

} // namespace

void awaitConditions(Session &session, VirtualTime &time, const QString &mainFrame, const Job &job)
{
    if (!job.awaitedElement.isEmpty())
        awaitElement(session, time, mainFrame, job.awaitedElement);
    if (!job.awaitedExpression.isEmpty())
        awaitExpression(session, time, job.awaitedExpression);
    if (job.awaitedTime > 0ms) {
        session.setActivity(u"waiting as long as --wait says"_s);
        time.waitUntil([] { return false; }, VirtualTime::Pace::Real, Deadline::in(job.awaitedTime));
    }
}
