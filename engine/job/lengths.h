#pragma once

#include <QMarginsF>
#include <QSizeF>
#include <QString>

#include <optional>

/// In points: the longest side of a page that PDF readers accept.
inline constexpr double maximumSide = 14400;

/// A paper such as "210x297mm" or "8.5inx11in", in points: width and height with the units mm, cm, in, pt or
/// px; a width without a unit has that of the height. Each side is 10 points to maximumSide long. Nothing if
/// `text` is none.
std::optional<QSizeF> paperSizeOf(const QString &text);

/// Margins in points from one to four lengths, as in CSS: all sides; above and below, left and right; above,
/// left and right, below; clockwise from above. 0 needs no unit. Nothing if `text` is none.
std::optional<QMarginsF> marginsOf(const QString &text);
