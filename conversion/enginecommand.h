#pragma once

#include <QString>

/// Path of the engine's executable. `applicationFolder` is the folder of the window's executable,
/// Contents/MacOS of the application bundle; the engine has its own bundle two levels up.
QString enginePath(const QString &applicationFolder);

/// The command line of one job, for QProcess::startCommand: engine, input and output in double quotes, so
/// that each is one argument whatever characters it has; the options unchanged. The parts are filled in one
/// after another: "%" and a digit in an earlier part is replaced by a later one, by contract.
QString engineCommand(const QString &engine, const QString &options, const QString &input,
                      const QString &output);
