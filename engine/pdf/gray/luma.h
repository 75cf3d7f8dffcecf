#pragma once

#include <array>
#include <span>
#include <string>

/// The weights of red, green and blue in a gray: the luma of ITU-R BT.601. JPEG stores the same luma as Y, so
/// a photograph keeps its stored Y. PDF viewers use the same weights, rounded, to convert to gray (ISO
/// 32000-1, 10.3.2) and for luminosity soft masks (11.3.5.3).
constexpr std::array<double, 3> lumaWeights = {0.299, 0.587, 0.114};

/// The gray of red, green and blue from 0 to 1; values outside are clipped.
double grayOf(std::span<const double, 3> colour);

/// Throws Refusal: `what` names the thing that the browser wrote and that cannot be turned gray.
[[noreturn]] void refuseGray(const std::string &what);
