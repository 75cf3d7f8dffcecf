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
/// A function of gradient stops, and those between two stops.
constexpr int maximumDepth = 2;

constexpr std::array<std::string_view, 6> shadingKeys = {"/ColorSpace", "/Coords",   "/Domain",
                                                         "/Extend",     "/Function", "/ShadingType"};

[[noreturn]] void refuse()
{
    refuseGray("a gradient of an unknown kind");
}

/// `key` of a function: a colour, from 0 to 1 each.
QPDFObjectHandle grayColour(QPDFObjectHandle function, const char *key)
{
    QPDFObjectHandle array = function.getKey(key);
    std::array<double, 3> colour{};
    if (!array.isArray() || array.getArrayNItems() != static_cast<int>(colour.size()))
        refuse();
    for (size_t i = 0; i < colour.size(); ++i) {
        QPDFObjectHandle item = array.getArrayItem(static_cast<int>(i));
        colour[i] = item.isNumber() ? item.getNumericValue() : -1;
        // Clipped, its gray would not follow linearly.
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

/// What turns the red, green and blue on top of a program's stack into their gray: each clipped, then weighed
/// and added up.
std::string weighing()
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

class Grayer
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
        // A new line, in case the program ends in a comment.
        function.replaceStreamData(program.substr(begin, end - begin) + '\n' + weighing() + '}',
                                   QPDFObjectHandle::newNull(), QPDFObjectHandle::newNull());
        function.getDict().replaceKey("/Range", QPDFObjectHandle::parse("[0 1]"));
        return function;
    }

    /// Those that are gray, for shadings may share them.
    std::set<QPDFObjGen> m_programs;
};

} // namespace

void makeShadingsGray(const std::vector<QPDFObjectHandle> &shadings)
{
    Grayer grayer;
    for (const QPDFObjectHandle &shading : shadings)
        grayer.makeGray(shading);
}
