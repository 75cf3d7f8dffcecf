#pragma once

#include "engine/pdf/colourspace.h"

#include <qpdf/QPDFObjectHandle.hh>

class QPDF;

/// A function object of one output that gives the gray of what `function` gives: a function object, or an
/// array of them, whose outputs are colours of `space`.
///
/// Exact wherever gray follows the colour linearly: exponential and stitching functions of RGB colours, and
/// sampled ones at their samples. Programs become programs. Everything else is sampled: 256 times over one
/// input, 64 × 64 times over two. Throws std::runtime_error if the function is malformed or has more inputs.
QPDFObjectHandle grayFunction(QPDF &pdf, const QPDFObjectHandle &function, const ColourSpace &space);
