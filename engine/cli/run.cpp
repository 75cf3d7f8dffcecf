#include "engine/cli/run.h"

#include "engine/cli/commandline.h"
#include "engine/cli/log.h"
#include "engine/cli/progress.h"
#include "engine/convert/convert.h"
#include "engine/job/failure.h"

#include <QElapsedTimer>

#include <cstdio>
#include <exception>
#include <system_error>

namespace
{

void print(FILE *stream, const QString &text)
{
    fputs(text.toLocal8Bit().constData(), stream);
}

int report(const Failure &failure)
{
    print(stderr, QStringLiteral("quirelle: %1\n").arg(failure.message()));
    return static_cast<int>(failure.code());
}

qsizetype convertShowingProgress(const Job &job)
{
    Progress progress;
    return convert(job, [&progress](const QString &activity) { progress.tell(activity); });
}

int runJob(const Job &job)
{
    const QString name =
        QStringLiteral("%1 -> %2").arg(onOneLine(withoutCredentials(job.input)), onOneLine(job.output));
    QElapsedTimer timer;
    timer.start();
    const auto fail = [&](const Failure &failure) {
        appendToLog(
            QStringLiteral("%1 %2: %3").arg(static_cast<int>(failure.code())).arg(name, failure.message()));
        return report(failure);
    };
    try {
        const qsizetype size = convertShowingProgress(job);
        appendToLog(QStringLiteral("0 %1: %2 bytes, %3 ms").arg(name).arg(size).arg(timer.elapsed()));
        return static_cast<int>(ExitCode::Written);
    } catch (const Failure &failure) {
        return fail(failure);
    } catch (const std::bad_alloc &) {
        return fail(Failure(ExitCode::Crashed, QStringLiteral("out of memory")));
    } catch (const std::system_error &error) {
        // There is no thread or lock to be had.
        return fail(
            Failure(ExitCode::Crashed, QStringLiteral("the system gives no more memory or threads: %1")
                                           .arg(QString::fromLocal8Bit(error.what()))));
    }
}

} // namespace

int runCommandLine(const QStringList &arguments)
{
    try {
        const Request request = parseCommandLine(arguments);
        if (const Job *job = std::get_if<Job>(&request))
            return runJob(*job);
        if (std::holds_alternative<HelpRequest>(request))
            print(stdout, helpText());
        else
            print(stdout, QStringLiteral("quirelle %1\n").arg(QStringLiteral(QUIRELLE_VERSION)));
        return fflush(stdout) == 0 ? 0 : static_cast<int>(ExitCode::NotWritten);
    } catch (const Failure &failure) {
        appendToLog(
            QStringLiteral("%1 refused: %2").arg(static_cast<int>(failure.code())).arg(failure.message()));
        return report(failure);
    }
}
