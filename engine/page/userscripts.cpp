#include "engine/page/userscripts.h"

#include "engine/page/frames.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace
{

/// Where in the script it was thrown: " (line 3)", or empty if that is not known.
QString placeOf(const QJsonObject &exception, const QString &description)
{
    static const QRegularExpression frame(u"<anonymous>:(\\d+):\\d+"_s);
    if (const QRegularExpressionMatch match = frame.match(description); match.hasMatch())
        return u" (line %1)"_s.arg(match.captured(1));
    if (exception["text"_L1].toString().contains("in promise"_L1))
        return {};
    return u" (line %1)"_s.arg(exception["lineNumber"_L1].toInt() + 1);
}

[[noreturn]] void fail(const JobFile &file, const QJsonObject &exception)
{
    const QJsonObject thrown = exception["exception"_L1].toObject();
    const QString description = thrown["description"_L1].toString();
    const QString reason =
        description.isEmpty() ? thrown["value"_L1].toVariant().toString() : description.section(u'\n', 0, 0);
    throw Failure(ExitCode::BadArguments,
                  u"the script %1 (--script) failed: %2%3"_s.arg(onOneLine(file.name), onOneLine(reason),
                                                                 placeOf(exception, description)),
                  Failure::Retry::IsInVain);
}

/// The script itself or, if it says "await" outside of functions, a function of it.
QString runnable(Session &session, const JobFile &file)
{
    const QJsonObject error = syntaxErrorIn(session, file.text);
    if (error.isEmpty())
        return file.text;
    // Its lines keep their numbers.
    const QString function = u"(async () => {%1\n})()"_s.arg(file.text);
    if (!syntaxErrorIn(session, function).isEmpty())
        fail(file, error);
    return function;
}

} // namespace

void runScripts(Session &session, VirtualTime &time, const Job &job)
{
    session.post(u"Runtime.enable"_s);
    for (const JobFile &file : job.scripts) {
        session.setActivity(u"running the script %1"_s.arg(onOneLine(file.name)));
        const auto reply = time.ask(u"Runtime.evaluate"_s,
                                    {{u"expression"_s, runnable(session, file)}, {u"awaitPromise"_s, true}},
                                    Deadline::in(job.timeout));
        // Nothing, or an error, where the script has led the page to another document.
        if (reply && reply->result.contains("exceptionDetails"_L1))
            fail(file, reply->result["exceptionDetails"_L1].toObject());
    }
}
