#pragma once

#include "tests/support/program.h"

/// How a program ended that was run at a terminal: standard input and error, and standard output unless that
/// is led elsewhere, are one, and the program is what the terminal's user is looking at.
struct TerminalResult {
    ProgramResult run;
    /// Everything that the terminal was sent.
    QByteArray screen;
};

enum class TerminalOutput { ToTerminal, ToPipe };

/// Runs a program to its end at a new terminal of 24 lines of 80 letters.
TerminalResult runAtTerminal(const QString &program, const QStringList &arguments, TerminalOutput output,
                             const ProgramOptions &options = {});
