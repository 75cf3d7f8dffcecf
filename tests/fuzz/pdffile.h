#pragma once

#include <QByteArray>

#include <string>

class QPDF;

/// The file that these objects make: with the length of each stream, a cross-reference table and a trailer,
/// which no change of the text could keep right. Object 1 is the catalogue, object 2 the information. Streams
/// stand without a length.
std::string fileOf(const QByteArray &objects);

/// What an independent reader finds in a file.
struct Reading {
    bool opens = false;
    /// Whether every object and every stream could be read without a warning.
    bool isClean = false;
    size_t pages = 0;
};
/// Reads all of it. Without `mayRepair` a file whose table is wrong does not open.
Reading readingOf(const std::string &file, bool mayRepair);

/// Whether both documents consist of the same objects, by whatever numbers they go.
bool sameObjects(QPDF &one, QPDF &other);
