#include "engine/pdf/function.h"

#include "engine/pdf/colourspace.h"
#include "engine/pdf/grayfunction.h"
#include "tests/fuzz/fuzz.h"

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>

#include <cmath>
#include <stdexcept>
#include <string>
#include <vector>

// An input is a function object: its dictionary, or an array of them, in the first line, and the data of its
// stream in the others.

namespace
{

QPDFObjectHandle objectIn(QPDF &pdf, const QByteArray &bytes)
{
    const qsizetype line = bytes.indexOf('\n');
    QPDFObjectHandle object =
        QPDFObjectHandle::parse(&pdf, bytes.left(line < 0 ? bytes.size() : line).toStdString());
    if (line < 0 || !object.isDictionary())
        return object;
    QPDFObjectHandle stream = QPDFObjectHandle::newStream(&pdf, bytes.mid(line + 1).toStdString());
    stream.replaceDict(object);
    return stream;
}

/// Some points of a domain and beyond it.
std::vector<std::vector<double>> pointsFor(const Function &function)
{
    std::vector<std::vector<double>> points;
    for (const double part : {-1.0, 0.0, 0.3, 0.5, 1.0, 7.0}) {
        std::vector<double> point;
        for (const Interval &interval : function.domain())
            point.push_back(interval.from + part * (interval.to - interval.from));
        points.push_back(point);
    }
    return points;
}

void checkValues(const Function &function)
{
    for (const std::vector<double> &point : pointsFor(function)) {
        std::vector<double> values(function.outputs());
        function.evaluate(point, values);
    }
}

void checkGray(QPDF &pdf, const QPDFObjectHandle &object)
{
    const auto space =
        ColourSpace::read(QPDFObjectHandle::newName("/DeviceRGB"), QPDFObjectHandle::newNull());
    const auto gray = Function::read(grayFunction(pdf, object, *space));
    require(gray->outputs() == 1, "a gray has one number");
    checkValues(*gray);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    try {
        QPDF pdf;
        pdf.setSuppressWarnings(true);
        pdf.emptyPDF();
        const QPDFObjectHandle object = objectIn(pdf, inputBytes(data, size));
        const auto function = Function::read(object);
        require(function->inputs() > 0 && function->outputs() > 0 && function->outputs() <= 32,
                "a function has inputs and outputs, in bounds");
        checkValues(*function);
        if (function->outputs() == 3)
            checkGray(pdf, object);
    } catch (const std::exception &) {
        return 0;
    }
    return 0;
}
