#pragma once

#include <QStringList>

/// Makes this process the parent of descendants whose own parent has ended, so that none of them escapes it.
void becomeSubreaper();

/// Takes the exit codes of those that have ended.
void reapDescendants();

/// Names of the running engine and browser processes among the descendants of this one.
QStringList engineProcesses();

/// The id of the engine's warm server among them; 0 if there is none.
qint64 serverProcess();
