#pragma once

#include "engine/job/job.h"

inline constexpr double pointsPerInch = 72;
/// CSS pixels.
inline constexpr double pixelsPerPoint = 96 / pointsPerInch;

/// `size` with its longer side across for Landscape, upright for Portrait.
QSizeF turned(QSizeF size, PaperOrientation orientation);

/// The paper, in points, of a page that does not name one itself: the job's, else A4, or Letter where the
/// system's locale measures in inches; turned as the job says.
QSizeF paperFor(const Job &job);

/// In points: the job's margins; without them those of a page that sets none itself: 10 mm, or a third of a
/// side of the paper that is shorter than 30 mm.
QMarginsF marginsFor(const Job &job);
