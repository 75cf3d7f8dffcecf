#pragma once

#include <qpdf/QPDFObjectHandle.hh>

#include <vector>

/// Makes shadings (ISO 32000-1, 8.7.4.3) gray in place. The browser writes axial, radial and function-based
/// shadings, all in RGB. Gray is a linear function of RGB, so the result is exact: the end colours of
/// interpolations become gray, and PostScript functions compute the gray of their result at the end. Throws
/// Refusal at any other shading.
void makeShadingsGray(const std::vector<QPDFObjectHandle> &shadings);
