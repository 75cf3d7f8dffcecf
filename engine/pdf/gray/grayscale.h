#pragma once

class QPDF;

/// Makes a printed document gray: content, images, gradients and transparency groups; see luma.h for the
/// formula. Everything else stays: text, vectors, tags, links, outline.
///
/// Blend modes other than Normal blend the grays. The result of Hue, Saturation, Color and Luminosity is
/// exactly the gray of the coloured result, that of the others an approximation.
///
/// Throws Refusal at anything that may have a colour and that the browser is not known to write, and
/// std::exception if something cannot be decoded. The document is then changed in part and must not be used.
void makeGray(QPDF &pdf);
