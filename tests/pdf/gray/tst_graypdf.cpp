#include "engine/pdf/gray/grayscale.h"
#include "engine/pdf/images/jpeg.h"
#include "engine/pdf/writing/document.h"
#include "tests/pdf/handpdf.h"
#include "tests/pdf/judges.h"

#include <QColorSpace>
#include <QRegularExpression>
#include <QTest>

#include <algorithm>

/// One kind of drawing after another: its gray must be what a viewer's colours come to.
class TestGrayPdf : public QObject
{
    Q_OBJECT

private slots:
    void drawsTheSameInGray_data();
    void drawsTheSameInGray();
    void grayImagesStayUntouched();
    void jpegStaysJpeg();
    void sharedObjectsAreEditedOnce();
    void textStays();
    void refuses_data();
    void refuses();
};

namespace
{

constexpr int dotsPerInch = 144;

const QByteArray image = "/Type /XObject /Subtype /Image /Width 2 /Height 2 /BitsPerComponent 8 ";
const QByteArray photograph =
    "/Type /XObject /Subtype /Image /Width 80 /Height 60 /BitsPerComponent 8 /Filter /DCTDecode "
    "/ColorTransform 0 ";
const QByteArray showImage = "90 0 0 90 5 5 cm /I Do";
const QByteArray fourColours("\xff\x00\x00\x00\xff\x00\x00\x00\xff\xff\xff\x00", 12);
const QByteArray redToBlue = "<< /FunctionType 2 /Domain [0 1] /N 1 /C0 [1 0 0] /C1 [0 0 1] >>";
const QByteArray yellowToGreen = "<< /FunctionType 2 /Domain [0 1] /N 1 /C0 [1 1 0] /C1 [0 1 0] >>";
const QByteArray axial =
    "/ShadingType 2 /ColorSpace /DeviceRGB /Coords [0 0 100 0] /Extend [true true] /Function ";

/// Everything that may stand for colours in the text of a PDF.
const char *const coloured =
    R"(/(DeviceRGB|DeviceCMYK|CalRGB|Lab|Separation|DeviceN)\b|(?<![/\w])(rg|RG|k|K)\b)";

/// A readable PDF without the streams that hold more than text.
QByteArray withoutBinary(QByteArray readable)
{
    qsizetype end = 0;
    for (qsizetype begin = 0; (begin = readable.indexOf("\nstream\n", end)) >= 0;) {
        end = readable.indexOf("\nendstream\n", begin);
        const bool isBinary = std::any_of(readable.cbegin() + begin, readable.cbegin() + end, [](char c) {
            return c < 0 || c == 127 || (c < ' ' && c != '\n' && c != '\r');
        });
        if (isBinary) {
            readable.remove(begin, end - begin);
            end = begin;
        }
    }
    return readable;
}

QByteArray jpeg(int channels = 3)
{
    Raster raster{80, 60, channels, {}};
    for (int y = 0; y < raster.height; ++y) {
        for (int x = 0; x < raster.width; ++x) {
            for (const int value : {255 * x / 80, 255 * y / 60, 200})
                raster.samples.push_back(static_cast<char>(value));
        }
    }
    return QByteArray::fromStdString(encodeJpeg(raster, 90, true));
}

HandPdf contentPdf(const QByteArray &operators, const QByteArray &resources = {})
{
    HandPdf hand;
    hand.content(operators, resources);
    return hand;
}

/// A page that is painted with a shading, as the browser does it: by a pattern.
HandPdf shadingPdf(const QByteArray &shading)
{
    return contentPdf("/Pattern cs /P scn 5 5 90 90 re f",
                      "/Pattern << /P << /PatternType 2 /Matrix [1 0 0 1 0 0] /Shading << " + shading +
                          " >> >> >>");
}

HandPdf programPdf(const QByteArray &program)
{
    HandPdf hand = shadingPdf("/ShadingType 1 /Domain [0 100 0 100] /ColorSpace /DeviceRGB /Function 5 0 R");
    hand.addStream("/FunctionType 4 /Domain [0 100 0 100] /Range [0 1 0 1 0 1]", program);
    return hand;
}

HandPdf imagePdf(const QByteArray &dictionary, const QByteArray &data)
{
    HandPdf hand;
    hand.addStream(dictionary, data);
    hand.content(showImage, "/XObject << /I 5 0 R >>");
    return hand;
}

void addRow(const char *name, const HandPdf &hand)
{
    QTest::newRow(name) << hand.bytes();
}

void addShadings()
{
    addRow("axial", shadingPdf(axial + redToBlue));
    addRow("axial with stops",
           shadingPdf(axial + "<< /FunctionType 3 /Domain [0 1] /Bounds [.3] /Encode [0 1 1 0] /Functions [" +
                      redToBlue + yellowToGreen + "] >>"));
    addRow("radial", shadingPdf("/ShadingType 3 /ColorSpace /DeviceRGB /Coords [40 40 0 50 50 50] "
                                "/Extend [true true] /Function " +
                                redToBlue));
    addRow("a program", programPdf("{ 100 div exch 100 div dup .5 gt {pop 2}{-1} ifelse 0.3 }"));
    addRow("a program that ends in a comment", programPdf("{pop 100 div dup 1 exch sub .4 % blue\n}"));
    HandPdf shared = contentPdf("/Pattern cs /P scn 5 5 40 90 re f /Q scn 55 5 40 90 re f",
                                "/Pattern << /P << /PatternType 2 /Shading 5 0 R >> "
                                "/Q << /PatternType 2 /Shading 6 0 R >> >>");
    for (int i = 0; i < 2; ++i)
        shared.add("<< /ShadingType 1 /Domain [0 100 0 100] /ColorSpace /DeviceRGB /Function 7 0 R >>");
    shared.addStream("/FunctionType 4 /Domain [0 100 0 100] /Range [0 1 0 1 0 1]",
                     "{100 div exch 100 div .3}");
    addRow("two with one program", shared);
}

void addImages()
{
    addRow("RGB", imagePdf(image + "/ColorSpace /DeviceRGB", fourColours));
    HandPdf profile = imagePdf(image + "/ColorSpace [/ICCBased 6 0 R]", fourColours);
    profile.addStream("/N 3", QColorSpace(QColorSpace::SRgb).iccProfile());
    addRow("RGB by a profile", profile);
    addRow("photograph", imagePdf(photograph + "/ColorSpace /DeviceRGB", jpeg()));
    HandPdf masked = imagePdf(image + "/ColorSpace /DeviceRGB /SMask 6 0 R", fourColours);
    masked.addStream(image + "/ColorSpace /DeviceGray", QByteArray("\xff\x80\x40\x00", 4));
    addRow("RGB with a soft mask", masked);
}

void addNested()
{
    HandPdf forms = contentPdf("/F Do", "/XObject << /F 6 0 R >>");
    forms.addStream("/Type /XObject /Subtype /Form /BBox [0 0 100 100]", "1 0 0 rg 10 10 80 30 re f");
    forms.addStream(
        "/Type /XObject /Subtype /Form /BBox [0 0 100 100] /Resources << /XObject << /G 5 0 R >> >>",
        "0 .8 .3 RG 5 w 20 60 60 30 re S /G Do");
    addRow("forms within forms", forms);

    HandPdf tiling = contentPdf("/Pattern cs /P scn 5 5 90 90 re f", "/Pattern << /P 5 0 R >>");
    tiling.addStream(
        "/PatternType 1 /PaintType 1 /TilingType 1 /BBox [0 0 20 20] /XStep 20 /YStep 20 /Resources << >>",
        "1 0 0 rg 0 0 10 10 re f 0 0 1 rg 10 10 10 10 re f");
    addRow("tiles", tiling);

    HandPdf glyphs = contentPdf("BT /T 80 Tf 10 20 Td (a) Tj ET", "/Font << /T 6 0 R >>");
    glyphs.addStream({}, "1000 0 d0 1 .5 0 rg 0 0 800 800 re f");
    glyphs.add("<< /Type /Font /Subtype /Type3 /FontMatrix [.001 0 0 .001 0 0] /FontBBox [0 0 1000 1000] "
               "/CharProcs << /a 5 0 R >> /Encoding << /Differences [97 /a] >> /FirstChar 97 /LastChar 97 "
               "/Widths [1000] /Resources << >> >>");
    addRow("glyphs", glyphs);

    HandPdf mask = contentPdf("/G gs 1 0 0 rg 5 5 90 90 re f",
                              "/ExtGState << /G << /SMask << /S /Luminosity /G 5 0 R >> >> >>");
    mask.addStream("/Type /XObject /Subtype /Form /BBox [0 0 100 100] "
                   "/Group << /S /Transparency /CS /DeviceRGB /I true >> /Resources << >>",
                   "0 1 0 rg 10 10 50 50 re f 1 1 0 rg 60 60 30 30 re f");
    addRow("luminosity mask", mask);

    HandPdf group = contentPdf("1 0 0 rg 0 0 60 60 re f /H gs /F Do",
                               "/ExtGState << /H << /ca .5 >> >> /XObject << /F 5 0 R >>");
    group.addStream("/Type /XObject /Subtype /Form /BBox [0 0 100 100] "
                    "/Group << /S /Transparency /CS /DeviceRGB /I true >> /Resources << >>",
                    "0 0 1 rg 30 30 60 60 re f");
    addRow("group", group);

    for (const char *mode : {"Hue", "Saturation", "Color", "Luminosity", "Multiply", "Screen", "Exclusion"}) {
        const bool keepsLuminosity = strlen(mode) < 6 || mode[0] == 'L' || strcmp(mode, "Saturation") == 0;
        HandPdf blended = contentPdf(QByteArray(keepsLuminosity ? "1 0 0 rg" : ".4 .4 .4 rg") +
                                         " 0 0 60 60 re f /B gs 0 .6 .2 rg 30 30 60 60 re f",
                                     QByteArray("/ExtGState << /B << /BM /") + mode + " >> >>");
        blended.page("/Group << /S /Transparency /CS /DeviceRGB >>");
        QTest::addRow("blended by %s", mode) << blended.bytes();
    }
}

QByteArray grayReadable(const HandPdf &hand)
{
    return JudgedPdf(edited(hand.bytes(), makeGray)).readable();
}

} // namespace

void TestGrayPdf::drawsTheSameInGray_data()
{
    QTest::addColumn<QByteArray>("pdf");
    addRow("fill and stroke", contentPdf("1 0 0 rg 0 0 1 RG 9 w 20 20 60 60 re B"));
    addShadings();
    addImages();
    addNested();
}

void TestGrayPdf::drawsTheSameInGray()
{
    QFETCH(QByteArray, pdf);
    const JudgedPdf before(pdf);
    const JudgedPdf after(edited(pdf, makeGray));
    QVERIFY2(hasColours(before.picture(dotsPerInch)), "the drawing has no colours to begin with");
    QCOMPARE(after.complaints(), QByteArray());
    QVERIFY(after.isGray());
    QVERIFY(!hasColours(after.picture(dotsPerInch)));

    const QRegularExpressionMatch match = QRegularExpression(QLatin1String(coloured))
                                              .match(QString::fromLatin1(withoutBinary(after.readable())));
    QVERIFY2(!match.hasMatch(), qPrintable(match.captured()));

    const Difference found = difference(before.picture(dotsPerInch), after.picture(dotsPerInch));
    QVERIFY2(found.average < 1.5, QByteArray::number(found.average).constData());
    QVERIFY2(found.worst < 6, QByteArray::number(found.worst).constData());
}

void TestGrayPdf::grayImagesStayUntouched()
{
    QVERIFY(grayReadable(imagePdf(image + "/ColorSpace /DeviceGray", "abcd")).contains("abcd"));
}

void TestGrayPdf::jpegStaysJpeg()
{
    const QList<QStringList> images =
        JudgedPdf(edited(imagePdf(photograph + "/ColorSpace /DeviceRGB", jpeg()).bytes(), makeGray)).images();
    QCOMPARE(images.size(), 1);
    QCOMPARE(images[0].mid(3, 6).join(QLatin1Char(' ')), QStringLiteral("80 60 gray 1 8 jpeg"));
}

void TestGrayPdf::sharedObjectsAreEditedOnce()
{
    HandPdf hand;
    hand.addStream(image + "/ColorSpace /DeviceRGB", fourColours);
    hand.addStream("/Type /XObject /Subtype /Form /BBox [0 0 1 1] /Resources << /XObject << /I 5 0 R >> >>",
                   "/I Do");
    hand.content("/I Do /J Do /F Do /F Do", "/XObject << /I 5 0 R /J 5 0 R /F 6 0 R >>");
    const JudgedPdf judged(edited(hand.bytes(), makeGray));
    QCOMPARE(judged.complaints(), QByteArray());
    QVERIFY(judged.readable().contains(QByteArray("\x4c\x96\x1d\xe2", 4)));
}

void TestGrayPdf::textStays()
{
    const HandPdf hand = contentPdf("1 0 0 rg BT /F 12 Tf 10 50 Td (Gray text) Tj ET",
                                    "/Font << /F << /Type /Font /Subtype /Type1 /BaseFont /Helvetica >> >>");
    QVERIFY(JudgedPdf(edited(hand.bytes(), makeGray)).text().contains("Gray text"));
}

void TestGrayPdf::refuses_data()
{
    QTest::addColumn<QByteArray>("pdf");
    QTest::addColumn<QByteArray>("named");
    const auto row = [](const char *name, const HandPdf &hand, const char *named) {
        QTest::newRow(name) << hand.bytes() << QByteArray(named);
    };
    const auto imageRow = [&](const char *name, const QByteArray &dictionary) {
        row(name, imagePdf(dictionary, fourColours), "an image of an unknown kind");
    };
    const auto shadingRow = [&](const char *name, const QByteArray &shading) {
        row(name, shadingPdf(shading), "a gradient of an unknown kind");
    };
    row("colour spaces", contentPdf({}, "/ColorSpace << /DefaultRGB /DeviceCMYK >>"),
        "a resource of the kind /ColorSpace");
    row("shadings", contentPdf({}, "/Shading << /S << >> >>"), "a resource of the kind /Shading");
    row("a transfer function", contentPdf({}, "/ExtGState << /G << /TR /Identity >> >>"),
        "/TR in a graphics state");
    HandPdf backdrop =
        contentPdf({}, "/ExtGState << /G << /SMask << /S /Luminosity /BC [1 0 0] /G 5 0 R >> >> >>");
    backdrop.addStream("/Type /XObject /Subtype /Form /BBox [0 0 9 9]", {});
    row("a coloured backdrop", backdrop, "/BC in a soft mask");
    row("content without a stream",
        contentPdf({}, "/Font << /T << /Subtype /Type3 /CharProcs << /a 1 >> >> >>"),
        "content that is no stream");
    HandPdf postScript = contentPdf({}, "/XObject << /X 5 0 R >>");
    postScript.addStream("/Subtype /PS", {});
    row("PostScript", postScript, "an external object that is neither image nor form");
    row("a stamp", HandPdf().page("/Annots [<< /Type /Annot /Subtype /Stamp /Rect [0 0 9 9] >>]"),
        "an annotation that is no link");
    row("a coloured link", HandPdf().page("/Annots [<< /Subtype /Link /Rect [0 0 9 9] /C [1 0 0] >>]"),
        "/C in a link");

    imageRow("inks", image + "/ColorSpace /DeviceCMYK");
    imageRow("a palette", image + "/ColorSpace [/Indexed /DeviceRGB 1 <ff000000ff00>]");
    imageRow("Lab", image + "/ColorSpace [/Lab << >>]");
    imageRow("a profile of inks", image + "/ColorSpace [/ICCBased << /N 4 >>]");
    imageRow("turned over", image + "/ColorSpace /DeviceRGB /Decode [1 0 1 0 1 0]");
    imageRow("a colour key", image + "/ColorSpace /DeviceRGB /Mask [0 0 0 0 0 0]");
    imageRow("a stencil", image + "/ImageMask true");
    imageRow("another filter", image + "/ColorSpace /DeviceRGB /Filter /JPXDecode");
    imageRow("two filters", image + "/ColorSpace /DeviceRGB /Filter [/FlateDecode /DCTDecode]");
    imageRow("4 bits", "/Subtype /Image /Width 2 /Height 2 /BitsPerComponent 4 /ColorSpace /DeviceRGB");
    imageRow("no width", "/Subtype /Image /Width 0 /Height 2 /BitsPerComponent 8 /ColorSpace /DeviceRGB");
    imageRow("too many samples",
             "/Subtype /Image /Width 65535 /Height 65535 /BitsPerComponent 8 /ColorSpace /DeviceRGB");

    shadingRow("inks", "/ShadingType 2 /ColorSpace /DeviceCMYK /Coords [0 0 9 9] /Function " + redToBlue);
    shadingRow("a background", "/Background [1 0 0] " + axial + redToBlue);
    shadingRow("one function for each colour", axial + "[" + redToBlue + redToBlue + redToBlue + "]");
    shadingRow("a range", axial + "<< /FunctionType 2 /Domain [0 1] /N 1 /Range [0 1 0 1 0 .5] /C0 [1 0 0] "
                                  "/C1 [0 0 1] >>");
    shadingRow("colours beyond red",
               axial + "<< /FunctionType 2 /Domain [0 1] /N 1 /C0 [2 0 0] /C1 [0 0 1] >>");
    shadingRow("colours of inks",
               axial + "<< /FunctionType 2 /Domain [0 1] /N 1 /C0 [1 0 0 0] /C1 [0 0 1 0] >>");
    shadingRow("no colours", axial + "<< /FunctionType 2 /Domain [0 1] /N 1 >>");
    shadingRow("samples", axial + "<< /FunctionType 0 /Domain [0 1] >>");
    shadingRow("nothing", "/ShadingType 2 /ColorSpace /DeviceRGB");
    HandPdf circle = shadingPdf(axial + "5 0 R");
    circle.add("<< /FunctionType 3 /Domain [0 1] /Bounds [] /Encode [0 1] /Functions [5 0 R] >>");
    row("a function of itself", circle, "a gradient of an unknown kind");
}

void TestGrayPdf::refuses()
{
    QFETCH(QByteArray, pdf);
    QFETCH(QByteArray, named);
    PdfDocument document(pdf);
    try {
        makeGray(document.pdf());
        QFAIL("taken");
    } catch (const std::exception &error) {
        QCOMPARE(QByteArray(error.what()),
                 "the browser wrote " + named + ", which cannot be turned gray: convert without --grayscale");
    }
}

QTEST_GUILESS_MAIN(TestGrayPdf)
#include "tst_graypdf.moc"
