#include "engine/pdf/gray/luma.h"

#include <algorithm>
#include <stdexcept>

double grayOf(std::span<const double, 3> colour)
{
    double gray = 0;
    for (size_t i = 0; i < lumaWeights.size(); ++i)
        gray += lumaWeights[i] * std::clamp(colour[i], 0.0, 1.0);
    return gray;
}

void refuseGray(const std::string &what)
{
    throw std::runtime_error("the browser wrote " + what +
                             ", which cannot be turned gray: convert without --grayscale");
}
