#include "engine/pdf/images/losslessimage.h"

#include "engine/pdf/reading/streamdata.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <unordered_map>

namespace
{

constexpr size_t maximumColours = 256;
constexpr int pngFilters = 5;

uint32_t colourAt(const Raster &raster, size_t pixel)
{
    uint32_t colour = 0;
    const auto channels = static_cast<size_t>(raster.channels);
    for (size_t i = 0; i < channels; ++i)
        colour = (colour << 8U) | static_cast<unsigned char>(raster.samples[pixel * channels + i]);
    return colour;
}

size_t pixelCount(const Raster &raster)
{
    return static_cast<size_t>(raster.width) * static_cast<size_t>(raster.height);
}

int paeth(int left, int up, int corner)
{
    const int guess = left + up - corner;
    const int toLeft = std::abs(guess - left);
    const int toUp = std::abs(guess - up);
    const int toCorner = std::abs(guess - corner);
    if (toLeft <= toUp && toLeft <= toCorner)
        return left;
    return toUp <= toCorner ? up : corner;
}

int prediction(int filter, int left, int up, int corner)
{
    switch (filter) {
    case 1:
        return left;
    case 2:
        return up;
    case 3:
        return (left + up) / 2;
    case 4:
        return paeth(left, up, corner);
    default:
        return 0;
    }
}

/// One row as PNG stores it: the number of the filter, then the differences from its prediction. Chooses the
/// filter with the smallest sum of absolute differences.
std::string predictedRow(const unsigned char *row, const unsigned char *above, size_t length, size_t channels)
{
    std::array<std::string, pngFilters> candidates;
    std::array<long, pngFilters> costs{};
    for (int filter = 0; filter < pngFilters; ++filter) {
        const auto index = static_cast<size_t>(filter);
        candidates[index].reserve(length + 1);
        candidates[index].push_back(static_cast<char>(filter));
        for (size_t i = 0; i < length; ++i) {
            const int left = i >= channels ? row[i - channels] : 0;
            const int up = above ? above[i] : 0;
            const int corner = above && i >= channels ? above[i - channels] : 0;
            const auto rest = static_cast<signed char>(row[i] - prediction(filter, left, up, corner));
            candidates[index].push_back(static_cast<char>(rest));
            costs[index] += std::abs(static_cast<int>(rest));
        }
    }
    const auto best = std::min_element(costs.begin(), costs.end()) - costs.begin();
    return candidates[static_cast<size_t>(best)];
}

std::string predicted(const Raster &raster)
{
    const auto channels = static_cast<size_t>(raster.channels);
    const size_t length = static_cast<size_t>(raster.width) * channels;
    const auto *samples = reinterpret_cast<const unsigned char *>(raster.samples.data());
    std::string rows;
    rows.reserve(raster.samples.size() + static_cast<size_t>(raster.height));
    for (size_t y = 0; y < static_cast<size_t>(raster.height); ++y)
        rows += predictedRow(samples + y * length, y > 0 ? samples + (y - 1) * length : nullptr, length,
                             channels);
    return rows;
}

int bitsFor(size_t colours)
{
    int bits = 1;
    while ((size_t{1} << static_cast<unsigned>(bits)) < colours)
        bits *= 2;
    return bits;
}

LosslessImage indexed(const Raster &raster, const std::vector<uint32_t> &colours)
{
    LosslessImage image;
    image.bits = bitsFor(colours.size());
    std::unordered_map<uint32_t, unsigned> indices;
    for (const uint32_t colour : colours) {
        indices.emplace(colour, static_cast<unsigned>(indices.size()));
        for (int i = raster.channels - 1; i >= 0; --i)
            image.palette.push_back(static_cast<char>((colour >> (8U * static_cast<unsigned>(i))) & 0xffU));
    }
    // The high bits first; each row is padded to whole bytes.
    const size_t rowBytes = (static_cast<size_t>(raster.width) * static_cast<size_t>(image.bits) + 7) / 8;
    std::string rows(rowBytes * static_cast<size_t>(raster.height), '\0');
    for (size_t pixel = 0; pixel < pixelCount(raster); ++pixel) {
        const size_t column = pixel % static_cast<size_t>(raster.width);
        const size_t bit = column * static_cast<size_t>(image.bits);
        char &byte = rows[pixel / static_cast<size_t>(raster.width) * rowBytes + bit / 8];
        const unsigned shift = 8U - static_cast<unsigned>(image.bits) - bit % 8;
        byte =
            static_cast<char>(static_cast<unsigned char>(byte) | indices[colourAt(raster, pixel)] << shift);
    }
    image.data = flateCompressed(rows);
    return image;
}

} // namespace

std::optional<std::vector<uint32_t>> fewColours(const Raster &raster)
{
    std::vector<uint32_t> colours;
    std::unordered_map<uint32_t, bool> seen;
    uint32_t last = 0;
    for (size_t pixel = 0; pixel < pixelCount(raster); ++pixel) {
        const uint32_t colour = colourAt(raster, pixel);
        if (pixel > 0 && colour == last)
            continue;
        last = colour;
        if (!seen.emplace(colour, true).second)
            continue;
        colours.push_back(colour);
        if (colours.size() > maximumColours)
            return std::nullopt;
    }
    return colours;
}

LosslessImage losslessImage(const Raster &raster, bool mayHavePalette)
{
    LosslessImage best;
    best.channels = raster.channels;
    best.data = flateCompressed(raster.samples);

    std::string other = flateCompressed(predicted(raster));
    if (other.size() < best.data.size()) {
        best.predicted = true;
        best.data = std::move(other);
    }
    const auto colours = mayHavePalette ? fewColours(raster) : std::nullopt;
    if (!colours || (raster.channels == 1 && bitsFor(colours->size()) == 8))
        return best;
    LosslessImage palette = indexed(raster, *colours);
    return palette.data.size() + palette.palette.size() < best.data.size() ? palette : best;
}
