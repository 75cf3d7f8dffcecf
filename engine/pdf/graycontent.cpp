#include "engine/pdf/graycontent.h"

#include "engine/pdf/colourspace.h"
#include "engine/pdf/inlineimage.h"
#include "engine/pdf/operatorfilter.h"

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

class GrayFilter : public OperatorFilter
{
public:
    GrayFilter(QPDF &pdf, const QPDFObjectHandle &resources, InitialColour initial)
        : m_pdf(pdf), m_resources(resources)
    {
        if (initial == InitialColour::Black)
            m_colours = {spaceNamed("/DeviceGray"), spaceNamed("/DeviceGray")};
    }

    void handleToken(Token const &token) override
    {
        if (m_inImage)
            handleImageToken(token);
        else
            OperatorFilter::handleToken(token);
    }

    void handleEOF() override
    {
        OperatorFilter::handleEOF();
        if (m_inImage)
            write(m_image.source());
    }

protected:
    void handleOperator(const Token &token) override
    {
        const Operator *known = operatorNamed(token.getRawValue());
        switch (known ? known->action : Action::Pass) {
        case Action::Device:
            return setDevice(token, *known);
        case Action::Select:
            return select(token, *known);
        case Action::Set:
            return set(token, *known);
        case Action::BeginImage:
            return beginImage();
        case Action::Save:
            return save(token);
        case Action::Restore:
            return restore(token);
        case Action::Pass:
            return pass(token);
        }
    }

private:
    void beginImage()
    {
        separate();
        m_inImage = true;
        m_image = InlineImage();
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
            setGray(space->gray(lastNumbers(space->components())), device.use);
    }

    void select(const Token &token, const Operator &op)
    {
        const Space space = spaceNamed(names().empty() ? std::string() : names().back());
        current(op.use) = space;
        if (space->keepsNumbers() || space->family() == ColourSpace::Family::Pattern)
            pass(token);
        else
            setGray(space->gray(space->initialColour()), op.use);
    }

    void set(const Token &token, const Operator &op)
    {
        const bool hasPattern = !names().empty();
        const Space space = current(op.use) ? current(op.use) : guessed();
        if (numbers().empty() || !space || space->keepsNumbers()) {
            pass(token);
        } else if (hasPattern) {
            separate();
            write(number(space->gray(lastNumbers(space->components()))));
            write(" ");
            writeToken(Token(QPDFTokenizer::tt_name, names().back()));
            write(" ");
            write(token.getRawValue());
        } else {
            setGray(space->gray(lastNumbers(space->components())), op.use);
        }
    }

    /// A form may go on in the colour space of whatever shows it, which is not known here. How many numbers
    /// it gives tells nearly as much.
    Space guessed()
    {
        switch (numbers().size()) {
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

    static std::string number(double gray) { return QUtil::double_to_string(gray, decimals); }

    void setGray(double gray, Use use)
    {
        separate();
        write(number(gray));
        write(use == Use::Fill ? " g" : " G");
    }

    QPDF &m_pdf;
    QPDFObjectHandle m_resources;
    std::map<std::string, Space> m_spaces;
    Colours m_colours;
    std::vector<Colours> m_saved;
    size_t m_unsaved = 0;

    bool m_inImage = false;
    InlineImage m_image;
};

} // namespace

std::string grayContent(QPDF &pdf, const std::string &content, const QPDFObjectHandle &resources,
                        InitialColour initial)
{
    GrayFilter filter(pdf, resources, initial);
    return filteredContent(content, filter);
}
