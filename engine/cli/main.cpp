#include "engine/cli/run.h"

#include <QCoreApplication>

#include <csignal>

int main(int argc, char *argv[])
{
    // A browser or reader that goes away shows in the result of a write, not in the engine's end.
    std::signal(SIGPIPE, SIG_IGN);
    const QCoreApplication application(argc, argv);
    return runCommandLine(QCoreApplication::arguments().mid(1));
}
