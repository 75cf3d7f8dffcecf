#include "engine/pdf/images/shownsize.h"

#include "engine/pdf/reading/operatorfilter.h"
#include "engine/pdf/reading/streamdata.h"

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFMatrix.hh>

#include <algorithm>
#include <cmath>
#include <deque>

namespace
{

/// At larger scales the image keeps all its samples anyway.
constexpr double maximumScale = 1e4;
constexpr int maximumRounds = 32;

/// What one content stream shows, in its own coordinate system.
struct Shown {
    std::map<QPDFObjGen, ShownSize> images;
    std::map<QPDFObjGen, double> contents; ///< other content streams, with the scale they are shown at
};

QPDFMatrix matrixOf(QPDFObjectHandle array)
{
    return array.isMatrix() ? QPDFMatrix(array.getArrayAsMatrix()) : QPDFMatrix();
}

/// The maximum factor by which a transformation stretches lengths: its largest singular value.
double scaleOf(const QPDFMatrix &m)
{
    const double sum = m.a * m.a + m.b * m.b + m.c * m.c + m.d * m.d;
    const double determinant = m.a * m.d - m.b * m.c;
    const double root = std::sqrt(std::max(0.0, sum * sum / 4 - determinant * determinant));
    const double scale = std::sqrt(sum / 2 + root);
    return std::isfinite(scale) ? std::min(scale, maximumScale) : maximumScale;
}

double lengthOf(double x, double y)
{
    const double length = std::hypot(x, y);
    return std::isfinite(length) ? length : maximumScale;
}

/// `first`, then `second`.
QPDFMatrix combined(const QPDFMatrix &first, QPDFMatrix second)
{
    second.concat(first);
    return second;
}

void grow(double &value, double other)
{
    value = std::max(value, other);
}

class ShownCollector : public OperatorFilter
{
public:
    explicit ShownCollector(const QPDFObjectHandle &resources) : m_resources(resources) {}

    Shown take() { return std::move(m_shown); }

protected:
    void handleOperator(const QPDFTokenizer::Token &token) override
    {
        const std::string &name = token.getRawValue();
        if (name == "q")
            m_saved.push_back(m_state);
        else if (name == "Q")
            restore();
        else if (name == "cm")
            m_state.matrix = combined(operandMatrix(), m_state.matrix);
        else if (name == "Do")
            showExternal(resource("/XObject"));
        else if (name == "gs")
            useState(resource("/ExtGState"));
        else if (name == "scn" || name == "SCN")
            usePattern(resource("/Pattern"));
        else
            handleText(name);
    }

private:
    struct State {
        QPDFMatrix matrix;
        QPDFObjectHandle font;
        double fontSize = 1;
    };

    void restore()
    {
        if (m_saved.empty())
            return;
        m_state = m_saved.back();
        m_saved.pop_back();
    }

    /// Only the scale of the text matrix matters, so operators that only move the text position are ignored.
    void handleText(const std::string &name)
    {
        if (name == "BT") {
            m_text = QPDFMatrix();
        } else if (name == "Tm") {
            m_text = operandMatrix();
        } else if (name == "Tf") {
            m_state.font = resource("/Font");
            m_state.fontSize = lastNumbers(1)[0];
        } else if (name == "Tj") {
            showGlyphs();
        }
    }

    QPDFMatrix operandMatrix() const
    {
        const std::vector<double> n = lastNumbers(6);
        return {n[0], n[1], n[2], n[3], n[4], n[5]};
    }

    QPDFObjectHandle resource(const char *kind) const
    {
        QPDFObjectHandle resources = m_resources;
        QPDFObjectHandle dictionary =
            resources.isDictionary() ? resources.getKey(kind) : QPDFObjectHandle::newNull();
        if (names().empty() || !dictionary.isDictionary())
            return QPDFObjectHandle::newNull();
        return dictionary.getKey(names().back());
    }

    void showExternal(QPDFObjectHandle object)
    {
        if (!object.isStream())
            return;
        if (object.getDict().getKey("/Subtype").isNameAndEquals("/Form"))
            showContent(object, m_state.matrix);
        else
            showImage(object);
    }

    void showImage(QPDFObjectHandle image)
    {
        const QPDFMatrix &m = m_state.matrix;
        for (QPDFObjectHandle object : {image, image.getDict().getKey("/SMask")}) {
            if (!object.isStream())
                continue;
            ShownSize &size = m_shown.images[object.getObjGen()];
            grow(size.width, lengthOf(m.a, m.b));
            grow(size.height, lengthOf(m.c, m.d));
        }
    }

    void showContent(QPDFObjectHandle stream, const QPDFMatrix &matrix)
    {
        if (stream.isStream())
            grow(m_shown.contents[stream.getObjGen()],
                 scaleOf(combined(matrixOf(stream.getDict().getKey("/Matrix")), matrix)));
    }

    void useState(QPDFObjectHandle state)
    {
        if (state.isDictionary() && state.getKey("/SMask").isDictionary())
            showContent(state.getKey("/SMask").getKey("/G"), m_state.matrix);
    }

    /// A pattern cell is in the initial coordinate system of the content stream that uses it (8.7.3.1).
    void usePattern(const QPDFObjectHandle &pattern) { showContent(pattern, QPDFMatrix()); }

    void showGlyphs()
    {
        if (!m_state.font.isInitialized() || !m_state.font.isDictionary())
            return;
        QPDFObjectHandle glyphs = m_state.font.getKey("/CharProcs");
        if (!glyphs.isDictionary())
            return;
        const QPDFMatrix size(m_state.fontSize, 0, 0, m_state.fontSize, 0, 0);
        const QPDFMatrix font = combined(matrixOf(m_state.font.getKey("/FontMatrix")), size);
        const QPDFMatrix matrix = combined(combined(font, m_text), m_state.matrix);
        for (const auto &[name, glyph] : glyphs.ditems())
            showContent(glyph, matrix);
    }

    QPDFObjectHandle m_resources;
    State m_state;
    std::vector<State> m_saved;
    QPDFMatrix m_text;
    Shown m_shown;
};

/// Propagates the scales of pages to everything that they show.
class Scales
{
public:
    explicit Scales(std::map<QPDFObjGen, Shown> shown) : m_shown(std::move(shown)) {}

    void raise(QPDFObjGen content, double scale)
    {
        double &known = m_scales[content];
        if (scale <= known)
            return;
        // A stream whose scale is raised so often is in a reference cycle.
        known = ++m_rounds[content] < maximumRounds ? scale : maximumScale;
        m_waiting.push_back(content);
    }

    void propagate()
    {
        while (!m_waiting.empty()) {
            const QPDFObjGen content = m_waiting.front();
            m_waiting.pop_front();
            const double scale = m_scales[content];
            for (const auto &[child, factor] : m_shown[content].contents)
                raise(child, std::min(scale * factor, maximumScale));
        }
    }

    std::map<QPDFObjGen, ShownSize> sizes() const
    {
        std::map<QPDFObjGen, ShownSize> sizes;
        for (const auto &[content, scale] : m_scales) {
            const auto shown = m_shown.find(content);
            if (shown == m_shown.end())
                continue;
            for (const auto &[image, size] : shown->second.images) {
                grow(sizes[image].width, size.width * scale);
                grow(sizes[image].height, size.height * scale);
            }
        }
        return sizes;
    }

private:
    std::map<QPDFObjGen, Shown> m_shown;
    std::map<QPDFObjGen, double> m_scales;
    std::map<QPDFObjGen, int> m_rounds;
    std::deque<QPDFObjGen> m_waiting;
};

} // namespace

std::map<QPDFObjGen, ShownSize> shownSizes(const DocumentParts &parts)
{
    std::map<QPDFObjGen, Shown> shown;
    for (const Content &content : parts.contents) {
        ShownCollector collector(content.resources);
        filteredContent(decodedData(content.stream), collector);
        shown[content.stream.getObjGen()] = collector.take();
    }
    Scales scales(std::move(shown));
    for (QPDFObjectHandle page : parts.pages)
        scales.raise(page.getKey("/Contents").getObjGen(), 1);
    scales.propagate();
    return scales.sizes();
}
