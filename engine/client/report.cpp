#include "engine/client/report.h"

#include "engine/base/output.h"
#include "engine/client/log.h"

#include <cstdio>

namespace
{

std::string jsonText(std::string_view text)
{
    std::string quoted = "\"";
    for (const char character : text) {
        if (character == '"' || character == '\\') {
            quoted.append({'\\', character});
        } else if (static_cast<unsigned char>(character) < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof(escape), "\\u%04x", static_cast<unsigned>(character));
            quoted += escape;
        } else {
            quoted += character;
        }
    }
    return quoted + '"';
}

long long millisecondsSince(const Invocation &invocation)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(Deadline::Clock::now() - invocation.begun)
        .count();
}

int failed(ExitCode code, const std::string &name, const std::string &message)
{
    appendToLog(std::to_string(static_cast<int>(code)) + ' ' + name + ": " + message);
    std::fprintf(stderr, "quirelle: %s\n", message.c_str());
    return static_cast<int>(code);
}

void tellWarnings(const JobAccount &job)
{
    for (const std::string &warning : job.findings.warnings) {
        appendToLog("warning " + job.name + ": " + warning);
        if (!job.isQuiet)
            std::fprintf(stderr, "quirelle: warning: %s\n", warning.c_str());
    }
}

/// Returns `code`, unless the report cannot be written.
int writeReport(const Invocation &invocation, const JobAccount &job, ExitCode code,
                const std::string &message, size_t bytes)
{
    if (job.report.empty())
        return static_cast<int>(code);
    std::string text = code == ExitCode::Written ? R"({"status":"written")" : R"({"status":"failed")";
    text += ",\"exitCode\":" + std::to_string(static_cast<int>(code));
    text += ",\"message\":" + (message.empty() ? "null" : jsonText(message));
    text += ",\"output\":" + jsonText(job.output);
    text += ",\"bytes\":" + std::to_string(bytes);
    char total[32];
    std::snprintf(total, sizeof(total), "%.3f", static_cast<double>(millisecondsSince(invocation)) / 1000);
    text += std::string(",\"totalSeconds\":") + total;
    if (!job.findings.report.empty())
        text += ',' + job.findings.report;
    text += "}\n";
    if (job.report == "-") {
        std::fputs(text.c_str(), stderr);
        return static_cast<int>(code);
    }
    try {
        writeOutput(job.report, text);
    } catch (const OutputError &error) {
        const std::string reason = std::string("the report: ") + error.what();
        if (code == ExitCode::Written)
            return failed(ExitCode::NotWritten, job.name, reason);
        appendToLog("warning " + job.name + ": " + reason);
    }
    return static_cast<int>(code);
}

} // namespace

void checkPlaces(const std::string &output, const std::string &report)
{
    checkOutput(output);
    if (!report.empty() && report != "-")
        checkOutput(report);
}

int reportWritten(const Invocation &invocation, const JobAccount &job, size_t bytes)
{
    tellWarnings(job);
    appendToLog("0 " + job.name + ": " + std::to_string(bytes) + " bytes, " +
                std::to_string(millisecondsSince(invocation)) + " ms");
    return writeReport(invocation, job, ExitCode::Written, {}, bytes);
}

int reportFailure(const Invocation &invocation, const JobAccount &job, ExitCode code,
                  const std::string &message)
{
    // Of a page that is not printed it does not matter what is missing.
    if (code == ExitCode::Incomplete)
        tellWarnings(job);
    failed(code, job.name, message);
    return writeReport(invocation, job, code, message, 0);
}
