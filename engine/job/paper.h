#pragma once

#include "engine/job/job.h"

/// Around the text of a page that sets no margins, in points: 10 mm.
inline constexpr double usualMargin = 10 / 25.4 * 72;
inline constexpr double pointsPerInch = 72;
/// CSS pixels.
inline constexpr double pixelsPerPoint = 96 / pointsPerInch;

/// `size` with its longer side across for Landscape, upright for Portrait.
QSizeF turned(QSizeF size, PaperOrientation orientation);

/// The paper, in points, of a page that does not name one itself: the job's, else A4, or Letter where the
/// system's locale measures in inches; turned as the job says.
QSizeF paperFor(const Job &job);
