#pragma once

#include <QStringList>

/// The whole program: does what `arguments` (without the program's name) ask for and returns the exit code.
/// Every failure of a job becomes one line on standard error, one in the log, and its exit code here.
int runCommandLine(const QStringList &arguments);
