#include "engine/pdf/function.h"

#include <QTest>
#include <qpdf/QPDF.hh>

#include <stdexcept>

class TestFunction : public QObject
{
    Q_OBJECT

private slots:
    void evaluates_data();
    void evaluates();
    void interpolatesOverTwoInputs();
    void joinsAnArray();
    void refuses_data();
    void refuses();
    void refusesAFunctionOfItself();
};

namespace
{

double at(const QPDFObjectHandle &object, double x)
{
    double result = -1;
    Function::read(object)->evaluate(std::span(&x, 1), std::span(&result, 1));
    return result;
}

QPDFObjectHandle stream(QPDF &pdf, const std::string &dictionary, const std::string &data)
{
    QPDFObjectHandle object = QPDFObjectHandle::newStream(&pdf, data);
    for (const auto &[key, value] : QPDFObjectHandle::parse(dictionary).ditems())
        object.getDict().replaceKey(key, value);
    return object;
}

} // namespace

void TestFunction::evaluates_data()
{
    QTest::addColumn<QByteArray>("dictionary");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<double>("input");
    QTest::addColumn<double>("output");

    const QByteArray linear = "<< /FunctionType 2 /Domain [0 1] /C0 [0.2] /C1 [0.6] /N 1 >>";
    QTest::newRow("type 2") << linear << QByteArray() << 0.5 << 0.4;
    QTest::newRow("type 2, beyond its domain") << linear << QByteArray() << 7.0 << 0.6;
    QTest::newRow("type 2, squared") << QByteArray("<< /FunctionType 2 /Domain [0 1] /N 2 >>") << QByteArray()
                                     << 0.5 << 0.25;
    QTest::newRow("type 2, beyond its range")
        << QByteArray("<< /FunctionType 2 /Domain [0 1] /N 1 /C1 [9] /Range [0 1] >>") << QByteArray() << 0.5
        << 1.0;

    const QByteArray stitched =
        "<< /FunctionType 3 /Domain [0 1] /Bounds [0.5] /Encode [0 1 1 0] /Functions [" + linear +
        "<< /FunctionType 2 /Domain [0 1] /N 1 >> ] >>";
    QTest::newRow("type 3, first part") << stitched << QByteArray() << 0.25 << 0.4;
    QTest::newRow("type 3, second part, turned round") << stitched << QByteArray() << 0.75 << 0.5;
    QTest::newRow("type 3, at the bound") << stitched << QByteArray() << 0.5 << 1.0;

    const QByteArray table = "<< /FunctionType 0 /Domain [0 1] /Range [0 1] /Size [3] /BitsPerSample 8 >>";
    QTest::newRow("type 0, at a sample") << table << QByteArray("\x00\xff\x33", 3) << 0.5 << 1.0;
    QTest::newRow("type 0, between") << table << QByteArray("\x00\xff\x33", 3) << 0.75 << 0.6;
    QTest::newRow("type 0, at the end") << table << QByteArray("\x00\xff\x33", 3) << 1.0 << 0.2;
    QTest::newRow("type 0, decoded")
        << QByteArray(
               "<< /FunctionType 0 /Domain [0 1] /Range [-1 1] /Decode [1 -1] /Size [2] /BitsPerSample 4 >>")
        << QByteArray("\x0f") << 0.25 << 0.5;
    QTest::newRow("type 4") << QByteArray("<< /FunctionType 4 /Domain [0 1] /Range [0 1] >>")
                            << QByteArray("{1 exch sub}") << 0.25 << 0.75;
}

void TestFunction::evaluates()
{
    QFETCH(QByteArray, dictionary);
    QFETCH(QByteArray, data);
    QFETCH(double, input);
    QFETCH(double, output);
    QPDF pdf;
    pdf.emptyPDF();
    QPDFObjectHandle object = data.isEmpty() ? QPDFObjectHandle::parse(dictionary.toStdString())
                                             : stream(pdf, dictionary.toStdString(), data.toStdString());
    QVERIFY(qAbs(at(object, input) - output) < 1e-9);
}

void TestFunction::interpolatesOverTwoInputs()
{
    QPDF pdf;
    pdf.emptyPDF();
    const auto function = Function::read(
        stream(pdf, "<< /FunctionType 0 /Domain [0 1 0 1] /Range [0 1] /Size [2 2] /BitsPerSample 8 >>",
               std::string("\x00\xff\x00\x00", 4)));
    const std::array<double, 2> point = {0.5, 0.5};
    double result = -1;
    function->evaluate(point, std::span(&result, 1));
    QCOMPARE(result, 0.25);
}

void TestFunction::joinsAnArray()
{
    const auto function =
        Function::read(QPDFObjectHandle::parse("[ << /FunctionType 2 /Domain [0 1] /N 1 >> "
                                               "<< /FunctionType 2 /Domain [0 1] /N 1 /C0 [1] /C1 [0] >> ]"));
    const double input = 0.25;
    std::array<double, 2> result{};
    function->evaluate(std::span(&input, 1), result);
    QCOMPARE(result[0], 0.25);
    QCOMPARE(result[1], 0.75);
}

void TestFunction::refuses_data()
{
    QTest::addColumn<QByteArray>("object");
    QTest::newRow("a number") << QByteArray("1");
    QTest::newRow("no type") << QByteArray("<< /Domain [0 1] >>");
    QTest::newRow("an unknown type") << QByteArray("<< /FunctionType 1 /Domain [0 1] >>");
    QTest::newRow("no domain") << QByteArray("<< /FunctionType 2 /N 1 >>");
    QTest::newRow("half a domain") << QByteArray("<< /FunctionType 2 /N 1 /Domain [0] >>");
    QTest::newRow("a domain of names") << QByteArray("<< /FunctionType 2 /N 1 /Domain [/a /b] >>");
    QTest::newRow("ends that do not match")
        << QByteArray("<< /FunctionType 2 /N 1 /Domain [0 1] /C0 [1 2] /C1 [1] >>");
    QTest::newRow("a table that is no stream")
        << QByteArray("<< /FunctionType 0 /Domain [0 1] /Range [0 1] >>");
    QTest::newRow("a program that is no stream")
        << QByteArray("<< /FunctionType 4 /Domain [0 1] /Range [0 1] >>");
    QTest::newRow("stitching of nothing")
        << QByteArray("<< /FunctionType 3 /Domain [0 1] /Functions [] /Bounds [] >>");
    QTest::newRow("an empty array") << QByteArray("[]");
}

void TestFunction::refuses()
{
    QFETCH(QByteArray, object);
    QVERIFY_THROWS_EXCEPTION(std::exception, Function::read(QPDFObjectHandle::parse(object.toStdString())));
}

void TestFunction::refusesAFunctionOfItself()
{
    QPDF pdf;
    pdf.emptyPDF();
    QPDFObjectHandle function = pdf.makeIndirectObject(QPDFObjectHandle::parse(
        "<< /FunctionType 3 /Domain [0 1] /Bounds [0.5 0.6 0.7] /Encode [0 1 0 1 0 1 0 1] >>"));
    function.replaceKey("/Functions", QPDFObjectHandle::newArray({function, function, function, function}));
    QVERIFY_THROWS_EXCEPTION(std::runtime_error, Function::read(function));
    // Taken out of the circle again, or it would never be released.
    function.removeKey("/Functions");
}

QTEST_APPLESS_MAIN(TestFunction)
#include "tst_function.moc"
