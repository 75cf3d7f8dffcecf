#include "engine/base/modules.h"
#include "engine/base/nodump.h"
#include "engine/base/output.h"
#include "engine/cli/module.h"
#include "engine/client/client.h"
#include "engine/client/message.h"
#include "engine/client/progress.h"
#include "engine/client/report.h"
#include "engine/client/start.h"
#include "engine/main/secrets.h"

#include <csignal>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <optional>
#include <unistd.h>

namespace
{

/// Opens those of the standard descriptors 0 to 2 that the caller left closed. Otherwise the next file opened
/// would get such a number, and output would be written to it. Read-only, so that writing fails.
void openStandardDescriptors()
{
    int descriptor = 0;
    do
        descriptor = ::open("/dev/null", O_RDONLY);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    ::close(descriptor);
}

/// A function of the engine's module; null, after reporting why, if it cannot be loaded.
template <typename Function>
Function engineFunction(const Invocation &invocation, const char *name)
{
    void *module = ::dlopen(engineModuleOf(executablePath()).c_str(), RTLD_NOW | RTLD_LOCAL);
    void *function = module ? ::dlsym(module, name) : nullptr;
    if (!function) {
        const std::string why = ::dlerror();
        const bool lacksMemory = why.find("failed to map segment") != std::string::npos ||
                                 why.find("annot allocate memory") != std::string::npos;
        reportFailure(invocation, {}, ExitCode::Crashed,
                      (lacksMemory ? "there is too little memory: " : "the installation is incomplete: ") +
                          why);
    }
    return reinterpret_cast<Function>(function);
}

ServerReply askServerShowingProgress(const Invocation &invocation)
{
    Progress progress(invocation.begun);
    return askServer(invocation, IfNone::GiveUp,
                     [&progress](std::string_view activity) { progress.setActivity(activity); });
}

int writePdf(const Invocation &invocation, const ServerReply &reply)
{
    try {
        writeOutput(reply.job.output, reply.pdf);
        return reportWritten(invocation, reply.job, reply.pdf.size());
    } catch (const OutputError &error) {
        return reportFailure(invocation, reply.job, ExitCode::NotWritten, error.what());
    }
}

int runEngine(const Invocation &invocation, int argc, char *argv[], bool serverTried)
{
    const std::string order = orderBody(invocation);
    const auto run = engineFunction<RunEngine>(invocation, runEngineName);
    return run ? run(argc, argv, order.data(), order.size(), serverTried)
               : static_cast<int>(ExitCode::Crashed);
}

int runJob(const Invocation &invocation, int argc, char *argv[])
{
    std::optional<ServerReply> reply;
    try {
        reply = askServerShowingProgress(invocation);
    } catch (const OutputError &) {
        // The engine's module checks this too and reports it.
    } catch (const std::exception &) {
        // Out of memory or threads.
    }
    if (reply && reply->kind == ServerReply::Kind::Printed)
        return writePdf(invocation, *reply);
    if (reply && reply->kind == ServerReply::Kind::Failed)
        return reportFailure(invocation, reply->job, reply->code, reply->message);
    return runEngine(invocation, argc, argv, !reply || reply->kind == ServerReply::Kind::Useless);
}

} // namespace

int main(int argc, char *argv[])
{
    // First: until then other users can read secrets in process lists.
    const Invocation invocation = takeInvocation(argc, argv);
    openStandardDescriptors();
    disableMemoryDumps();
    // Writing to a closed pipe, or beyond the file size limit, returns an error instead of ending the
    // process.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    if (argc > 0 && strcmp(argv[0], serverName) == 0) {
        const auto serve = engineFunction<ServeOrders>(invocation, serveOrdersName);
        return serve ? serve(argc, argv) : static_cast<int>(ExitCode::Crashed);
    }
    return runJob(invocation, argc, argv);
}
