#include "engine/cli/commandline.h"
#include "engine/cli/run.h"
#include "engine/job/nodump.h"
#include "engine/server/endpoint.h"
#include "engine/server/server.h"
#include "engine/server/start.h"

#include <QCoreApplication>
#include <QFile>

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

namespace
{

/// Takes the arguments over and blanks those that may hold a secret, so that no list of processes shows them.
Invocation takeInvocation(int argc, char *argv[])
{
    std::error_code noFolder;
    Invocation invocation{{argv + std::min(argc, 1), argv + argc},
                          std::filesystem::current_path(noFolder).string(),
                          Deadline::Clock::now()};
    const std::vector<bool> secrets = haveSecrets(invocation.arguments);
    for (size_t i = 0; i < secrets.size(); ++i) {
        if (secrets[i])
            memset(argv[i + 1], '*', strlen(argv[i + 1]));
    }
    return invocation;
}

/// Some callers leave the three usual descriptors closed. What is opened next would take their numbers, and
/// be written to in their stead. Open for reading, they refuse what is written.
void holdUsualDescriptors()
{
    int descriptor = 0;
    do
        descriptor = ::open("/dev/null", O_RDONLY);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    ::close(descriptor);
}

} // namespace

int main(int argc, char *argv[])
{
    holdUsualDescriptors();
    dumpNoMemory();
    const Invocation invocation = takeInvocation(argc, argv);
    // A browser or reader that goes away shows in the result of a write, not in the engine's end.
    std::signal(SIGPIPE, SIG_IGN);
    // So does a file that may not grow any larger.
    std::signal(SIGXFSZ, SIG_IGN);
    const QCoreApplication application(argc, argv);
    if (argc > 0 && strcmp(argv[0], serverName) == 0)
        return runServer(serverSocket,
                         QFile::encodeName(QCoreApplication::applicationFilePath()).toStdString(),
                         idleSeconds(), orderFrom);
    return runCommandLine(invocation);
}
