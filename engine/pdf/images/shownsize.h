#pragma once

#include "engine/pdf/reading/parts.h"

#include <qpdf/QPDFObjGen.hh>

#include <map>

/// The size at which an image is shown on paper, in points. An image shown several times has the largest
/// width and the largest height of all.
struct ShownSize {
    double width = 0;
    double height = 0;
};

/// How large the document's images are shown, found from the transformations in its content streams: in
/// pages, in forms within forms, in patterns, glyphs and soft masks. Soft masks of images have the size of
/// their images. Images that are never shown have no entry. Where a form is stretched, the size may come out
/// too large, never too small.
///
/// Throws std::exception if a content stream cannot be read.
std::map<QPDFObjGen, ShownSize> shownSizes(const DocumentParts &parts);
