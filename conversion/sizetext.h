#pragma once

#include <QString>

/// A size in bytes as the job list shows it: kilobytes of 1000 bytes with three decimals, right-aligned in 14
/// characters, then "Kb".
QString sizeText(qint64 bytes);
