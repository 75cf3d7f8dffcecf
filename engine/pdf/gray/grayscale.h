#pragma once

class QPDF;

/// Takes every colour out of a printed document and keeps all else: text stays text, vectors stay vectors,
/// tags, links and outline stay. Content, images, gradients and transparency groups become gray; see luma.h
/// for which gray a colour has.
///
/// What overlaps with a blend mode other than Normal is blended in gray: Hue, Saturation, Color and
/// Luminosity come out exactly as before, the others as nearly as grays can tell.
///
/// Only what the browser is known to write is turned gray. Throws std::exception at anything else that may
/// have a colour, see refuseGray(), and if something cannot be decoded; the document is then half changed and
/// of no use.
void makeGray(QPDF &pdf);
