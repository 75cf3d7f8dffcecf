#pragma once

#include <string>

class QPDF;
class Source;

/// `pdf` as a compact file: every object that is reachable from the trailer, all but streams in object
/// streams (ISO 32000-1, 7.5.7), every stream compressed.
///
/// The text of objects that have not been read since `pdf` was opened from `source` is copied from there: for
/// the thousands of structure elements of a tagged document, parsing and writing would take most of the time.
/// All other objects are written as they are in `pdf`. QPDF::replaceObject() must not be called for an object
/// that has not been read.
///
/// `xmp`, unless empty, becomes the document's metadata stream (14.3.2), uncompressed so that other programs
/// find it.
///
/// Throws std::runtime_error if an object has a generation other than 0.
std::string packed(QPDF &pdf, const Source &source, const std::string &xmp);
