#include "engine/pdf/gray/luma.h"

#include "engine/pdf/reading/refusal.h"

#include <algorithm>

double grayOf(std::span<const double, 3> colour)
{
    double gray = 0;
    for (size_t i = 0; i < lumaWeights.size(); ++i)
        gray += lumaWeights[i] * std::clamp(colour[i], 0.0, 1.0);
    return gray;
}

void refuseGray(const std::string &what)
{
    throw Refusal("the browser wrote " + what + ", which cannot be turned gray: convert without --grayscale");
}
