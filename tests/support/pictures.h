#pragma once

#include <QByteArray>
#include <QColor>
#include <QImage>
#include <QString>

/// A picture of one colour as a PNG or JPEG file.
QByteArray plainPicture(const QColor &colour, QSize size = {40, 40}, const char *format = "PNG");
/// The same as a "data:" address.
QString dataAddress(const QColor &colour);

/// The share of the picture's pixels that have this colour, but for rounding.
double shareOf(const QColor &colour, const QImage &picture);
/// Whether more than a few pixels have it.
bool shows(const QColor &colour, const QImage &picture);

/// A colour for each number from 0 to 59, all far enough from each other, from white, and from black and
/// every gray.
QColor distinctColour(int number);
