#include "engine/client/report.h"

#include "engine/client/log.h"

#include <cstdio>

int reportWritten(const Invocation &invocation, const std::string &name, size_t bytes)
{
    const auto time =
        std::chrono::duration_cast<std::chrono::milliseconds>(Deadline::Clock::now() - invocation.begun);
    appendToLog("0 " + name + ": " + std::to_string(bytes) + " bytes, " + std::to_string(time.count()) +
                " ms");
    return static_cast<int>(ExitCode::Written);
}

int reportFailure(ExitCode code, const std::string &name, const std::string &message)
{
    appendToLog(std::to_string(static_cast<int>(code)) + ' ' + name + ": " + message);
    std::fprintf(stderr, "quirelle: %s\n", message.c_str());
    return static_cast<int>(code);
}
