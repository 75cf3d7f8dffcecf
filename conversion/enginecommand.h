#pragma once

#include <QString>

/// Path of the engine's executable, from the folder of the window's own: both lie in one application bundle,
/// the window in its Contents/MacOS, the engine in a bundle of its own, two levels up.
QString enginePath(const QString &applicationFolder);

/// The whole command line of one job, for QProcess::startCommand: engine, input and output in double quotes,
/// so that each arrives as one argument whatever characters it has; the options as they are. Filled one after
/// another, so a "%" followed by a digit in an earlier piece takes part in the filling of the later ones,
/// by contract.
QString engineCommand(const QString &engine, const QString &options, const QString &input,
                      const QString &output);
