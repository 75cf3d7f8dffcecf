#include "engine/pdf/colourspace.h"

#include <QTest>
#include <qpdf/QPDF.hh>

#include <stdexcept>

class TestColourSpace : public QObject
{
    Q_OBJECT

private slots:
    void grayOfColour_data();
    void grayOfColour();
    void counterpart_data();
    void counterpart();
    void findsNamesInResources();
    void initialColours();
    void refuses_data();
    void refuses();
};

namespace
{

const QByteArray spot =
    "[/Separation /Spot /DeviceRGB << /FunctionType 2 /Domain [0 1] /N 1 /C0 [1 1 1] /C1 [1 0 0] >>]";

std::shared_ptr<const ColourSpace> space(const QByteArray &text, const QByteArray &resources = "null")
{
    return ColourSpace::read(QPDFObjectHandle::parse(text.toStdString()),
                             QPDFObjectHandle::parse(resources.toStdString()));
}

} // namespace

void TestColourSpace::grayOfColour_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QList<double>>("colour");
    QTest::addColumn<double>("gray");

    QTest::newRow("gray") << QByteArray("/DeviceGray") << QList<double>{0.3} << 0.3;
    QTest::newRow("red") << QByteArray("/DeviceRGB") << QList<double>{1, 0, 0} << 0.299;
    QTest::newRow("green") << QByteArray("/DeviceRGB") << QList<double>{0, 1, 0} << 0.587;
    QTest::newRow("blue") << QByteArray("/DeviceRGB") << QList<double>{0, 0, 1} << 0.114;
    QTest::newRow("beyond white") << QByteArray("/DeviceRGB") << QList<double>{2, 2, 2} << 1.0;
    QTest::newRow("calibrated") << QByteArray("[/CalRGB << /WhitePoint [1 1 1] >>]") << QList<double>{0, 1, 0}
                                << 0.587;
    QTest::newRow("paper in inks") << QByteArray("/DeviceCMYK") << QList<double>{0, 0, 0, 0} << 1.0;
    QTest::newRow("cyan") << QByteArray("/DeviceCMYK") << QList<double>{1, 0, 0, 0} << 0.7;
    QTest::newRow("half black") << QByteArray("/DeviceCMYK") << QList<double>{0, 0, 0, 0.5} << 0.5;
    QTest::newRow("all inks") << QByteArray("/DeviceCMYK") << QList<double>{1, 1, 1, 1} << 0.0;
    QTest::newRow("white in Lab") << QByteArray("[/Lab << /WhitePoint [0.96 1 0.82] >>]")
                                  << QList<double>{100, 0, 0} << 1.0;
    QTest::newRow("black in Lab") << QByteArray("[/Lab << /WhitePoint [0.96 1 0.82] >>]")
                                  << QList<double>{0, 0, 0} << 0.0;
    // L* 53.585 is the lightness of sRGB's 50 % gray.
    QTest::newRow("half gray in Lab")
        << QByteArray("[/Lab << /WhitePoint [0.96 1 0.82] >>]") << QList<double>{53.389, 0, 0} << 0.5;
    QTest::newRow("palette") << QByteArray("[/Indexed /DeviceRGB 1 <ff0000 00ff00>]") << QList<double>{1}
                             << 0.587;
    QTest::newRow("beyond the palette")
        << QByteArray("[/Indexed /DeviceRGB 1 <ff0000 00ff00>]") << QList<double>{9} << 0.587;
    QTest::newRow("a short palette goes on in black")
        << QByteArray("[/Indexed /DeviceRGB 3 <ff0000>]") << QList<double>{3} << 0.0;
    QTest::newRow("no spot colour") << spot << QList<double>{0} << 1.0;
    QTest::newRow("spot colour") << spot << QList<double>{1} << 0.299;
    QTest::newRow("half a spot colour") << spot << QList<double>{0.5} << 0.6495;
}

void TestColourSpace::grayOfColour()
{
    QFETCH(QByteArray, text);
    QFETCH(QList<double>, colour);
    QFETCH(double, gray);
    const double found = space(text)->gray(std::span(colour.constData(), static_cast<size_t>(colour.size())));
    QVERIFY2(qAbs(found - gray) < 1e-3, QByteArray::number(found).constData());
}

void TestColourSpace::counterpart_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("gray");
    QTest::newRow("gray") << QByteArray("/DeviceGray") << QByteArray("/DeviceGray");
    QTest::newRow("calibrated gray") << QByteArray("[ /CalGray << /WhitePoint [ 1 1 1 ] >> ]")
                                     << QByteArray("[ /CalGray << /WhitePoint [ 1 1 1 ] >> ]");
    QTest::newRow("RGB") << QByteArray("/DeviceRGB") << QByteArray("/DeviceGray");
    QTest::newRow("spot colour") << spot << QByteArray("/DeviceGray");
    QTest::newRow("palette") << QByteArray("[/Indexed /DeviceRGB 2 <ffffff ff0000 0000ff>]")
                             << QByteArray("[ /Indexed /DeviceGray 2 <ff4c1d> ]");
    QTest::newRow("pattern") << QByteArray("/Pattern") << QByteArray("/Pattern");
    QTest::newRow("uncoloured pattern")
        << QByteArray("[/Pattern /DeviceRGB]") << QByteArray("[ /Pattern /DeviceGray ]");
}

void TestColourSpace::counterpart()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, gray);
    QPDFObjectHandle found = space(text)->grayCounterpart();
    QCOMPARE(found.unparseBinary().empty() ? std::string() : found.unparse(),
             QPDFObjectHandle::parse(gray.toStdString()).unparse());
}

void TestColourSpace::findsNamesInResources()
{
    QCOMPARE(space("/Mine", "<< /ColorSpace << /Mine /Other /Other /DeviceCMYK >> >>")->family(),
             ColourSpace::Family::Cmyk);
}

void TestColourSpace::initialColours()
{
    QCOMPARE(space("/DeviceRGB")->initialColour(), (std::vector<double>{0, 0, 0}));
    QCOMPARE(space("/DeviceCMYK")->initialColour(), (std::vector<double>{0, 0, 0, 1}));
    QCOMPARE(space(spot)->initialColour(), (std::vector<double>{1}));
    QCOMPARE(space("[/Lab << /WhitePoint [1 1 1] /Range [10 20 -9 9] >>]")->initialColour(),
             (std::vector<double>{0, 10, 0}));
}

void TestColourSpace::refuses_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("resources");
    QTest::newRow("a number") << QByteArray("1") << QByteArray("null");
    QTest::newRow("an unknown name") << QByteArray("/Mine") << QByteArray("<< >>");
    QTest::newRow("a name of itself")
        << QByteArray("/Mine") << QByteArray("<< /ColorSpace << /Mine /Mine >> >>");
    QTest::newRow("an unknown family") << QByteArray("[/Other 1]") << QByteArray("null");
    QTest::newRow("an empty array") << QByteArray("[]") << QByteArray("null");
    QTest::newRow("a palette of palettes")
        << QByteArray("[/Indexed [/Indexed /DeviceRGB 0 <000000>] 0 <00>]") << QByteArray("null");
    QTest::newRow("a palette without colours") << QByteArray("[/Indexed /DeviceRGB 1]") << QByteArray("null");
    QTest::newRow("a profile that is none") << QByteArray("[/ICCBased << /N 3 >>]") << QByteArray("null");
    QTest::newRow("a spot colour without function")
        << QByteArray("[/Separation /Spot /DeviceRGB]") << QByteArray("null");
}

void TestColourSpace::refuses()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, resources);
    QVERIFY_THROWS_EXCEPTION(std::runtime_error, space(text, resources));
}

QTEST_APPLESS_MAIN(TestColourSpace)
#include "tst_colourspace.moc"
