#include "engine/pdf/images/downscale.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace
{

/// The share of a source pixel in a new pixel, along one dimension.
struct Part {
    int source;
    float weight;
};

/// The source pixels that each new pixel covers, along one dimension.
std::vector<std::vector<Part>> coverage(int from, int to)
{
    std::vector<std::vector<Part>> parts(static_cast<size_t>(to));
    for (int i = 0; i < to; ++i) {
        const double begin = static_cast<double>(i) * from / to;
        const double end = static_cast<double>(i + 1) * from / to;
        for (int source = static_cast<int>(begin); source < from && source < end; ++source) {
            const double covered = std::min(end, source + 1.0) - std::max(begin, static_cast<double>(source));
            if (covered > 1e-9)
                parts[static_cast<size_t>(i)].push_back({source, static_cast<float>(covered)});
        }
    }
    return parts;
}

/// Accumulates rows: for each new pixel the sums of its channels, of its weighted channels, and of its
/// weights.
class RowSums
{
public:
    RowSums(const Raster &raster, const Raster *weights, int width)
        : m_raster(raster), m_weights(weights), m_columns(coverage(raster.width, width)),
          m_channels(static_cast<size_t>(raster.channels)), m_plain(static_cast<size_t>(width) * m_channels),
          m_weighed(weights ? m_plain.size() : 0), m_weight(weights ? static_cast<size_t>(width) : 0)
    {
    }

    void clear()
    {
        std::fill(m_plain.begin(), m_plain.end(), 0.0F);
        std::fill(m_weighed.begin(), m_weighed.end(), 0.0F);
        std::fill(m_weight.begin(), m_weight.end(), 0.0F);
        m_area = 0;
    }

    void add(const Part &row)
    {
        const size_t first = static_cast<size_t>(row.source) * static_cast<size_t>(m_raster.width);
        const auto *samples =
            reinterpret_cast<const unsigned char *>(m_raster.samples.data()) + first * m_channels;
        const auto *weights =
            m_weights ? reinterpret_cast<const unsigned char *>(m_weights->samples.data()) + first : nullptr;
        for (size_t x = 0; x < m_columns.size(); ++x) {
            for (const Part &column : m_columns[x])
                addPixel(x, samples + static_cast<size_t>(column.source) * m_channels,
                         weights ? weights + column.source : nullptr, row.weight * column.weight);
        }
        m_area += row.weight * static_cast<float>(m_raster.width) / static_cast<float>(m_columns.size());
    }

    void write(std::string &samples) const
    {
        for (size_t i = 0; i < m_plain.size(); ++i) {
            const bool weighed = m_weights && m_weight[i / m_channels] > 0;
            const float value = weighed ? m_weighed[i] / m_weight[i / m_channels] : m_plain[i] / m_area;
            samples.push_back(
                static_cast<char>(static_cast<unsigned char>(std::clamp(value + 0.5F, 0.0F, 255.0F))));
        }
    }

private:
    void addPixel(size_t x, const unsigned char *pixel, const unsigned char *weight, float area)
    {
        for (size_t i = 0; i < m_channels; ++i)
            m_plain[x * m_channels + i] += area * static_cast<float>(pixel[i]);
        if (!weight || *weight == 0)
            return;
        const float weighed = area * static_cast<float>(*weight);
        for (size_t i = 0; i < m_channels; ++i)
            m_weighed[x * m_channels + i] += weighed * static_cast<float>(pixel[i]);
        m_weight[x] += weighed;
    }

    const Raster &m_raster;
    const Raster *m_weights;
    std::vector<std::vector<Part>> m_columns;
    size_t m_channels;
    std::vector<float> m_plain;
    std::vector<float> m_weighed;
    std::vector<float> m_weight;
    float m_area = 0;
};

} // namespace

Raster averaged(const Raster &raster, int width, int height, const Raster *weights)
{
    Raster result{width, height, raster.channels, {}};
    result.samples.reserve(static_cast<size_t>(width) * static_cast<size_t>(height) *
                           static_cast<size_t>(raster.channels));
    RowSums sums(raster, weights, width);
    for (const std::vector<Part> &rows : coverage(raster.height, height)) {
        sums.clear();
        for (const Part &row : rows)
            sums.add(row);
        sums.write(result.samples);
    }
    return result;
}
