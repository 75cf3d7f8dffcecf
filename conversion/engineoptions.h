#pragma once

#include <QString>

class QSettings;

/// The options part of the engine's command line, from the stored settings. Every option word and every value
/// stands in double quotes of its own; fifteen places are joined by blanks, and an empty place leaves its
/// blanks. Numbers out of range and texts that are no numbers are clamped, never refused. Texts enter as they
/// are: a double quote in one splits the line, and a "%" followed by digits takes part in the filling of the
/// places after it, both by contract.
QString engineOptions(const QSettings &settings);
