#include "engine/cli/run.h"

#include "engine/base/output.h"
#include "engine/cli/commandline.h"
#include "engine/cli/help.h"
#include "engine/client/progress.h"
#include "engine/client/report.h"
#include "engine/job/failure.h"

#include <cstdio>
#include <exception>
#include <system_error>

namespace
{

size_t convertShowingProgress(const Invocation &invocation, const Job &job, UseServer useServer,
                              Findings &findings)
{
    Progress progress(invocation.begun);
    return convert(
        invocation, job, useServer, [&progress](std::string_view activity) { progress.setActivity(activity); },
        findings);
}

JobAccount accountOf(const Job &job)
{
    return {nameOf(job).toStdString(), job.output.toStdString(), job.report.toStdString(), job.quiet, {}};
}

int runJob(const Invocation &invocation, const Job &job, UseServer useServer)
{
    JobAccount account = accountOf(job);
    const auto failed = [&](ExitCode code, const std::string &message) {
        return reportFailure(invocation, account, code, message);
    };
    try {
        const size_t bytes = convertShowingProgress(invocation, job, useServer, account.findings);
        return reportWritten(invocation, account, bytes);
    } catch (const Failure &failure) {
        return failed(failure.code(), failure.message().toStdString());
    } catch (const OutputError &error) {
        return failed(ExitCode::NotWritten, error.what());
    } catch (const std::bad_alloc &) {
        return failed(ExitCode::Crashed, "out of memory");
    } catch (const std::system_error &error) {
        // No thread or lock can be created.
        return failed(ExitCode::Crashed,
                      std::string("the system gives no more memory or threads: ") + error.what());
    }
}

std::string textOf(Answer answer)
{
    return answer == Answer::Help ? helpText().toStdString() : "quirelle " QUIRELLE_VERSION "\n";
}

} // namespace

int runCommandLine(const Invocation &invocation, UseServer useServer)
{
    try {
        const Request request = parseCommandLine(invocation);
        if (const Job *job = std::get_if<Job>(&request))
            return runJob(invocation, *job, useServer);
        fputs(textOf(std::get<Answer>(request)).c_str(), stdout);
        return fflush(stdout) == 0 ? 0 : static_cast<int>(ExitCode::NotWritten);
    } catch (const Failure &failure) {
        return reportFailure(invocation, {}, failure.code(), failure.message().toStdString());
    }
}

std::optional<Job> jobFrom(const Invocation &invocation)
{
    try {
        Request request = parseCommandLine(invocation);
        if (Job *job = std::get_if<Job>(&request))
            return std::move(*job);
    } catch (const Failure &) {
        // The engine, told that the order is refused, parses it again and reports why.
    }
    return std::nullopt;
}
