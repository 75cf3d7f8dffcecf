#pragma once

#include <string>

class QPDF;
class Source;

/// `pdf` as a file, packed as small as it gets without loss: every object that the trailer leads to, all but
/// streams in object streams (ISO 32000-1, 7.5.7), every stream compressed.
///
/// Objects that nobody has read since `pdf` was opened from `source`, such as the many thousand structure
/// elements of a tagged document, are taken from there as text, because reading and writing them anew takes
/// most of the time. All others are written as they are now. QPDF::replaceObject() must not be used on an
/// object that has not been read.
///
/// `xmp` becomes the document's metadata stream (14.3.2), uncompressed, so that other programs find it; none
/// if it is empty.
///
/// Throws std::runtime_error if an object has a generation other than 0.
std::string packed(QPDF &pdf, const Source &source, const std::string &xmp);
