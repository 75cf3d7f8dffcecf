#include "engine/pdf/grayshading.h"

#include "engine/pdf/bits.h"
#include "engine/pdf/colourspace.h"
#include "engine/pdf/grayfunction.h"
#include "engine/pdf/streamdata.h"

#include <array>
#include <cmath>
#include <stdexcept>

namespace
{

constexpr int decimals = 4;

/// How many points and colours stand together in the data of a mesh, table 84 and following.
struct MeshRecord {
    int points;
    int colours;
};

struct MeshType {
    int shadingType;
    bool hasFlags;
    MeshRecord whole;     ///< with flag 0, or without flags
    MeshRecord continued; ///< with flag 1 to 3, sharing an edge with the one before
};

constexpr std::array<MeshType, 4> meshTypes = {{
    {4, true, {1, 1}, {1, 1}},
    {5, false, {1, 1}, {1, 1}},
    {6, true, {12, 4}, {8, 2}},
    {7, true, {16, 4}, {12, 2}},
}};

[[noreturn]] void refuse()
{
    throw std::runtime_error("a shading is malformed");
}

int intOf(QPDFObjectHandle dictionary, const char *key)
{
    QPDFObjectHandle value = dictionary.getKey(key);
    if (!value.isInteger())
        refuse();
    return value.getIntValueAsInt();
}

int bitsOf(const QPDFObjectHandle &dictionary, const char *key, int maximum)
{
    const int bits = intOf(dictionary, key);
    if (bits < 1 || bits > maximum)
        refuse();
    return bits;
}

/// Copies the data of a mesh, each colour of several components replaced by its gray.
class MeshRewriter
{
public:
    MeshRewriter(QPDFObjectHandle stream, const MeshType &type, const ColourSpace &space)
        : m_type(type), m_space(space), m_data(decodedData(stream)), m_reader(m_data),
          m_coordinateBits(bitsOf(stream.getDict(), "/BitsPerCoordinate", 32)),
          m_colourBits(bitsOf(stream.getDict(), "/BitsPerComponent", 16)),
          m_flagBits(type.hasFlags ? bitsOf(stream.getDict(), "/BitsPerFlag", 8) : 0),
          m_decode(intervals(stream.getDict().getKey("/Decode"))), m_colour(space.components())
    {
        if (m_decode.size() != 2 + space.components())
            refuse();
    }

    std::string rewritten()
    {
        while (m_reader.bitsLeft() >= leastBits()) {
            const uint32_t flag = m_type.hasFlags ? m_reader.read(m_flagBits) : 0;
            if (m_type.hasFlags)
                m_writer.write(flag, m_flagBits);
            const MeshRecord &record = (flag & 3U) == 0 ? m_type.whole : m_type.continued;
            for (int i = 0; i < 2 * record.points; ++i)
                m_writer.write(m_reader.read(m_coordinateBits), m_coordinateBits);
            for (int i = 0; i < record.colours; ++i)
                copyColour();
            m_reader.skipToByte();
            m_writer.skipToByte();
        }
        return m_writer.bytes();
    }

private:
    size_t leastBits() const
    {
        const int bits = m_flagBits + 2 * m_type.continued.points * m_coordinateBits;
        return static_cast<size_t>(bits);
    }

    void copyColour()
    {
        const Interval stored{0, maximumOf(m_colourBits)};
        for (size_t i = 0; i < m_colour.size(); ++i)
            m_colour[i] = stored.mapped(m_reader.read(m_colourBits), m_decode[2 + i]);
        m_writer.write(static_cast<uint32_t>(std::lround(m_space.gray(m_colour) * stored.to)), m_colourBits);
    }

    const MeshType &m_type;
    const ColourSpace &m_space;
    std::string m_data;
    BitReader m_reader;
    BitWriter m_writer;
    int m_coordinateBits;
    int m_colourBits;
    int m_flagBits;
    std::vector<Interval> m_decode;
    std::vector<double> m_colour;
};

void makeMeshGray(QPDFObjectHandle shading, const ColourSpace &space)
{
    QPDFObjectHandle dictionary = shading.getDict();
    const int type = intOf(dictionary, "/ShadingType");
    for (const MeshType &mesh : meshTypes) {
        if (mesh.shadingType != type)
            continue;
        replaceFlateData(shading, flateCompressed(MeshRewriter(shading, mesh, space).rewritten()));
        QPDFObjectHandle decode = dictionary.getKey("/Decode");
        QPDFObjectHandle grays = QPDFObjectHandle::newArray();
        for (int i = 0; i < 4; ++i)
            grays.appendItem(decode.getArrayItem(i));
        grays.appendItem(QPDFObjectHandle::newInteger(0));
        grays.appendItem(QPDFObjectHandle::newInteger(1));
        dictionary.replaceKey("/Decode", grays);
        return;
    }
    refuse();
}

void makeBackgroundGray(QPDFObjectHandle dictionary, const ColourSpace &space)
{
    QPDFObjectHandle background = dictionary.getKey("/Background");
    if (!background.isArray())
        return;
    std::vector<double> colour;
    for (QPDFObjectHandle item : background.aitems())
        colour.push_back(item.isNumber() ? item.getNumericValue() : 0);
    dictionary.replaceKey(
        "/Background", QPDFObjectHandle::newArray({QPDFObjectHandle::newReal(space.gray(colour), decimals)}));
}

} // namespace

void makeShadingGray(QPDF &pdf, QPDFObjectHandle shading, const QPDFObjectHandle &resources)
{
    QPDFObjectHandle dictionary = shading.isStream() ? shading.getDict() : shading;
    if (!dictionary.isDictionary())
        refuse();
    const auto space = ColourSpace::read(dictionary.getKey("/ColorSpace"), resources);
    if (space->family() == ColourSpace::Family::Pattern)
        refuse();
    if (space->keepsNumbers()) {
        // Of the spaces that stay, only a palette changes.
        dictionary.replaceKey("/ColorSpace", space->grayCounterpart());
        return;
    }
    makeBackgroundGray(dictionary, *space);
    if (dictionary.hasKey("/Function"))
        dictionary.replaceKey("/Function", grayFunction(pdf, dictionary.getKey("/Function"), *space));
    else if (shading.isStream())
        makeMeshGray(shading, *space);
    else
        refuse();
    dictionary.replaceKey("/ColorSpace", space->grayCounterpart());
}
