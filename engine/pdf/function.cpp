#include "engine/pdf/function.h"

#include "engine/pdf/bits.h"
#include "engine/pdf/calculator.h"
#include "engine/pdf/streamdata.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>

namespace
{

constexpr size_t maximumInputs = 32;
/// Interpolation visits the corners of a cell: two to the power of the inputs.
constexpr size_t maximumTableInputs = 8;
constexpr size_t maximumOutputs = 32;
constexpr size_t maximumSamples = size_t{1} << 24;
constexpr size_t maximumProgramBytes = size_t{1} << 20;

[[noreturn]] void refuse()
{
    throw std::runtime_error("a function is malformed");
}

std::vector<double> numbers(QPDFObjectHandle array, std::vector<double> fallback)
{
    if (array.isNull())
        return fallback;
    std::vector<double> values;
    for (QPDFObjectHandle item : array.aitems()) {
        if (!item.isNumber())
            refuse();
        values.push_back(item.getNumericValue());
    }
    return values;
}

class SampledFunction : public Function
{
public:
    explicit SampledFunction(const QPDFObjectHandle &stream) : m_table(SampleTable::read(stream))
    {
        m_outputs = m_table.outputs;
    }

protected:
    using Cell = std::array<size_t, maximumTableInputs>;
    using Parts = std::array<double, maximumTableInputs>;

    /// Interpolates linearly between the corners of the cell that the point lies in.
    void compute(std::span<const double> in, std::span<double> out) const override
    {
        Cell cell{};
        Parts part{};
        for (size_t i = 0; i < in.size(); ++i) {
            const double last = m_table.size[i] - 1;
            const double position = Interval{0, last}.clip(m_domain[i].mapped(in[i], m_table.encode[i]));
            cell[i] = static_cast<size_t>(std::min(std::floor(position), std::max(last - 1, 0.0)));
            part[i] = position - static_cast<double>(cell[i]);
        }
        std::fill(out.begin(), out.end(), 0.0);
        for (size_t corner = 0; corner < (size_t{1} << in.size()); ++corner)
            addCorner(corner, cell, part, out);
    }

private:
    void addCorner(size_t corner, const Cell &cell, const Parts &part, std::span<double> out) const
    {
        double weight = 1;
        size_t point = 0;
        size_t stride = 1;
        for (size_t i = 0; i < m_table.size.size(); ++i) {
            const size_t upper = (corner >> i) & 1;
            weight *= upper ? part[i] : 1 - part[i];
            point += (cell[i] + upper) * stride;
            stride *= static_cast<size_t>(m_table.size[i]);
        }
        // A corner without weight may lie beyond the table's edge.
        if (weight == 0)
            return;
        for (size_t j = 0; j < out.size(); ++j)
            out[j] += weight * m_table.samples[point * out.size() + j];
    }

    SampleTable m_table;
};

class ExponentialFunction : public Function
{
public:
    explicit ExponentialFunction(QPDFObjectHandle dictionary)
        : m_c0(numbers(dictionary.getKey("/C0"), {0})), m_c1(numbers(dictionary.getKey("/C1"), {1})),
          m_exponent(dictionary.getKey("/N").isNumber() ? dictionary.getKey("/N").getNumericValue() : 1)
    {
        if (m_c0.size() != m_c1.size() || m_c0.empty() || m_c0.size() > maximumOutputs)
            refuse();
        m_outputs = m_c0.size();
    }

protected:
    void compute(std::span<const double> in, std::span<double> out) const override
    {
        const double part = m_exponent == 1 ? in[0] : std::pow(in[0], m_exponent);
        for (size_t j = 0; j < out.size(); ++j)
            out[j] = m_c0[j] + part * (m_c1[j] - m_c0[j]);
    }

private:
    std::vector<double> m_c0;
    std::vector<double> m_c1;
    double m_exponent;
};

class StitchingFunction : public Function
{
public:
    StitchingFunction(QPDFObjectHandle dictionary, Budget &budget)
        : m_bounds(numbers(dictionary.getKey("/Bounds"), {})),
          m_encode(intervals(dictionary.getKey("/Encode")))
    {
        for (const QPDFObjectHandle &part : dictionary.getKey("/Functions").aitems())
            m_parts.push_back(Function::readPart(part, budget));
        if (m_parts.empty() || m_bounds.size() + 1 != m_parts.size() || m_encode.size() < m_parts.size())
            refuse();
        m_outputs = m_parts.front()->outputs();
        for (const auto &part : m_parts) {
            if (part->outputs() != m_outputs || part->inputs() != 1)
                refuse();
        }
    }

protected:
    void compute(std::span<const double> in, std::span<double> out) const override
    {
        const auto bound = std::upper_bound(m_bounds.begin(), m_bounds.end(), in[0]);
        const auto index = static_cast<size_t>(bound - m_bounds.begin());
        const Interval piece{index == 0 ? m_domain[0].from : m_bounds[index - 1],
                             index == m_bounds.size() ? m_domain[0].to : m_bounds[index]};
        const double input = piece.mapped(in[0], m_encode[index]);
        m_parts[index]->evaluate(std::span(&input, 1), out);
    }

private:
    std::vector<double> m_bounds;
    std::vector<Interval> m_encode;
    std::vector<std::shared_ptr<const Function>> m_parts;
};

class CalculatorFunction : public Function
{
public:
    explicit CalculatorFunction(QPDFObjectHandle stream)
        : m_calculator(decodedData(stream, maximumProgramBytes))
    {
        m_outputs = intervals(stream.getDict().getKey("/Range")).size();
    }

protected:
    void compute(std::span<const double> in, std::span<double> out) const override
    {
        m_calculator.run(in, out);
    }

private:
    Calculator m_calculator;
};

class FunctionArray : public Function
{
public:
    FunctionArray(QPDFObjectHandle array, Budget &budget)
    {
        if (array.getArrayNItems() == 0 || array.getArrayNItems() > static_cast<int>(maximumOutputs))
            refuse();
        for (const QPDFObjectHandle &part : array.aitems())
            m_parts.push_back(Function::readPart(part, budget));
        for (const auto &part : m_parts) {
            if (part->outputs() != 1 || part->inputs() != m_parts.front()->inputs())
                refuse();
        }
        m_outputs = m_parts.size();
        m_domain = m_parts.front()->domain();
    }

protected:
    void compute(std::span<const double> in, std::span<double> out) const override
    {
        for (size_t j = 0; j < out.size(); ++j)
            m_parts[j]->evaluate(in, out.subspan(j, 1));
    }

private:
    std::vector<std::shared_ptr<const Function>> m_parts;
};

std::shared_ptr<Function> ofType(int type, const QPDFObjectHandle &object, Function::Budget &budget)
{
    switch (type) {
    case 0:
        return std::make_shared<SampledFunction>(object);
    case 2:
        return std::make_shared<ExponentialFunction>(object);
    case 3:
        return std::make_shared<StitchingFunction>(object, budget);
    case 4:
        return std::make_shared<CalculatorFunction>(object);
    default:
        refuse();
    }
}

} // namespace

double Interval::clip(double value) const
{
    if (!(value > from))
        return from;
    return value > to ? to : value;
}

double Interval::mapped(double value, Interval other) const
{
    return to == from ? other.from : other.from + (value - from) * (other.to - other.from) / (to - from);
}

std::vector<Interval> intervals(const QPDFObjectHandle &array)
{
    const std::vector<double> values = numbers(array, {});
    if (values.size() % 2 != 0)
        refuse();
    std::vector<Interval> pairs;
    for (size_t i = 0; i < values.size(); i += 2)
        pairs.push_back({values[i], values[i + 1]});
    return pairs;
}

std::shared_ptr<const Function> Function::read(const QPDFObjectHandle &object)
{
    Budget budget;
    return readPart(object, budget);
}

std::shared_ptr<const Function> Function::readPart(QPDFObjectHandle object, Budget &budget)
{
    if (budget.depth == 0 || budget.functions == 0)
        refuse();
    --budget.depth;
    --budget.functions;
    std::shared_ptr<const Function> function =
        object.isArray() ? std::make_shared<FunctionArray>(object, budget) : readSingle(object, budget);
    ++budget.depth;
    return function;
}

std::shared_ptr<const Function> Function::readSingle(QPDFObjectHandle object, Budget &budget)
{
    if (!object.isStream() && !object.isDictionary())
        refuse();
    QPDFObjectHandle dictionary = object.isStream() ? object.getDict() : object;
    QPDFObjectHandle type = dictionary.getKey("/FunctionType");
    const std::vector<Interval> domain = intervals(dictionary.getKey("/Domain"));
    if (!type.isInteger() || domain.empty() || domain.size() > maximumInputs)
        refuse();
    std::shared_ptr<Function> function = ofType(type.getIntValueAsInt(), object, budget);
    function->m_domain = domain;
    function->m_range = intervals(dictionary.getKey("/Range"));
    const bool manyInputs = type.getIntValueAsInt() == 0 || type.getIntValueAsInt() == 4;
    if (function->m_outputs == 0 || function->m_outputs > maximumOutputs ||
        (!manyInputs && domain.size() != 1))
        refuse();
    return function;
}

void Function::evaluate(std::span<const double> in, std::span<double> out) const
{
    std::array<double, maximumInputs> clipped{};
    if (in.size() != m_domain.size() || out.size() != m_outputs)
        refuse();
    for (size_t i = 0; i < in.size(); ++i)
        clipped[i] = m_domain[i].clip(in[i]);
    compute(std::span(clipped.data(), in.size()), out);
    for (size_t j = 0; j < out.size() && j < m_range.size(); ++j)
        out[j] = m_range[j].clip(out[j]);
}

SampleTable SampleTable::read(QPDFObjectHandle stream)
{
    if (!stream.isStream())
        refuse();
    QPDFObjectHandle dictionary = stream.getDict();
    const std::vector<Interval> range = intervals(dictionary.getKey("/Range"));
    QPDFObjectHandle bits = dictionary.getKey("/BitsPerSample");
    SampleTable table;
    table.outputs = range.size();
    size_t count = table.outputs;
    for (const double size : numbers(dictionary.getKey("/Size"), {})) {
        if (!(size >= 1 && size <= maximumSamples) || count > maximumSamples / static_cast<size_t>(size))
            refuse();
        table.size.push_back(static_cast<int>(size));
        count *= static_cast<size_t>(size);
        table.encode.push_back({0, size - 1});
    }
    const bool knownBits = bits.isInteger() && bits.getIntValue() >= 1 && bits.getIntValue() <= 32;
    if (!knownBits || table.size.empty() ||
        table.size.size() != intervals(dictionary.getKey("/Domain")).size() ||
        table.size.size() > maximumTableInputs || table.outputs == 0)
        refuse();
    if (const auto encode = intervals(dictionary.getKey("/Encode")); encode.size() == table.encode.size())
        table.encode = encode;
    std::vector<Interval> decode = intervals(dictionary.getKey("/Decode"));
    if (decode.size() != table.outputs)
        decode = range;

    const std::string data = decodedData(stream);
    BitReader reader(data);
    const Interval stored{0, maximumOf(bits.getIntValueAsInt())};
    table.samples.reserve(count);
    for (size_t i = 0; i < count; ++i)
        table.samples.push_back(
            stored.mapped(reader.read(bits.getIntValueAsInt()), decode[i % table.outputs]));
    return table;
}
