#pragma once

#include <array>
#include <span>
#include <string>

/// The parts that red, green and blue have in a gray: the luma of ITU-R BT.601, which is also the Y of every
/// JPEG, so that a photograph's gray is the one it was stored with, and, rounded, what a PDF viewer itself
/// takes for gray (ISO 32000-1, 10.3.2) and for the luminosity of a soft mask (11.3.5.3).
constexpr std::array<double, 3> lumaWeights = {0.299, 0.587, 0.114};

/// The gray of three numbers from 0 to 1 for red, green and blue; others are clipped.
double grayOf(std::span<const double, 3> colour);

/// Ends the job: throws std::runtime_error, whose text names `what` the browser wrote that is not known here
/// and says what to do.
[[noreturn]] void refuseGray(const std::string &what);
