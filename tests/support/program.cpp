#include "tests/support/program.h"

#include <QElapsedTimer>
#include <QProcess>

ProgramResult runProgram(const QString &program, const QStringList &arguments, const ProgramOptions &options)
{
    QProcess process;
    process.setProcessEnvironment(options.environment);
    process.setWorkingDirectory(options.folder);
    QElapsedTimer timer;
    timer.start();
    process.start(program, arguments);
    process.closeWriteChannel();
    ProgramResult result;
    if (!process.waitForStarted()) {
        result.errors = process.errorString().toUtf8();
        return result;
    }
    result.outOfTime = !process.waitForFinished(static_cast<int>(options.bound.count()));
    if (result.outOfTime) {
        process.kill();
        process.waitForFinished();
    }
    result.time = std::chrono::milliseconds(timer.elapsed());
    result.output = process.readAllStandardOutput();
    result.errors = process.readAllStandardError();
    if (!result.outOfTime && process.exitStatus() == QProcess::NormalExit)
        result.exitCode = process.exitCode();
    return result;
}
