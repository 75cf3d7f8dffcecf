#include "engine/pdf/grayfunction.h"

#include "engine/pdf/bits.h"
#include "engine/pdf/calculator.h"
#include "engine/pdf/streamdata.h"

#include <qpdf/QPDF.hh>
#include <qpdf/QUtil.hh>

#include <cmath>
#include <stdexcept>

namespace
{

constexpr int samplesOverOne = 256;
constexpr int samplesOverTwo = 64;
constexpr int sampleBits = 16;
constexpr int decimals = 6;
constexpr int maximumDepth = 16;
constexpr int maximumParts = 4096;

[[noreturn]] void refuse()
{
    throw std::runtime_error("the function of a shading is malformed");
}

QPDFObjectHandle real(double value)
{
    return QPDFObjectHandle::newReal(value, decimals);
}

QPDFObjectHandle unitInterval()
{
    return QPDFObjectHandle::newArray({QPDFObjectHandle::newInteger(0), QPDFObjectHandle::newInteger(1)});
}

QPDFObjectHandle arrayOf(const std::vector<Interval> &pairs)
{
    QPDFObjectHandle array = QPDFObjectHandle::newArray();
    for (const Interval &pair : pairs) {
        array.appendItem(real(pair.from));
        array.appendItem(real(pair.to));
    }
    return array;
}

QPDFObjectHandle dictionaryOf(QPDFObjectHandle function)
{
    if (function.isStream())
        return function.getDict();
    if (!function.isDictionary())
        refuse();
    return function;
}

int typeOf(const QPDFObjectHandle &function)
{
    QPDFObjectHandle type = dictionaryOf(function).getKey("/FunctionType");
    return type.isInteger() ? type.getIntValueAsInt() : -1;
}

/// A function of type 0 from its samples, 0 to 1 each.
QPDFObjectHandle sampled(QPDF &pdf, const std::vector<Interval> &domain, const std::vector<int> &size,
                         const std::vector<Interval> &encode, const std::vector<double> &samples)
{
    BitWriter bits;
    for (const double sample : samples)
        bits.write(static_cast<uint32_t>(std::lround(Interval{0, 1}.clip(sample) * maximumOf(sampleBits))),
                   sampleBits);
    QPDFObjectHandle dictionary = QPDFObjectHandle::newDictionary();
    dictionary.replaceKey("/FunctionType", QPDFObjectHandle::newInteger(0));
    dictionary.replaceKey("/Domain", arrayOf(domain));
    dictionary.replaceKey("/Range", unitInterval());
    dictionary.replaceKey("/BitsPerSample", QPDFObjectHandle::newInteger(sampleBits));
    dictionary.replaceKey("/Encode", arrayOf(encode));
    QPDFObjectHandle sizes = QPDFObjectHandle::newArray();
    for (const int count : size)
        sizes.appendItem(QPDFObjectHandle::newInteger(count));
    dictionary.replaceKey("/Size", sizes);
    QPDFObjectHandle stream = QPDFObjectHandle::newStream(&pdf);
    stream.replaceDict(dictionary);
    replaceFlateData(stream, flateCompressed(bits.bytes()));
    return stream;
}

std::vector<double> coefficients(QPDFObjectHandle dictionary, const char *key, size_t count)
{
    QPDFObjectHandle array = dictionary.getKey(key);
    std::vector<double> values;
    if (!array.isArray() || array.getArrayNItems() != static_cast<int>(count))
        refuse();
    for (QPDFObjectHandle item : array.aitems())
        values.push_back(item.isNumber() ? item.getNumericValue() : 0);
    return values;
}

bool isColour(const std::vector<double> &values)
{
    for (const double value : values) {
        if (value < 0 || value > 1)
            return false;
    }
    return true;
}

/// Writes the program that turns the colour on top of the stack into its gray: each component clipped, then
/// weighed and added up.
std::string weighing(std::span<const double> weights, const std::vector<Interval> &range)
{
    std::string program;
    for (size_t i = weights.size(); i-- > 0;) {
        const Interval limits{Interval{0, 1}.clip(range[i].from), Interval{0, 1}.clip(range[i].to)};
        const std::string low = QUtil::double_to_string(limits.from, decimals);
        const std::string high = QUtil::double_to_string(limits.to, decimals);
        if (i + 1 < weights.size())
            program += " exch";
        for (const std::string &part :
             {std::string(" dup "), low, std::string(" lt {pop "), low, std::string("} if dup "), high,
              std::string(" gt {pop "), high, std::string("} if "),
              QUtil::double_to_string(weights[i], decimals), std::string(" mul")})
            program += part;
        if (i + 1 < weights.size())
            program += " add";
    }
    return program;
}

class Rewriter
{
public:
    Rewriter(QPDF &pdf, const ColourSpace &space) : m_pdf(pdf), m_space(space) {}

    QPDFObjectHandle rewritten(QPDFObjectHandle function, int depth)
    {
        if (depth > maximumDepth || ++m_parts > maximumParts)
            refuse();
        if (function.isArray() && function.getArrayNItems() == 1)
            return rewritten(function.getArrayItem(0), depth + 1);
        if (function.isArray())
            return resampled(function);
        switch (typeOf(function)) {
        case 0:
            return weighedSamples(function);
        case 2:
            return weighedEnds(function);
        case 3:
            return stitched(function, depth);
        case 4:
            return weighedProgram(function);
        default:
            refuse();
        }
    }

private:
    bool isRgb() const { return m_space.family() == ColourSpace::Family::Rgb; }

    /// Evaluates the function at evenly spaced points.
    QPDFObjectHandle resampled(const QPDFObjectHandle &object)
    {
        const auto function = Function::read(object);
        if (function->outputs() != m_space.components() || function->inputs() > 2)
            refuse();
        const int count = function->inputs() == 1 ? samplesOverOne : samplesOverTwo;
        const std::vector<int> size(function->inputs(), count);
        const std::vector<Interval> encode(function->inputs(), Interval{0, static_cast<double>(count - 1)});
        const int rows = function->inputs() == 1 ? 1 : count;
        std::vector<double> samples;
        std::vector<double> point(function->inputs());
        std::vector<double> colour(function->outputs());
        for (int y = 0; y < rows; ++y) {
            for (int x = 0; x < count; ++x) {
                point[0] = encode[0].mapped(x, function->domain()[0]);
                if (point.size() == 2)
                    point[1] = encode[1].mapped(y, function->domain()[1]);
                function->evaluate(point, colour);
                samples.push_back(m_space.gray(colour));
            }
        }
        return sampled(m_pdf, function->domain(), size, encode, samples);
    }

    QPDFObjectHandle weighedSamples(QPDFObjectHandle function)
    {
        const SampleTable table = SampleTable::read(function);
        const std::vector<Interval> range = intervals(function.getDict().getKey("/Range"));
        if (table.outputs != m_space.components())
            refuse();
        std::vector<double> grays;
        std::vector<double> colour(table.outputs);
        for (size_t i = 0; i < table.samples.size(); i += table.outputs) {
            for (size_t j = 0; j < colour.size(); ++j)
                colour[j] = range[j].clip(table.samples[i + j]);
            grays.push_back(m_space.gray(colour));
        }
        return sampled(m_pdf, intervals(function.getDict().getKey("/Domain")), table.size, table.encode,
                       grays);
    }

    QPDFObjectHandle weighedEnds(const QPDFObjectHandle &function)
    {
        QPDFObjectHandle dictionary = dictionaryOf(function);
        if (!isRgb() || dictionary.hasKey("/Range"))
            return resampled(function);
        const std::vector<double> first = coefficients(dictionary, "/C0", 3);
        const std::vector<double> last = coefficients(dictionary, "/C1", 3);
        if (!isColour(first) || !isColour(last))
            return resampled(function);
        QPDFObjectHandle copy = dictionary.shallowCopy();
        copy.replaceKey("/C0", QPDFObjectHandle::newArray({real(m_space.gray(first))}));
        copy.replaceKey("/C1", QPDFObjectHandle::newArray({real(m_space.gray(last))}));
        return copy;
    }

    QPDFObjectHandle stitched(const QPDFObjectHandle &function, int depth)
    {
        QPDFObjectHandle copy = dictionaryOf(function).shallowCopy();
        QPDFObjectHandle parts = copy.getKey("/Functions");
        if (!parts.isArray())
            refuse();
        QPDFObjectHandle grays = QPDFObjectHandle::newArray();
        for (const QPDFObjectHandle &part : parts.aitems())
            grays.appendItem(rewritten(part, depth + 1));
        copy.replaceKey("/Functions", grays);
        copy.removeKey("/Range");
        return copy;
    }

    QPDFObjectHandle weighedProgram(QPDFObjectHandle function)
    {
        const bool isCmyk = m_space.family() == ColourSpace::Family::Cmyk;
        const std::vector<Interval> range = intervals(dictionaryOf(function).getKey("/Range"));
        if (range.size() != m_space.components())
            refuse();
        if (!isRgb() && !isCmyk)
            return resampled(function);
        const std::string body = Calculator(decodedData(function)).body();
        const std::string gray = isCmyk ? weighing(inkWeights, range) + " dup 1 gt {pop 1} if 1 exch sub"
                                        : weighing(lumaWeights, range);
        QPDFObjectHandle copy = QPDFObjectHandle::newStream(&m_pdf, "{" + body + gray + "}");
        copy.getDict().replaceKey("/FunctionType", QPDFObjectHandle::newInteger(4));
        copy.getDict().replaceKey("/Domain", function.getDict().getKey("/Domain"));
        copy.getDict().replaceKey("/Range", unitInterval());
        return copy;
    }

    QPDF &m_pdf;
    const ColourSpace &m_space;
    int m_parts = 0;
};

} // namespace

QPDFObjectHandle grayFunction(QPDF &pdf, const QPDFObjectHandle &function, const ColourSpace &space)
{
    return Rewriter(pdf, space).rewritten(function, 0);
}
