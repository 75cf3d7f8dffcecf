#include "engine/pdf/graycontent.h"

#include "engine/pdf/colourspace.h"
#include "engine/pdf/inlineimage.h"

#include <qpdf/Pl_QPDFTokenizer.hh>
#include <qpdf/Pl_String.hh>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFTokenizer.hh>
#include <qpdf/QUtil.hh>

#include <algorithm>
#include <array>
#include <map>
#include <string_view>
#include <vector>

namespace
{

using Token = QPDFTokenizer::Token;
using Space = std::shared_ptr<const ColourSpace>;

constexpr int decimals = 4;
/// Deeper graphics states are not told apart. Pages nest a few dozen.
constexpr size_t maximumStates = 4096;

enum class Use { Fill, Stroke };
enum class Action { Device, Select, Set, Save, Restore, BeginImage, Pass };

struct Operator {
    std::string_view name;
    Action action;
    Use use;
    std::string_view space; ///< of a device operator
};

constexpr std::array<Operator, 15> operators = {{
    {"rg", Action::Device, Use::Fill, "/DeviceRGB"},
    {"RG", Action::Device, Use::Stroke, "/DeviceRGB"},
    {"k", Action::Device, Use::Fill, "/DeviceCMYK"},
    {"K", Action::Device, Use::Stroke, "/DeviceCMYK"},
    {"g", Action::Device, Use::Fill, "/DeviceGray"},
    {"G", Action::Device, Use::Stroke, "/DeviceGray"},
    {"cs", Action::Select, Use::Fill, {}},
    {"CS", Action::Select, Use::Stroke, {}},
    {"sc", Action::Set, Use::Fill, {}},
    {"SC", Action::Set, Use::Stroke, {}},
    {"scn", Action::Set, Use::Fill, {}},
    {"SCN", Action::Set, Use::Stroke, {}},
    {"q", Action::Save, Use::Fill, {}},
    {"Q", Action::Restore, Use::Fill, {}},
    {"BI", Action::BeginImage, Use::Fill, {}},
}};

const Operator *operatorNamed(std::string_view name)
{
    if (name.size() > 3)
        return nullptr;
    const auto *const found = std::find_if(operators.begin(), operators.end(),
                                           [&](const Operator &candidate) { return candidate.name == name; });
    return found == operators.end() ? nullptr : found;
}

struct Colours {
    Space fill;
    Space stroke;
};

class GrayFilter : public QPDFObjectHandle::TokenFilter
{
public:
    GrayFilter(QPDF &pdf, QPDFObjectHandle resources, InitialColour initial)
        : m_pdf(pdf), m_resources(resources)
    {
        if (initial == InitialColour::Black)
            m_colours = {spaceNamed("/DeviceGray"), spaceNamed("/DeviceGray")};
    }

    void handleToken(Token const &token) override
    {
        if (m_inImage) {
            handleImageToken(token);
        } else if (token.getType() != QPDFTokenizer::tt_word) {
            m_pending += token.getRawValue();
            noteOperand(token);
        } else {
            handleOperator(token);
        }
    }

    void handleEOF() override
    {
        pass();
        if (m_inImage)
            write(m_image.source());
    }

private:
    void noteOperand(const Token &token)
    {
        const bool isNumber =
            token.getType() == QPDFTokenizer::tt_integer || token.getType() == QPDFTokenizer::tt_real;
        if (isNumber)
            m_numbers.push_back(token.getRawValue());
        else if (token.getType() == QPDFTokenizer::tt_name)
            m_name = token;
    }

    void handleOperator(const Token &token)
    {
        const Operator *known = operatorNamed(token.getRawValue());
        switch (known ? known->action : Action::Pass) {
        case Action::Device:
            setDevice(token, *known);
            break;
        case Action::Select:
            select(token, *known);
            break;
        case Action::Set:
            set(token, *known);
            break;
        case Action::BeginImage:
            separate();
            m_inImage = true;
            m_image = InlineImage();
            break;
        case Action::Save:
            save(token);
            break;
        case Action::Restore:
            restore(token);
            break;
        case Action::Pass:
            pass(token);
            break;
        }
        m_pending.clear();
        m_numbers.clear();
        m_name = Token();
    }

    void handleImageToken(const Token &token)
    {
        if (m_image.take(token))
            return;
        m_inImage = false;
        write(m_image.gray(m_pdf, m_resources));
    }

    void setDevice(const Token &token, const Operator &device)
    {
        const Space space = spaceNamed(std::string(device.space));
        current(device.use) = space;
        if (space->family() == ColourSpace::Family::Gray)
            pass(token);
        else
            setGray(space->gray(operands(space->components())), device.use);
    }

    void select(const Token &token, const Operator &op)
    {
        const Space space = spaceNamed(m_name.getValue());
        current(op.use) = space;
        if (space->keepsNumbers() || space->family() == ColourSpace::Family::Pattern)
            pass(token);
        else
            setGray(space->gray(space->initialColour()), op.use);
    }

    void set(const Token &token, const Operator &op)
    {
        const bool hasPattern = m_name.getType() == QPDFTokenizer::tt_name;
        const Space space = current(op.use) ? current(op.use) : guessed();
        if (m_numbers.empty() || !space || space->keepsNumbers()) {
            pass(token);
        } else if (hasPattern) {
            separate();
            write(number(space->gray(operands(space->components()))));
            write(" ");
            writeToken(m_name);
            write(" ");
            write(token.getRawValue());
        } else {
            setGray(space->gray(operands(space->components())), op.use);
        }
    }

    /// A form may go on in the colour space of whatever shows it, which is not known here. How many numbers
    /// it gives tells nearly as much.
    Space guessed()
    {
        switch (m_numbers.size()) {
        case 3:
            return spaceNamed("/DeviceRGB");
        case 4:
            return spaceNamed("/DeviceCMYK");
        default:
            return nullptr;
        }
    }

    void save(const Token &token)
    {
        pass(token);
        if (m_saved.size() < maximumStates)
            m_saved.push_back(m_colours);
        else
            ++m_unsaved;
    }

    void restore(const Token &token)
    {
        pass(token);
        if (m_unsaved > 0) {
            --m_unsaved;
        } else if (!m_saved.empty()) {
            m_colours = m_saved.back();
            m_saved.pop_back();
        }
    }

    Space &current(Use use) { return use == Use::Fill ? m_colours.fill : m_colours.stroke; }

    Space spaceNamed(const std::string &name)
    {
        Space &space = m_spaces[name];
        if (!space)
            space = ColourSpace::read(QPDFObjectHandle::newName(name), m_resources);
        return space;
    }

    /// The last `count` numbers before the operator; missing ones are 0.
    std::vector<double> operands(size_t count) const
    {
        std::vector<double> values(count, 0.0);
        const size_t given = std::min(count, m_numbers.size());
        for (size_t i = 0; i < given; ++i)
            values[i] = QPDFObjectHandle::newReal(m_numbers[m_numbers.size() - given + i]).getNumericValue();
        return values;
    }

    /// What keeps a rewritten operator apart from the one before.
    void separate()
    {
        const char first = m_pending.empty() || m_pending.front() == ' ' ? ' ' : '\n';
        write(&first, 1);
    }

    static std::string number(double gray) { return QUtil::double_to_string(gray, decimals); }

    void setGray(double gray, Use use)
    {
        separate();
        write(number(gray));
        write(use == Use::Fill ? " g" : " G");
    }

    void pass() { write(m_pending); }

    void pass(const Token &token)
    {
        m_pending += token.getRawValue();
        pass();
    }

    QPDF &m_pdf;
    QPDFObjectHandle m_resources;
    std::map<std::string, Space> m_spaces;
    Colours m_colours;
    std::vector<Colours> m_saved;
    size_t m_unsaved = 0;

    std::string m_pending;              ///< what has come since the last operator, as it was written
    std::vector<std::string> m_numbers; ///< the numbers in it
    Token m_name;                       ///< the last name in it
    bool m_inImage = false;
    InlineImage m_image;
};

} // namespace

std::string grayContent(QPDF &pdf, const std::string &content, QPDFObjectHandle resources,
                        InitialColour initial)
{
    std::string gray;
    gray.reserve(content.size());
    Pl_String text("gray content", nullptr, gray);
    GrayFilter filter(pdf, resources, initial);
    Pl_QPDFTokenizer tokenizer("content", &filter, &text);
    tokenizer.write(reinterpret_cast<const unsigned char *>(content.data()), content.size());
    tokenizer.finish();
    return gray;
}
