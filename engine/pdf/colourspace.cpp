#include "engine/pdf/colourspace.h"

#include "engine/pdf/bits.h"
#include "engine/pdf/streamdata.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string_view>

namespace
{

constexpr int maximumDepth = 8;
constexpr size_t maximumComponents = 32;
constexpr int maximumIndex = 255;

struct DeviceSpace {
    std::string_view name;
    ColourSpace::Family family;
    size_t components;
};

constexpr std::array<DeviceSpace, 8> deviceSpaces = {{
    {"/DeviceGray", ColourSpace::Family::Gray, 1},
    {"/G", ColourSpace::Family::Gray, 1},
    {"/CalGray", ColourSpace::Family::Gray, 1},
    {"/DeviceRGB", ColourSpace::Family::Rgb, 3},
    {"/RGB", ColourSpace::Family::Rgb, 3},
    {"/DeviceCMYK", ColourSpace::Family::Cmyk, 4},
    {"/CMYK", ColourSpace::Family::Cmyk, 4},
    {"/CalCMYK", ColourSpace::Family::Cmyk, 4},
}};

/// sRGB's share of linear red, green and blue in X, Y and Z, turned round (IEC 61966-2-1).
constexpr std::array<std::array<double, 3>, 3> rgbFromXyz = {{
    {3.2404542, -1.5371385, -0.4985314},
    {-0.9692660, 1.8760108, 0.0415560},
    {0.0556434, -0.2040259, 1.0572252},
}};
constexpr std::array<double, 3> srgbWhite = {0.95047, 1.0, 1.08883};

[[noreturn]] void refuse()
{
    throw std::runtime_error("a colour space is malformed");
}

double unit(double value)
{
    return Interval{0, 1}.clip(value);
}

double gammaEncoded(double linear)
{
    return linear <= 0.0031308 ? 12.92 * linear : 1.055 * std::pow(linear, 1 / 2.4) - 0.055;
}

/// The inverse of the cube root with its straight foot (ISO 32000-1, 8.6.5.4).
double labStage(double value)
{
    return value >= 6.0 / 29 ? value * value * value : 108.0 / 841 * (value - 4.0 / 29);
}

double rgbGray(std::span<const double> colour)
{
    double gray = 0;
    for (size_t i = 0; i < lumaWeights.size(); ++i)
        gray += lumaWeights[i] * unit(colour[i]);
    return gray;
}

double cmykGray(std::span<const double> colour)
{
    double ink = 0;
    for (size_t i = 0; i < inkWeights.size(); ++i)
        ink += inkWeights[i] * unit(colour[i]);
    return 1 - std::min(1.0, ink);
}

/// The gray of a colour given as X, Y and Z that are those of sRGB's white for white.
double xyzGray(const std::array<double, 3> &xyz)
{
    std::array<double, 3> rgb{};
    for (size_t i = 0; i < rgb.size(); ++i) {
        for (size_t j = 0; j < xyz.size(); ++j)
            rgb[i] += rgbFromXyz[i][j] * xyz[j];
        rgb[i] = gammaEncoded(unit(rgb[i]));
    }
    return rgbGray(rgb);
}

/// Takes the numbers of an array if it has as many as there are; otherwise they stay as they are.
template <size_t count>
void readNumbers(QPDFObjectHandle array, std::array<double, count> &numbers)
{
    if (!array.isArray() || array.getArrayNItems() != static_cast<int>(count))
        return;
    for (size_t i = 0; i < count; ++i) {
        QPDFObjectHandle item = array.getArrayItem(static_cast<int>(i));
        numbers[i] = item.isNumber() ? item.getNumericValue() : 0;
    }
}

char byteOf(double gray)
{
    return static_cast<char>(static_cast<unsigned char>(std::lround(unit(gray) * 255)));
}

QPDFObjectHandle name(const char *text)
{
    return QPDFObjectHandle::newName(text);
}

} // namespace

std::shared_ptr<const ColourSpace> ColourSpace::read(const QPDFObjectHandle &object,
                                                     const QPDFObjectHandle &resources)
{
    return read(object, resources, 0);
}

std::shared_ptr<ColourSpace> ColourSpace::read(QPDFObjectHandle object, const QPDFObjectHandle &resources,
                                               int depth)
{
    if (depth > maximumDepth)
        refuse();
    if (object.isName())
        return named(object.getName(), resources, depth);
    if (!object.isArray() || object.getArrayNItems() == 0 || !object.getArrayItem(0).isName())
        refuse();
    const std::string family = object.getArrayItem(0).getName();
    if (object.getArrayNItems() == 1)
        return named(family, QPDFObjectHandle::newNull(), depth);
    std::shared_ptr<ColourSpace> space(new ColourSpace);
    space->readFamily(family, object, resources, depth);
    if (space->m_family == Family::Gray)
        space->m_object = object;
    return space;
}

std::shared_ptr<ColourSpace> ColourSpace::named(const std::string &name, QPDFObjectHandle resources,
                                                int depth)
{
    std::shared_ptr<ColourSpace> space(new ColourSpace);
    for (const DeviceSpace &device : deviceSpaces) {
        if (device.name != name)
            continue;
        space->m_family = device.family;
        space->m_components = device.components;
        space->m_object = QPDFObjectHandle::newName("/DeviceGray");
        return space;
    }
    if (name == "/Pattern") {
        space->m_family = Family::Pattern;
        space->m_components = 0;
        return space;
    }
    QPDFObjectHandle spaces =
        resources.isDictionary() ? resources.getKey("/ColorSpace") : QPDFObjectHandle::newNull();
    if (!spaces.isDictionary() || !spaces.hasKey(name))
        refuse();
    return read(spaces.getKey(name), resources, depth + 1);
}

void ColourSpace::readFamily(const std::string &family, QPDFObjectHandle object,
                             const QPDFObjectHandle &resources, int depth)
{
    QPDFObjectHandle second = object.getArrayItem(1);
    if (family == "/CalGray") {
        m_family = Family::Gray;
    } else if (family == "/CalRGB") {
        readCalibration(second);
    } else if (family == "/CalCMYK") {
        m_family = Family::Cmyk;
        m_components = 4;
    } else if (family == "/Lab") {
        readLab(second);
    } else if (family == "/ICCBased") {
        readProfile(second);
    } else if (family == "/Indexed" || family == "/I") {
        readPalette(object, resources, depth);
    } else if (family == "/Separation" || family == "/DeviceN") {
        readTint(object, resources, depth);
    } else if (family == "/Pattern") {
        m_family = Family::Pattern;
        m_base = read(second, resources, depth + 1);
        m_components = m_base->components();
    } else {
        refuse();
    }
}

void ColourSpace::readProfile(QPDFObjectHandle profile)
{
    QPDFObjectHandle count =
        profile.isStream() ? profile.getDict().getKey("/N") : QPDFObjectHandle::newNull();
    if (!count.isInteger())
        refuse();
    switch (count.getIntValueAsInt()) {
    case 1:
        m_family = Family::Gray;
        break;
    case 3:
        m_family = Family::Rgb;
        break;
    case 4:
        m_family = Family::Cmyk;
        break;
    default:
        refuse();
    }
    m_components = static_cast<size_t>(count.getIntValueAsInt());
}

void ColourSpace::readLab(QPDFObjectHandle parameters)
{
    m_family = Family::Lab;
    m_components = 3;
    if (!parameters.isDictionary())
        refuse();
    const std::vector<Interval> range = intervals(parameters.getKey("/Range"));
    if (range.size() == 2)
        m_labRange = {range[0], range[1]};
}

void ColourSpace::readCalibration(QPDFObjectHandle parameters)
{
    m_family = Family::CalRgb;
    m_components = 3;
    if (!parameters.isDictionary())
        refuse();
    readNumbers(parameters.getKey("/WhitePoint"), m_white);
    readNumbers(parameters.getKey("/Gamma"), m_gamma);
    readNumbers(parameters.getKey("/Matrix"), m_matrix);
}

void ColourSpace::readPalette(QPDFObjectHandle object, const QPDFObjectHandle &resources, int depth)
{
    m_family = Family::Indexed;
    m_components = 1;
    if (object.getArrayNItems() < 4 || !object.getArrayItem(2).isInteger())
        refuse();
    m_base = read(object.getArrayItem(1), resources, depth + 1);
    if (m_base->family() == Family::Indexed || m_base->family() == Family::Pattern)
        refuse();
    const int last = std::clamp(object.getArrayItem(2).getIntValueAsInt(), 0, maximumIndex);
    const size_t length = (static_cast<size_t>(last) + 1) * m_base->components();
    QPDFObjectHandle table = object.getArrayItem(3);
    if (table.isString())
        m_palette = table.getStringValue();
    else
        m_palette = decodedData(table, length, Excess::Ignore);
    // A palette that ends early goes on in zeros.
    m_palette.resize(length, '\0');
}

void ColourSpace::readTint(QPDFObjectHandle object, const QPDFObjectHandle &resources, int depth)
{
    m_family = Family::Tint;
    if (object.getArrayNItems() < 4)
        refuse();
    QPDFObjectHandle names = object.getArrayItem(1);
    m_components = names.isArray() ? static_cast<size_t>(names.getArrayNItems()) : 1;
    m_base = read(object.getArrayItem(2), resources, depth + 1);
    m_tint = Function::read(object.getArrayItem(3));
    const bool plainBase = m_base->family() != Family::Indexed && m_base->family() != Family::Pattern &&
                           m_base->family() != Family::Tint;
    if (!plainBase || m_components == 0 || m_components > maximumComponents ||
        m_tint->inputs() != m_components || m_tint->outputs() != m_base->components())
        refuse();
}

double ColourSpace::gray(std::span<const double> colour) const
{
    if (colour.size() < m_components)
        refuse();
    switch (m_family) {
    case Family::Gray:
        return unit(colour[0]);
    case Family::Rgb:
        return rgbGray(colour);
    case Family::Cmyk:
        return cmykGray(colour);
    case Family::CalRgb:
        return calibratedGray(colour);
    case Family::Lab:
        return labGray(colour);
    case Family::Indexed:
        return paletteGray(colour[0]);
    case Family::Tint: {
        std::array<double, maximumComponents> base{};
        const std::span<double> out(base.data(), m_base->components());
        m_tint->evaluate(colour.first(m_components), out);
        return m_base->gray(out);
    }
    case Family::Pattern:
        return m_base ? m_base->gray(colour) : 0;
    }
    return 0;
}

double ColourSpace::labGray(std::span<const double> colour) const
{
    const double middle = (Interval{0, 100}.clip(colour[0]) + 16) / 116;
    // The white point of the space becomes that of sRGB: paper white stays white.
    const std::array<double, 3> xyz = {
        srgbWhite[0] * labStage(middle + m_labRange[0].clip(colour[1]) / 500),
        srgbWhite[1] * labStage(middle),
        srgbWhite[2] * labStage(middle - m_labRange[1].clip(colour[2]) / 200),
    };
    return xyzGray(xyz);
}

double ColourSpace::calibratedGray(std::span<const double> colour) const
{
    std::array<double, 3> xyz{};
    for (size_t i = 0; i < m_gamma.size(); ++i) {
        const double linear = std::pow(unit(colour[i]), m_gamma[i]);
        for (size_t j = 0; j < xyz.size(); ++j)
            xyz[j] += m_matrix[3 * i + j] * linear;
    }
    // The white point of the space becomes that of sRGB: paper white stays white.
    for (size_t j = 0; j < xyz.size(); ++j)
        xyz[j] *= m_white[j] > 0 ? srgbWhite[j] / m_white[j] : 0;
    return xyzGray(xyz);
}

std::vector<double> ColourSpace::paletteColour(size_t index) const
{
    std::vector<double> colour(m_base->components());
    for (size_t i = 0; i < colour.size(); ++i) {
        const auto byte = static_cast<unsigned char>(m_palette[index * colour.size() + i]);
        colour[i] = Interval{0, 255}.mapped(byte, m_base->imageRange(i, 8));
    }
    return colour;
}

double ColourSpace::paletteGray(double index) const
{
    const size_t count = m_palette.size() / m_base->components();
    const double last = static_cast<double>(count) - 1;
    return m_base->gray(paletteColour(static_cast<size_t>(Interval{0, last}.clip(std::floor(index)))));
}

std::vector<double> ColourSpace::initialColour() const
{
    std::vector<double> colour(m_components, m_family == Family::Tint ? 1.0 : 0.0);
    if (m_family == Family::Cmyk)
        colour.back() = 1;
    if (m_family == Family::Lab) {
        colour[1] = m_labRange[0].clip(0);
        colour[2] = m_labRange[1].clip(0);
    }
    return colour;
}

Interval ColourSpace::imageRange(size_t component, int bits) const
{
    if (m_family == Family::Indexed)
        return {0, maximumOf(bits)};
    if (m_family == Family::Lab)
        return component == 0 ? Interval{0, 100} : m_labRange[component - 1];
    return {0, 1};
}

QPDFObjectHandle ColourSpace::grayCounterpart() const
{
    if (m_family == Family::Gray)
        return m_object;
    if (m_family == Family::Indexed) {
        const std::string palette = grayPalette();
        return QPDFObjectHandle::newArray(
            {name("/Indexed"), name("/DeviceGray"),
             QPDFObjectHandle::newInteger(static_cast<long long>(palette.size()) - 1),
             QPDFObjectHandle::newString(palette)});
    }
    if (m_family == Family::Pattern)
        return m_base ? QPDFObjectHandle::newArray({name("/Pattern"), m_base->grayCounterpart()})
                      : name("/Pattern");
    return name("/DeviceGray");
}

bool ColourSpace::keepsNumbers() const
{
    if (m_family == Family::Pattern)
        return !m_base || m_base->keepsNumbers();
    return m_family == Family::Gray || m_family == Family::Indexed;
}

std::string ColourSpace::grayPalette() const
{
    std::string grays;
    if (m_family != Family::Indexed)
        return grays;
    const size_t count = m_palette.size() / m_base->components();
    for (size_t index = 0; index < count; ++index)
        grays.push_back(byteOf(paletteGray(static_cast<double>(index))));
    return grays;
}

std::string ColourSpace::rgbPalette() const
{
    if (m_family != Family::Indexed)
        return {};
    if (m_base->family() == Family::Rgb || m_base->family() == Family::CalRgb)
        return m_palette;
    std::string colours;
    if (m_base->family() == Family::Gray) {
        for (const char gray : m_palette)
            colours.append(3, gray);
    }
    return colours;
}
