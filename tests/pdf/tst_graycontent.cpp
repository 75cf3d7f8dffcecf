#include "engine/pdf/graycontent.h"

#include <QTest>
#include <qpdf/QPDF.hh>

class TestGrayContent : public QObject
{
    Q_OBJECT

private slots:
    void rewrites_data();
    void rewrites();
    void guessesInheritedSpacesByTheirNumbers();
    void survivesManyStates();
};

namespace
{

const char *const resources =
    "<< /ColorSpace << /Ink [/Separation /Spot /DeviceRGB << /FunctionType 2 /Domain [0 1] /N 1 /C0 [1 1 1] "
    "/C1 "
    "[1 0 0] >>] /Palette [/Indexed /DeviceRGB 1 <ff0000 00ff00>] /Stencil [/Pattern /DeviceRGB] >> >>";

QByteArray gray(const QByteArray &content, InitialColour initial = InitialColour::Black)
{
    QPDF pdf;
    pdf.emptyPDF();
    return QByteArray::fromStdString(
        grayContent(pdf, content.toStdString(), QPDFObjectHandle::parse(resources), initial));
}

} // namespace

void TestGrayContent::rewrites_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QByteArray>("expected");

    QTest::newRow("fill in RGB") << QByteArray("1 0 0 rg\nf") << QByteArray("0.299 g\nf");
    QTest::newRow("stroke in RGB") << QByteArray("q\n0 1 0 RG S") << QByteArray("q\n0.587 G S");
    QTest::newRow("two on a line") << QByteArray("0 0 1 RG 0 0 1 rg\n") << QByteArray("0.114 G 0.114 g\n");
    QTest::newRow("fill in inks") << QByteArray("0 0 0 .25 k f") << QByteArray("0.75 g f");
    QTest::newRow("stroke in inks") << QByteArray("0 0 1 0 K S") << QByteArray("0.89 G S");
    QTest::newRow("gray stays") << QByteArray(".5 g .25 G % as it was\nf")
                                << QByteArray(".5 g .25 G % as it was\nf");
    QTest::newRow("a device space") << QByteArray("/DeviceRGB cs 1 1 1 sc f") << QByteArray("0 g 1 g f");
    QTest::newRow("a spot colour") << QByteArray("/Ink cs f 0 scn f") << QByteArray("0.299 g f 1 g f");
    QTest::newRow("a stroked spot colour")
        << QByteArray("/Ink CS 1 SCN S") << QByteArray("0.299 G 0.299 G S");
    QTest::newRow("an index") << QByteArray("/Palette cs 1 sc f") << QByteArray("/Palette cs 1 sc f");
    QTest::newRow("a pattern") << QByteArray("/Pattern cs /P0 scn f") << QByteArray("/Pattern cs /P0 scn f");
    QTest::newRow("a pattern without space between") << QByteArray("/Pattern CS/Pattern cs/P6 SCN/P6 scn\n")
                                                     << QByteArray("/Pattern CS/Pattern cs/P6 SCN/P6 scn\n");
    QTest::newRow("an uncoloured pattern")
        << QByteArray("/Stencil cs 1 0 0 /P0 scn f") << QByteArray("/Stencil cs 0.299 /P0 scn f");
    QTest::newRow("space set, saved and restored")
        << QByteArray("/DeviceRGB cs q /Palette cs 1 sc Q 1 0 0 sc f")
        << QByteArray("0 g q /Palette cs 1 sc Q 0.299 g f");
    QTest::newRow("fill and stroke apart")
        << QByteArray("/DeviceRGB CS .5 sc 1 0 0 SC") << QByteArray("0 G .5 sc 0.299 G");
    QTest::newRow("text stays") << QByteArray("BT /F1 12 Tf (1 0 0 rg) Tj [<00>-20(k)] TJ ET")
                                << QByteArray("BT /F1 12 Tf (1 0 0 rg) Tj [<00>-20(k)] TJ ET");
    QTest::newRow("marks stay") << QByteArray("/P <</MCID 0>>BDC\n1 1 1 rg\nEMC")
                                << QByteArray("/P <</MCID 0>>BDC\n1 g\nEMC");
    QTest::newRow("missing numbers are zeros") << QByteArray("1 rg f") << QByteArray("0.299 g f");
    QTest::newRow("nothing at all") << QByteArray() << QByteArray();
    QTest::newRow("operands without operator") << QByteArray("f 1 0 0") << QByteArray("f 1 0 0");
}

void TestGrayContent::rewrites()
{
    QFETCH(QByteArray, content);
    QFETCH(QByteArray, expected);
    QCOMPARE(gray(content), expected);
}

void TestGrayContent::guessesInheritedSpacesByTheirNumbers()
{
    QCOMPARE(gray("1 0 0 sc f", InitialColour::Inherited), QByteArray("0.299 g f"));
    QCOMPARE(gray("0 0 0 1 scn f", InitialColour::Inherited), QByteArray("0 g f"));
    QCOMPARE(gray(".5 sc f", InitialColour::Inherited), QByteArray(".5 sc f"));
    QCOMPARE(gray("/P0 scn f", InitialColour::Inherited), QByteArray("/P0 scn f"));
}

void TestGrayContent::survivesManyStates()
{
    const QByteArray deep =
        QByteArray("q ").repeated(100000) + "1 0 0 rg" + QByteArray(" Q").repeated(200000);
    QByteArray expected = deep;
    expected.replace("1 0 0 rg", "0.299 g");
    QCOMPARE(gray(deep), expected);
}

QTEST_APPLESS_MAIN(TestGrayContent)
#include "tst_graycontent.moc"
