#pragma once

#include "engine/pdf/reading/parts.h"

#include <qpdf/QPDFObjGen.hh>

#include <map>

/// The size of an image on paper, in points. For an image shown several times, the maximum width and the
/// maximum height.
struct ShownSize {
    double width = 0;
    double height = 0;
};

/// The sizes of the document's images on paper, by the transformations in its content streams: pages, nested
/// forms, patterns, glyphs and soft masks. The soft mask of an image has the size of the image. Images that
/// are never shown have no entry. In forms that are stretched unevenly the size may be overestimated, never
/// underestimated.
///
/// Throws std::exception if a content stream cannot be read.
std::map<QPDFObjGen, ShownSize> shownSizes(const DocumentParts &parts);
