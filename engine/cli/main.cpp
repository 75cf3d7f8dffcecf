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
#include <unistd.h>

namespace
{

/// An argument as text. Bytes that are none become half a character, which no text has.
QString textOf(const char *argument)
{
    QString text = QString::fromLocal8Bit(argument);
    if (text.toLocal8Bit() != argument)
        text.replace(QChar(QChar::ReplacementCharacter), QChar(QChar::highSurrogate(0x10000)));
    return text;
}

/// Takes the arguments over and blanks those that may hold a secret, so that no list of processes shows them.
QStringList takeArguments(int argc, char *argv[])
{
    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments += textOf(argv[i]);
    const std::vector<bool> secrets = haveSecrets(arguments);
    for (size_t i = 0; i < secrets.size(); ++i) {
        if (secrets[i])
            memset(argv[i + 1], '*', strlen(argv[i + 1]));
    }
    return arguments;
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
    const QStringList arguments = takeArguments(argc, argv);
    // A browser or reader that goes away shows in the result of a write, not in the engine's end.
    std::signal(SIGPIPE, SIG_IGN);
    // So does a file that may not grow any larger.
    std::signal(SIGXFSZ, SIG_IGN);
    const QCoreApplication application(argc, argv);
    if (argc > 0 && strcmp(argv[0], serverName) == 0)
        return runServer(serverSocket,
                         QFile::encodeName(QCoreApplication::applicationFilePath()).toStdString(),
                         idleSeconds());
    return runCommandLine(arguments);
}
