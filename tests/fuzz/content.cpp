#include "engine/pdf/graycontent.h"
#include "engine/pdf/operatorfilter.h"
#include "engine/pdf/parts.h"
#include "engine/pdf/shownsize.h"
#include "engine/pdf/streamdata.h"
#include "engine/pdf/structure.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/pdffile.h"

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFTokenizer.hh>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

// An input is the content of a page, whose resources are those below.

namespace
{

constexpr char objectsBefore[] = R"(1 0 obj
<< /Type /Catalog /Pages 3 0 R >>
endobj
2 0 obj
<< >>
endobj
3 0 obj
<< /Type /Pages /Kids [4 0 R] /Count 1 >>
endobj
4 0 obj
<< /Type /Page /Parent 3 0 R /MediaBox [0 0 100 100] /Resources 5 0 R /Contents 6 0 R >>
endobj
5 0 obj
<< /ColorSpace << /P [/Indexed /DeviceRGB 2 <ff000000ff000000ff>] /L [/Lab << /WhitePoint [.95 1 1.09] >>]
 /C [/CalRGB << /WhitePoint [.95 1 1.09] /Gamma [2 2 2] >>] /G [/CalGray << /WhitePoint [.95 1 1.09] >>] /U [/Pattern /DeviceRGB]
 /T [/Separation /Ink /DeviceRGB << /FunctionType 2 /Domain [0 1] /N 1 /C0 [1 1 1] /C1 [0 1 0] >>] >>
 /Pattern << /Q << /PatternType 2 /Shading << /ShadingType 2 /ColorSpace /DeviceRGB /Coords [0 0 9 9] /Function
 << /FunctionType 2 /Domain [0 1] /N 1 /C0 [1 0 0] /C1 [0 1 0] >> >> >> >>
 /Properties << /M << /MCID 0 >> /O << /Type /OCG >> >>
 /XObject << /I 7 0 R /F 8 0 R >> >>
endobj
7 0 obj
<< /Type /XObject /Subtype /Image /Width 2 /Height 2 /BitsPerComponent 8 /ColorSpace /DeviceGray >>
stream
abcd
endstream
endobj
8 0 obj
<< /Type /XObject /Subtype /Form /BBox [0 0 9 9] /Matrix [2 0 0 2 0 0] /Resources << /XObject << /I 7 0 R >> >> >>
stream
q 3 0 0 3 0 0 cm /I Do Q
endstream
endobj
6 0 obj
<< >>
stream
)";
constexpr char objectsAfter[] = "\nendstream\nendobj\n";

/// The operators of a content stream other than those of colours, and whether any selects a colour.
class Operators : public QPDFObjectHandle::TokenFilter
{
public:
    explicit Operators(const std::string &content) { filteredContent(content, *this); }

    void handleToken(QPDFTokenizer::Token const &token) override
    {
        constexpr std::array<std::string_view, 4> coloured = {"rg", "RG", "k", "K"};
        constexpr std::array<std::string_view, 9> gray = {"g",  "G",   "cs",  "CS", "sc",
                                                          "SC", "scn", "SCN", "EI"};
        if (token.getType() != QPDFTokenizer::tt_word)
            return;
        const std::string &name = token.getValue();
        if (name == "BI" || name == "ID" || name == "EI")
            noteImage(name);
        if (m_inImage)
            return;
        if (std::find(coloured.begin(), coloured.end(), name) != coloured.end())
            hasColours = true;
        else if (std::find(gray.begin(), gray.end(), name) == gray.end())
            others.push_back(name);
    }

    bool hasColours = false;
    std::vector<std::string> others;

private:
    /// An image ends after its data.
    void noteImage(const std::string &name)
    {
        if (name == "ID")
            m_hasData = m_inImage;
        else if (name == "BI" || m_hasData)
            m_inImage = name == "BI";
        m_hasData = m_hasData && m_inImage;
    }

    bool m_inImage = false;
    bool m_hasData = false;
};

/// Whether an operator stands where only operands may.
bool holdsOperator(QPDFObjectHandle operand)
{
    std::vector<QPDFObjectHandle> parts;
    if (operand.isArray())
        parts = operand.getArrayAsVector();
    else if (operand.isDictionary())
        for (const auto &[key, value] : operand.ditems())
            parts.push_back(value);
    return std::any_of(parts.begin(), parts.end(),
                       [](QPDFObjectHandle part) { return part.isOperator() || holdsOperator(part); });
}

/// Whether a reader finds nothing wrong with a content stream.
bool isSound(const std::string &content)
{
    class Objects : public QPDFObjectHandle::ParserCallbacks
    {
    public:
        void handleObject(QPDFObjectHandle object) override
        {
            if (object.isOperator())
                noteOperator(object.getOperatorValue());
            else
                areSound = areSound && !holdsOperator(object);
        }
        void handleEOF() override { areSound = areSound && !m_inDictionary; }

        bool areSound = true;

    private:
        /// Between those that begin an image and its data are no others.
        void noteOperator(const std::string &name)
        {
            areSound = areSound && m_inDictionary == (name == "ID");
            m_inDictionary = name == "BI";
        }

        bool m_inDictionary = false;
    };
    QPDF pdf;
    pdf.setSuppressWarnings(true);
    pdf.emptyPDF();
    QPDFObjectHandle stream = QPDFObjectHandle::newStream(&pdf, content);
    Objects objects;
    QPDFObjectHandle::parseContentStream(stream, &objects);
    return objects.areSound && !pdf.anyWarnings();
}

void checkGray(QPDF &pdf, const std::string &content, const QPDFObjectHandle &resources)
{
    const bool wasSound = isSound(content);
    for (const InitialColour initial : {InitialColour::Black, InitialColour::Inherited}) {
        const std::string gray = grayContent(pdf, content, resources, initial);
        // What broken content means is for every reader to guess.
        if (!wasSound)
            continue;
        const Operators after(gray);
        require(isSound(gray), "sound content stays sound");
        require(!after.hasColours, "no colour is selected");
        require(after.others == Operators(content).others, "all other operators stay");
        require(Operators(grayContent(pdf, gray, resources, initial)).others == after.others,
                "gray content can be made gray");
    }
}

void checkSizes(const DocumentParts &parts)
{
    for (const auto &[image, size] : shownSizes(parts))
        require(size.width >= 0 && size.height >= 0, "a size is no less than nothing");
}

void checkStructure(QPDF &pdf, const DocumentParts &parts, const std::string &content)
{
    removeStructure(pdf, parts);
    const std::string unmarked = decodedData(parts.contents.at(0).stream);
    if (!isSound(content))
        return;
    require(isSound(unmarked), "sound content stays sound");
    std::vector<std::string> before = Operators(content).others;
    std::vector<std::string> after = Operators(unmarked).others;
    for (std::vector<std::string> *operators : {&before, &after})
        std::erase_if(*operators, [](const std::string &name) {
            return name == "BMC" || name == "BDC" || name == "EMC" || name == "MP" || name == "DP";
        });
    require(before == after, "all but the marks stays");
}

/// Applies a check to the document anew; a refusal is as good as a result.
void tryOn(const std::string &file, const std::string &content,
           void (*check)(QPDF &, const std::string &, const DocumentParts &))
{
    try {
        QPDF pdf;
        pdf.setSuppressWarnings(true);
        pdf.processMemoryFile("a file", file.data(), file.size());
        check(pdf, content, DocumentParts::of(pdf));
    } catch (const std::exception &) {
        return;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray content = inputBytes(data, size);
    const std::string file = fileOf(objectsBefore + content + objectsAfter);
    const std::string text = content.toStdString();
    tryOn(file, text, [](QPDF &pdf, const std::string &bytes, const DocumentParts &parts) {
        checkGray(pdf, bytes, parts.contents.at(0).resources);
    });
    tryOn(file, text, [](QPDF &, const std::string &, const DocumentParts &parts) { checkSizes(parts); });
    tryOn(file, text, [](QPDF &pdf, const std::string &bytes, const DocumentParts &parts) {
        checkStructure(pdf, parts, bytes);
    });
    return 0;
}
