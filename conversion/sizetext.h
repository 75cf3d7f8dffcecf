#pragma once

#include <QString>

/// The text for a size in the job list: kilobytes of 1000 bytes with three decimals, right-aligned in 14
/// characters, followed by "Kb".
QString sizeText(qint64 bytes);
