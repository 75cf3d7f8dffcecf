#include "engine/pdf/gray/grayshading.h"

#include "engine/pdf/gray/luma.h"
#include "engine/pdf/reading/streamdata.h"

#include <qpdf/QUtil.hh>

#include <algorithm>
#include <set>
#include <string_view>

namespace
{

constexpr int decimals = 6;
/// A stitching function for all stops, and in it a function for each pair of stops.
constexpr int maximumDepth = 2;

constexpr std::array<std::string_view, 6> shadingKeys = {"/ColorSpace", "/Coords",   "/Domain",
                                                         "/Extend",     "/Function", "/ShadingType"};

[[noreturn]] void refuse()
{
    refuseGray("a gradient of an unknown kind");
}

/// The gray of the RGB colour at `key` of a function.
QPDFObjectHandle grayColour(QPDFObjectHandle function, const char *key)
{
    QPDFObjectHandle array = function.getKey(key);
    std::array<double, 3> colour{};
    if (!array.isArray() || array.getArrayNItems() != static_cast<int>(colour.size()))
        refuse();
    for (size_t i = 0; i < colour.size(); ++i) {
        QPDFObjectHandle item = array.getArrayItem(static_cast<int>(i));
        colour[i] = item.isNumber() ? item.getNumericValue() : -1;
        // Viewers clip after the interpolation, so the gray would not be linear.
        if (colour[i] < 0 || colour[i] > 1)
            refuse();
    }
    return QPDFObjectHandle::newArray({QPDFObjectHandle::newReal(grayOf(colour), decimals)});
}

QPDFObjectHandle grayInterpolation(QPDFObjectHandle function)
{
    if (function.hasKey("/Range"))
        refuse();
    QPDFObjectHandle gray = function.shallowCopy();
    for (const char *key : {"/C0", "/C1"})
        gray.replaceKey(key, grayColour(function, key));
    return gray;
}

/// PostScript that replaces the red, green and blue on top of the stack by their gray: each clipped and
/// multiplied by its weight, then added.
std::string grayProgramSuffix()
{
    std::string program;
    for (size_t i = lumaWeights.size(); i-- > 0;) {
        const bool isLast = i + 1 == lumaWeights.size();
        program += isLast ? "" : " exch";
        program += " dup 0 lt {pop 0} if dup 1 gt {pop 1} if " +
                   QUtil::double_to_string(lumaWeights[i], decimals) + " mul";
        program += isLast ? "" : " add";
    }
    return program;
}

class ShadingConverter
{
public:
    void makeGray(QPDFObjectHandle shading)
    {
        if (!shading.isDictionary() || !shading.getKey("/ColorSpace").isNameAndEquals("/DeviceRGB"))
            refuse();
        for (const std::string &key : shading.getKeys()) {
            if (std::find(shadingKeys.begin(), shadingKeys.end(), key) == shadingKeys.end())
                refuse();
        }
        shading.replaceKey("/Function", grayFunction(shading.getKey("/Function"), 1));
        shading.replaceKey("/ColorSpace", QPDFObjectHandle::newName("/DeviceGray"));
    }

private:
    QPDFObjectHandle grayFunction(QPDFObjectHandle function, int depth)
    {
        QPDFObjectHandle dictionary = function.isStream() ? function.getDict() : function;
        if (depth > maximumDepth || !dictionary.isDictionary() ||
            !dictionary.getKey("/FunctionType").isInteger())
            refuse();
        const long long type = dictionary.getKey("/FunctionType").getIntValue();
        if (type == 4 && function.isStream())
            return grayProgram(function);
        if (type == 2 && function.isDictionary())
            return grayInterpolation(function);
        if (type == 3 && function.isDictionary())
            return grayStitching(function, depth);
        refuse();
    }

    QPDFObjectHandle grayStitching(QPDFObjectHandle function, int depth)
    {
        QPDFObjectHandle parts = function.getKey("/Functions");
        if (!parts.isArray() || function.hasKey("/Range"))
            refuse();
        QPDFObjectHandle grays = QPDFObjectHandle::newArray();
        for (const QPDFObjectHandle &part : parts.aitems())
            grays.appendItem(grayFunction(part, depth + 1));
        QPDFObjectHandle gray = function.shallowCopy();
        gray.replaceKey("/Functions", grays);
        return gray;
    }

    /// A PostScript calculator function, changed in place.
    QPDFObjectHandle grayProgram(QPDFObjectHandle function)
    {
        if (!m_programs.insert(function.getObjGen()).second)
            return function;
        QPDFObjectHandle range = function.getDict().getKey("/Range");
        const std::string program = decodedData(function);
        const size_t begin = program.find('{');
        const size_t end = program.rfind('}');
        if (!range.isArray() || range.getArrayNItems() != 6 || begin == std::string::npos ||
            end == std::string::npos || end < begin)
            refuse();
        // The program may end with a comment: start a new line.
        function.replaceStreamData(program.substr(begin, end - begin) + '\n' + grayProgramSuffix() + '}',
                                   QPDFObjectHandle::newNull(), QPDFObjectHandle::newNull());
        function.getDict().replaceKey("/Range", QPDFObjectHandle::parse("[0 1]"));
        return function;
    }

    /// Programs that are already gray: shadings may share them.
    std::set<QPDFObjGen> m_programs;
};

} // namespace

void makeShadingsGray(const std::vector<QPDFObjectHandle> &shadings)
{
    ShadingConverter converter;
    for (const QPDFObjectHandle &shading : shadings)
        converter.makeGray(shading);
}
