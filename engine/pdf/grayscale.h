#pragma once

class QPDF;

/// Takes every colour out of a document and keeps all else: text stays text, vectors stay vectors, tags,
/// links and outline stay. Colour operators, shadings, images, palettes, patterns, glyphs, appearances, soft
/// masks, groups, and the colours of annotations and outline entries become gray; see colourspace.h for which
/// gray a colour has.
///
/// What overlaps with a blend mode other than Normal is blended in gray: Hue, Saturation, Color and
/// Luminosity come out exactly as before, the others as nearly as grays can tell. JPEG 2000 images stay as
/// they are.
///
/// Throws std::exception if the document is malformed; it is then half changed and of no use.
void makeGray(QPDF &pdf);
