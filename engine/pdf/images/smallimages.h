#pragma once

class QPDF;

/// Makes the images of a document small: fewer samples where they have more than 96 for an inch of paper,
/// then strong JPEG compression; lossless compression where that is smaller, and for drawings of up to 256
/// colours also where it is up to twice as large, since JPEG blurs their edges. Soft masks are never stored
/// as JPEG: their edges are what is seen of them. No image gets larger, unless it had too many samples.
/// Images of a kind that is not known here (see printedimage.h) stay as they are.
///
/// Throws std::exception if an image or content stream cannot be decoded; the document is then half changed
/// and of no use.
void makeImagesSmall(QPDF &pdf);
