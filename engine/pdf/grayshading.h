#pragma once

#include <qpdf/QPDFObjectHandle.hh>

class QPDF;

/// Makes a shading (ISO 32000-1, 8.7.4.3; a dictionary, or a stream for meshes) gray in place: its colour
/// space, background, function, or the colours of a mesh's points. Gray shadings stay as they are.
/// `resources` are those that names of colour spaces are looked up in, or null. Throws std::runtime_error if
/// the shading is malformed.
void makeShadingGray(QPDF &pdf, QPDFObjectHandle shading, const QPDFObjectHandle &resources);
