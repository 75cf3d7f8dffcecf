#pragma once

class QPDF;

/// Makes the images of a document small: scales them down to 96 samples per inch of paper and compresses them
/// strongly as JPEG, or losslessly where that is not larger. A drawing (at most 256 colours) is also stored
/// losslessly if that is up to twice as large, since JPEG blurs edges. Soft masks are never stored as JPEG.
/// An image that is not scaled down is replaced only by a smaller one. Images of an unknown kind (see
/// printedimage.h) are not changed.
///
/// Throws std::exception if an image or content stream cannot be decoded. The document is then changed in
/// part and must not be used.
void makeImagesSmall(QPDF &pdf);
