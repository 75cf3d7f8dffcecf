#include "engine/pdf/gray/graycontent.h"

#include "engine/pdf/gray/luma.h"
#include "engine/pdf/reading/operatorfilter.h"

#include <qpdf/QUtil.hh>

#include <algorithm>
#include <array>
#include <string_view>

namespace
{

constexpr int decimals = 4;

/// The other operators that set or draw colours (tables 74, 77 and 92).
constexpr std::array<std::string_view, 6> refusedOperators = {"k", "K", "sc", "SC", "sh", "BI"};

class GrayFilter : public OperatorFilter
{
protected:
    void handleOperator(const QPDFTokenizer::Token &token) override
    {
        const std::string &name = token.getRawValue();
        if (name == "rg" || name == "RG")
            return setGray(name == "rg" ? " g" : " G");
        const bool selectsSpace = name == "cs" || name == "CS";
        const bool setsColour = name == "scn" || name == "SCN";
        if ((selectsSpace && names() != std::vector<std::string>{"/Pattern"}) ||
            (setsColour && (!numbers().empty() || names().size() != 1)) ||
            std::find(refusedOperators.begin(), refusedOperators.end(), name) != refusedOperators.end())
            refuseGray("the operator " + name + " in its content");
        pass(token);
    }

private:
    void setGray(const char *gray)
    {
        if (numbers().size() != lumaWeights.size())
            refuseGray("a colour that is not red, green and blue");
        const std::vector<double> colour = lastNumbers(lumaWeights.size());
        separate();
        write(QUtil::double_to_string(grayOf(std::span<const double, 3>(colour)), decimals));
        write(gray);
    }
};

} // namespace

std::string grayContent(const std::string &content)
{
    GrayFilter filter;
    return filteredContent(content, filter);
}
