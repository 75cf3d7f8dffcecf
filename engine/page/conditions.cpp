#include "engine/page/conditions.h"

#include "engine/page/frames.h"

#include <QJsonArray>
#include <QJsonDocument>

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace
{

constexpr auto interval = 50ms;

enum class Outcome { True, False, SyntaxError };

Outcome outcomeOf(const Session::Reply &reply)
{
    // With an error the document has gone meanwhile.
    const QJsonObject exception = reply.result["exceptionDetails"_L1].toObject()["exception"_L1].toObject();
    if (exception["className"_L1].toString() == "SyntaxError"_L1 ||
        exception["description"_L1].toString().startsWith("SyntaxError"_L1))
        return Outcome::SyntaxError;
    return reply.result["result"_L1].toObject()["value"_L1].toBool() ? Outcome::True : Outcome::False;
}

/// Whether a promise of a truth value holds, in this context or in the page's own.
Outcome evaluated(Session &session, const QString &expression, const std::optional<QJsonValue> &context)
{
    QJsonObject parameters{
        {u"expression"_s, expression}, {u"awaitPromise"_s, true}, {u"returnByValue"_s, true}};
    if (context)
        parameters.insert(u"contextId"_s, *context);
    return outcomeOf(session.ask(u"Runtime.evaluate"_s, parameters));
}

/// Asks until it is true; `refusal` is the failure for a syntax error.
void awaitTruth(Session &session, const std::function<Outcome()> &ask, const QString &refusal)
{
    for (;;) {
        const Outcome outcome = ask();
        if (outcome == Outcome::True)
            return;
        if (outcome == Outcome::SyntaxError)
            throw Failure(ExitCode::BadArguments, refusal, Failure::Retry::IsInVain);
        session.waitUntil([] { return false; }, Deadline::in(interval));
    }
}

QString quoted(const QString &text)
{
    const QByteArray array = QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(array.sliced(1, array.size() - 2));
}

void awaitElement(Session &session, const QString &mainFrame, const QString &selector)
{
    session.setActivity(u"waiting for an element \"%1\" (--wait-for)"_s.arg(onOneLine(selector)));
    const QString expression =
        u"(async () => [...document.querySelectorAll(%1)].some((element) =>"
        " element.getClientRects().length > 0 &&"
        " element.checkVisibility({ visibilityProperty: true, opacityProperty: true })))()"_s.arg(
            quoted(selector));
    const auto ask = [&] {
        const auto context = engineContext(session, mainFrame, Deadline::in(interval));
        return context ? evaluated(session, expression, context) : Outcome::False;
    };
    awaitTruth(session, ask, u"--wait-for takes a CSS selector, not \"%1\""_s.arg(onOneLine(selector)));
}

void awaitExpression(Session &session, const QString &condition)
{
    session.setActivity(u"waiting for \"%1\" to be true (--wait-for-expression)"_s.arg(onOneLine(condition)));
    const QString expression = u"(async () => Boolean(await (%1\n)))()"_s.arg(condition);
    awaitTruth(
        session, [&] { return evaluated(session, expression, std::nullopt); },
        u"--wait-for-expression takes an expression in JavaScript, not \"%1\""_s.arg(onOneLine(condition)));
}

} // namespace

void awaitConditions(Session &session, const QString &mainFrame, const Job &job)
{
    if (!job.awaitedElement.isEmpty())
        awaitElement(session, mainFrame, job.awaitedElement);
    if (!job.awaitedExpression.isEmpty())
        awaitExpression(session, job.awaitedExpression);
    if (job.awaitedTime > 0ms) {
        session.setActivity(u"waiting as long as --wait says"_s);
        session.waitUntil([] { return false; }, Deadline::in(job.awaitedTime));
    }
}
