#pragma once

#include <QString>

class QSettings;

/// The options part of the engine's command line, from the stored settings. Every option and every value is
/// in double quotes; fifteen parts are joined by spaces, which stay where a part is empty. Invalid numbers
/// count as 0. Texts are not escaped: a double quote in one splits the argument, and "%" with digits is
/// replaced by a later part, both by contract.
QString engineOptions(const QSettings &settings);
