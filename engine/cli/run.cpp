#include "engine/cli/run.h"

#include "engine/base/output.h"
#include "engine/base/spool.h"
#include "engine/check/check.h"
#include "engine/cli/commandline.h"
#include "engine/cli/help.h"
#include "engine/client/progress.h"
#include "engine/client/report.h"
#include "engine/convert/joined.h"
#include "engine/job/failure.h"
#include "engine/job/standardinput.h"

#include <cstdio>
#include <exception>
#include <system_error>

using namespace Qt::StringLiterals;

namespace
{

JobAccount accountOf(const Job &job, const QString &name)
{
    return {name.toStdString(), job.output.toStdString(), job.report.toStdString(), job.quiet, {}};
}

/// Does a job with `convert`, which is given a listener and returns the size of the PDF, and reports.
template <typename Convert>
int runJob(const Invocation &invocation, JobAccount &account, const Convert &convert)
{
    const auto failed = [&](ExitCode code, const std::string &message) {
        return reportFailure(invocation, account, code, message);
    };
    try {
        size_t bytes = 0;
        {
            Progress progress(invocation.begun);
            bytes = convert([&progress](std::string_view activity) { progress.setActivity(activity); });
        }
        return reportWritten(invocation, account, bytes);
    } catch (const Failure &failure) {
        return failed(failure.code(), failure.message().toStdString());
    } catch (const OutputError &error) {
        return failed(ExitCode::NotWritten, error.what());
    } catch (const SpoolError &error) {
        return failed(ExitCode::NotWritten, error.what());
    } catch (const std::bad_alloc &) {
        return failed(ExitCode::Crashed, "out of memory");
    } catch (const std::system_error &error) {
        // No thread or lock can be created.
        return failed(ExitCode::Crashed,
                      std::string("the system gives no more memory or threads: ") + error.what());
    }
}

/// The invocation with what standard input has to give. The timeout starts only now.
Invocation withStandardInput(Invocation invocation)
{
    invocation.document = readStandardInput();
    invocation.begun = Deadline::Clock::now();
    return invocation;
}

int run(const Invocation &invocation, const Job &job, UseServer useServer)
{
    JobAccount account = accountOf(job, nameOf(job));
    return runJob(invocation, account, [&](const ActivityListener &listener) {
        if (job.input != u"-"_s)
            return convert(invocation, job, useServer, listener, account.findings);
        checkPlaces(account.output, account.report);
        // A server refuses the command line alone, but not with the document.
        const Invocation complete = withStandardInput(invocation);
        return convert(complete, jobFrom(complete).value(), UseServer::Yes, listener, account.findings);
    });
}

int run(const Invocation &invocation, const Joining &joining)
{
    JobAccount account = accountOf(joining.whole, nameOf(joining));
    return runJob(invocation, account, [&](const ActivityListener &listener) {
        checkPlaces(account.output, account.report);
        const Joining complete = withListedInputs(joining);
        account.name = nameOf(complete).toStdString();
        const Invocation called =
            complete.inputs.contains(u"-"_s) ? withStandardInput(invocation) : invocation;
        return convertJoined(called, complete, jobFrom, listener, account.findings);
    });
}

/// Prints the answer; throws what a check has found to fail.
int print(Answer answer)
{
    CheckResult result;
    if (answer == Answer::Check)
        result = check();
    else
        result.text = answer == Answer::Help ? helpText() : u"quirelle " QUIRELLE_VERSION "\n"_s;
    fputs(result.text.toUtf8().constData(), stdout);
    const bool isPrinted = fflush(stdout) == 0;
    if (result.failure)
        throw Failure(*result.failure);
    return isPrinted ? 0 : static_cast<int>(ExitCode::NotWritten);
}

} // namespace

int runCommandLine(const Invocation &invocation, UseServer useServer)
{
    try {
        const Request request = parseCommandLine(invocation);
        if (const Job *job = std::get_if<Job>(&request))
            return run(invocation, *job, useServer);
        // A server refuses such a command line as a whole, but not its parts.
        if (const Joining *joining = std::get_if<Joining>(&request))
            return run(invocation, *joining);
        return print(std::get<Answer>(request));
    } catch (const Failure &failure) {
        return reportFailure(invocation, {}, failure.code(), failure.message().toStdString());
    }
}

std::optional<Job> jobFrom(const Invocation &invocation)
{
    try {
        Request request = parseCommandLine(invocation);
        if (Job *job = std::get_if<Job>(&request); job && (job->input != u"-"_s || job->document))
            return std::move(*job);
    } catch (const Failure &) {
        // The engine, told that the order is refused, parses it again and reports why.
    }
    return std::nullopt;
}
