#pragma once

#include <QByteArray>
#include <QProcessEnvironment>
#include <QStringList>

#include <chrono>

/// The exit code and output of a program.
struct ProgramResult {
    /// -1 if it did not start, was killed or ran out of its bound.
    int exitCode = -1;
    bool outOfTime = false;
    QByteArray output;
    QByteArray errors;
    std::chrono::milliseconds time{0};

    bool ok() const { return exitCode == 0; }
};

struct ProgramOptions {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    QString folder;
    /// The program is killed then.
    std::chrono::milliseconds bound = std::chrono::seconds(90);
};

/// Runs a program to its end.
ProgramResult runProgram(const QString &program, const QStringList &arguments,
                         const ProgramOptions &options = {});
