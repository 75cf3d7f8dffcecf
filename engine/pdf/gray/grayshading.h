#pragma once

#include <qpdf/QPDFObjectHandle.hh>

#include <vector>

/// Makes shadings (ISO 32000-1, 8.7.4.3) gray in place. The browser writes shadings by a function, along an
/// axis, between circles or over a plane, all in RGB. Gray follows RGB linearly, so the function becomes one
/// of gray exactly: the ends of its interpolations are turned gray, and its programs are continued by the
/// weighing of their result. Throws std::runtime_error, see refuseGray(), at any other shading.
void makeShadingsGray(const std::vector<QPDFObjectHandle> &shadings);
