#pragma once

#include <QStringList>

/// Makes this process the parent of whatever its descendants leave behind, so that none of them escapes it.
void adoptOrphans();

/// Releases those of them that have ended.
void buryOrphans();

/// Names of the running engine and browser processes among the descendants of this one.
QStringList engineProcesses();

/// The id of the engine's warm server among them; 0 if there is none.
qint64 serverProcess();
