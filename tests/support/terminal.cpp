#include "tests/support/terminal.h"

#include <QElapsedTimer>
#include <QProcess>

#include <sys/ioctl.h>

#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace
{

/// What has been written to the terminal and not been read yet.
QByteArray takeFrom(int master)
{
    QByteArray bytes;
    char piece[4096];
    for (ssize_t size = 0; (size = ::read(master, piece, sizeof piece)) > 0;)
        bytes.append(piece, static_cast<qsizetype>(size));
    return bytes;
}

/// Both ends of a new terminal.
void openTerminal(int &master, int &slave)
{
    master = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
    if (master < 0 || ::grantpt(master) != 0 || ::unlockpt(master) != 0)
        qFatal("there is no terminal to be had");
    slave = ::open(::ptsname(master), O_RDWR | O_NOCTTY | O_CLOEXEC);
    const winsize size{24, 80, 0, 0};
    if (slave < 0 || ::ioctl(slave, TIOCSWINSZ, &size) != 0)
        qFatal("the terminal cannot be opened");
}

} // namespace

TerminalResult runAtTerminal(const QString &program, const QStringList &arguments, TerminalOutput output,
                             const ProgramOptions &options)
{
    int master = -1;
    int slave = -1;
    openTerminal(master, slave);

    QProcess process;
    process.setProcessEnvironment(options.environment);
    process.setWorkingDirectory(options.folder);
    process.setChildProcessModifier([slave, output] {
        ::setsid();
        ::ioctl(slave, TIOCSCTTY, 0);
        ::dup2(slave, STDIN_FILENO);
        if (output == TerminalOutput::ToTerminal)
            ::dup2(slave, STDOUT_FILENO);
        ::dup2(slave, STDERR_FILENO);
    });
    process.start(program, arguments);

    TerminalResult result;
    QElapsedTimer timer;
    timer.start();
    while (!process.waitForFinished(20) && process.state() != QProcess::NotRunning) {
        result.screen += takeFrom(master);
        if (timer.hasExpired(options.bound.count())) {
            result.run.outOfTime = true;
            process.kill();
        }
    }
    result.run.time = std::chrono::milliseconds(timer.elapsed());
    result.screen += takeFrom(master);
    result.run.output = process.readAllStandardOutput();
    if (!result.run.outOfTime && process.exitStatus() == QProcess::NormalExit)
        result.run.exitCode = process.exitCode();
    ::close(slave);
    ::close(master);
    return result;
}
