#include "engine/pdf/grayscale.h"
#include "engine/pdf/jpeg.h"
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
    void coloursOfAnnotations();
    void coloursOfTheOutline();
    void coloursOfFormFields();
    void paletteSamplesStayUntouched();
    void grayImagesStayUntouched();
    void jpegStaysJpeg();
    void colourKeyBecomesStencil();
    void defaultSpacesAreGone();
    void sharedObjectsAreEditedOnce();
    void textStays();
};

namespace
{

constexpr int dotsPerInch = 144;

const QByteArray image = "/Type /XObject /Subtype /Image /Width 2 /Height 2 /BitsPerComponent 8 ";
const QByteArray showImage = "90 0 0 90 5 5 cm /I Do";
const QByteArray fourColours("\xff\x00\x00\x00\xff\x00\x00\x00\xff\xff\xff\x00", 12);
const QByteArray redToBlue = "<< /FunctionType 2 /Domain [0 1] /N 1 /C0 [1 0 0] /C1 [0 0 1] >>";
const QByteArray spot =
    "[/Separation /Spot /DeviceRGB << /FunctionType 2 /Domain [0 1] /N 1 /C0 [1 1 1] /C1 [0 .5 1] >>]";

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

QByteArray bigEndian(int value)
{
    return {QByteArray(1, static_cast<char>(value >> 8)) + static_cast<char>(value & 255)};
}

/// A point of a mesh with coordinates of 16 and colours of 8 bits.
QByteArray point(int x, int y)
{
    return bigEndian(x * 655) + bigEndian(y * 655);
}

QByteArray photograph(int width, int height)
{
    Raster raster{width, height, 3, {}};
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            raster.samples.push_back(static_cast<char>(255 * x / width));
            raster.samples.push_back(static_cast<char>(255 * y / height));
            raster.samples.push_back(static_cast<char>(200));
        }
    }
    return QByteArray::fromStdString(encodeJpeg(raster, 90, true));
}

/// A page whose content paints the shading /S all over.
HandPdf shadingPdf(const QByteArray &shading)
{
    HandPdf hand;
    hand.content("/S sh", "/Shading << /S " + shading + " >>");
    return hand;
}

HandPdf imagePdf(const QByteArray &dictionary, const QByteArray &data)
{
    HandPdf hand;
    hand.addStream(image + dictionary, data);
    hand.content(showImage, "/XObject << /I 5 0 R >>");
    return hand;
}

HandPdf contentPdf(const QByteArray &operators, const QByteArray &resources = {})
{
    HandPdf hand;
    hand.content(operators, resources);
    return hand;
}

HandPdf functionPdf(const QByteArray &dictionary, const QByteArray &data, const QByteArray &shading)
{
    HandPdf hand = shadingPdf("<< " + shading + " /Function 5 0 R >>");
    hand.addStream(dictionary, data);
    return hand;
}

HandPdf meshPdf(const QByteArray &dictionary, const QByteArray &data)
{
    HandPdf hand = shadingPdf("5 0 R");
    hand.addStream("/ColorSpace /DeviceRGB /BitsPerCoordinate 16 /BitsPerComponent 8 "
                   "/Decode [0 100 0 100 0 1 0 1 0 1] " +
                       dictionary,
                   data);
    return hand;
}

void addRow(const char *name, const HandPdf &hand)
{
    QTest::newRow(name) << hand.bytes();
}

void addOperators()
{
    addRow("fill and stroke", contentPdf("1 0 0 rg 0 0 1 RG 9 w 20 20 60 60 re B"));
    addRow("a spot colour",
           contentPdf("/Ink cs .7 scn 10 10 80 80 re f", "/ColorSpace << /Ink " + spot + " >>"));
    HandPdf inks = contentPdf("/Inks cs 1 .2 scn 10 10 80 80 re f",
                              "/ColorSpace << /Inks [/DeviceN [/One /Two] /DeviceRGB 5 0 R] >>");
    inks.addStream("/FunctionType 4 /Domain [0 1 0 1] /Range [0 1 0 1 0 1]",
                   "{ 1 exch sub exch 1 exch sub 0.5 }");
    addRow("several spot colours", inks);
    addRow("a palette", contentPdf("/Few cs 1 sc 10 10 80 80 re f",
                                   "/ColorSpace << /Few [/Indexed /DeviceRGB 1 <ff0000 20c040>] >>"));
    addRow("Lab", contentPdf("/L cs 60 50 -20 sc 10 10 80 80 re f",
                             "/ColorSpace << /L [/Lab << /WhitePoint [.9505 1 1.089] >>] >>"));
    addRow("calibrated RGB",
           contentPdf("/C cs .9 .2 .1 sc 10 10 80 80 re f",
                      "/ColorSpace << /C [/CalRGB << /WhitePoint [.9505 1 1.089] /Gamma [1.8 1.8 1.8] "
                      "/Matrix [.4124 .2126 .0193 .3576 .7152 .1192 .1805 .0722 .9505] >>] >>"));
    addRow("inline image", contentPdf("q 90 0 0 90 5 5 cm BI /W 2 /H 2 /BPC 8 /CS /RGB /F /AHx ID "
                                      "ff0000 00ff00 0000ff ffff00> EI Q"));
    addRow(
        "inline image with a palette",
        contentPdf(
            "q 90 0 0 90 5 5 cm BI /W 2 /H 2 /BPC 1 /CS [/I /RGB 1 <ff000000ff00>] /F /AHx ID 80 40> EI Q"));
    addRow("inline image in a named space",
           contentPdf("q 90 0 0 90 5 5 cm BI /W 2 /H 1 /BPC 8 /CS /Ink /F /AHx ID 40 ff> EI Q",
                      "/ColorSpace << /Ink " + spot + " >>"));
    const QByteArray twice = QByteArray("ff000000ff000000ffffff00>").toHex();
    addRow(
        "inline image with two filters",
        contentPdf("q 90 0 0 90 5 5 cm BI /W 2 /H 2 /BPC 8 /CS /RGB /F [/AHx /AHx] ID " + twice + "> EI Q"));
}

void addShadings()
{
    const QByteArray axial = "<< /ShadingType 2 /ColorSpace /DeviceRGB /Coords [0 0 100 0] /Function ";
    addRow("axial", shadingPdf(axial + redToBlue + " >>"));
    addRow("axial, squared",
           shadingPdf(axial + "<< /FunctionType 2 /Domain [0 1] /N 2 /C0 [1 1 0] /C1 [0 0 1] >> >>"));
    addRow("axial, stitched",
           shadingPdf(axial + "<< /FunctionType 3 /Domain [0 1] /Bounds [.3] /Encode [0 1 1 0] /Functions [" +
                      redToBlue +
                      " << /FunctionType 2 /Domain [0 1] /N 1 /C0 [1 1 0] /C1 [0 1 0] >>] >> >>"));
    addRow("axial, a function for each colour",
           shadingPdf(axial +
                      "[<< /FunctionType 2 /Domain [0 1] /N 1 >> << /FunctionType 2 /Domain [0 1] /N 3 >> "
                      "<< /FunctionType 2 /Domain [0 1] /N 1 /C0 [1] /C1 [0] >>] >>"));
    addRow(
        "radial",
        shadingPdf("<< /ShadingType 3 /ColorSpace /DeviceRGB /Coords [40 40 0 50 50 50] /Extend [true true] "
                   "/Function " +
                   redToBlue + " >>"));
    addRow("axial over a spot colour",
           shadingPdf("<< /ShadingType 2 /Coords [0 0 100 0] /ColorSpace " + spot +
                      " /Function << /FunctionType 2 /Domain [0 1] /N 1 >> >>"));
    addRow("sampled",
           functionPdf("/FunctionType 0 /Domain [0 1] /Range [0 1 0 1 0 1] /Size [4] /BitsPerSample 8",
                       fourColours, "/ShadingType 2 /ColorSpace /DeviceRGB /Coords [0 0 100 0]"));
    addRow("a program over one input",
           functionPdf("/FunctionType 4 /Domain [0 1] /Range [0 1 0 1 0 1]",
                       "{ dup 2 mul exch dup 1 exch sub exch .4 mul }",
                       "/ShadingType 2 /ColorSpace /DeviceRGB /Coords [0 0 100 0]"));
    addRow("a program over the plane",
           functionPdf("/FunctionType 4 /Domain [0 100 0 100] /Range [0 1 0 1 0 1]",
                       "{ % x y\n 100 div exch 100 div dup .5 gt {pop 2}{-1} ifelse 0.3 }",
                       "/ShadingType 1 /Domain [0 100 0 100] /ColorSpace /DeviceRGB"));
    addRow(
        "samples over the plane",
        functionPdf("/FunctionType 0 /Domain [0 100 0 100] /Range [0 1 0 1 0 1] /Size [2 2] /BitsPerSample 8",
                    fourColours, "/ShadingType 1 /Domain [0 100 0 100] /ColorSpace /DeviceRGB"));
    HandPdf pattern =
        contentPdf("/Pattern cs /P scn 5 5 90 90 re f",
                   "/Pattern << /P << /PatternType 2 /Shading << /ShadingType 2 /ColorSpace /DeviceRGB "
                   "/Background [0 1 0] /Coords [30 0 70 0] /Function " +
                       redToBlue + " >> >> >>");
    addRow("a pattern with background", pattern);
}

void addMeshes()
{
    const QByteArray red("\xff\x00\x00", 3);
    const QByteArray green("\x00\xff\x00", 3);
    const QByteArray blue("\x00\x00\xff", 3);
    const QByteArray none(1, '\0');
    addRow("triangles",
           meshPdf("/ShadingType 4 /BitsPerFlag 8",
                   none + point(0, 0) + red + none + point(100, 0) + green + none + point(50, 100) + blue));
    addRow("lattice",
           meshPdf("/ShadingType 5 /VerticesPerRow 2",
                   point(0, 0) + red + point(100, 0) + green + point(0, 100) + blue + point(100, 100) + red));
    QByteArray edge;
    for (const auto &[x, y] : QList<QPair<int, int>>{{0, 0},
                                                     {0, 33},
                                                     {0, 66},
                                                     {0, 100},
                                                     {33, 100},
                                                     {66, 100},
                                                     {100, 100},
                                                     {100, 66},
                                                     {100, 33},
                                                     {100, 0},
                                                     {66, 0},
                                                     {33, 0}})
        edge += point(x, y);
    addRow("Coons patch", meshPdf("/ShadingType 6 /BitsPerFlag 8", none + edge + red + green + blue + red));
    const QByteArray inner = point(33, 33) + point(33, 66) + point(66, 66) + point(66, 33);
    addRow("tensor patch",
           meshPdf("/ShadingType 7 /BitsPerFlag 8", none + edge + inner + red + green + blue + green));
    HandPdf mesh = shadingPdf("5 0 R");
    mesh.addStream(
        "/ShadingType 4 /ColorSpace /DeviceRGB /BitsPerFlag 8 /BitsPerCoordinate 16 /BitsPerComponent 8 "
        "/Decode [0 100 0 100 0 1] /Function " +
            redToBlue,
        none + point(0, 0) + none + none + point(100, 0) + "\x80" + none + point(50, 100) + "\xff");
    addRow("triangles with a function", mesh);
}

void addImages()
{
    addRow("RGB", imagePdf("/ColorSpace /DeviceRGB", fourColours));
    addRow("RGB, turned over", imagePdf("/ColorSpace /DeviceRGB /Decode [1 0 1 0 0 1]", fourColours));
    addRow("RGB of 4 bits",
           imagePdf("/ColorSpace /DeviceRGB /BitsPerComponent 4", QByteArray("\xf0\x00\xf0\x00\xff\xf0", 6)));
    addRow("RGB of 16 bits",
           imagePdf("/ColorSpace /DeviceRGB /BitsPerComponent 16",
                    QByteArray("\xff\xff\0\0\0\0\0\0\xff\xff\0\0\0\0\0\0\xff\xff\xff\xff\x80\0\0\0", 24)));
    addRow("Lab", imagePdf("/ColorSpace [/Lab << /WhitePoint [.9505 1 1.089] /Range [-100 100 -100 100] >>]",
                           QByteArray("\x80\xc0\x80\xa0\x40\x80\xc0\x80\xe0\x60\x90\x40", 12)));
    addRow("palette", imagePdf("/ColorSpace [/Indexed /DeviceRGB 3 <ff0000 00ff00 0000ff ffff00>]",
                               QByteArray("\0\1\2\3", 4)));
    addRow("spot colour", imagePdf("/ColorSpace " + spot, QByteArray("\x00\x50\xa0\xff", 4)));
    HandPdf profile = imagePdf("/ColorSpace [/ICCBased 6 0 R]", fourColours);
    profile.addStream("/N 3", QColorSpace(QColorSpace::SRgb).iccProfile());
    addRow("profile", profile);
    HandPdf photo;
    photo.addStream(
        "/Type /XObject /Subtype /Image /Width 80 /Height 60 /BitsPerComponent 8 /ColorSpace /DeviceRGB "
        "/Filter /DCTDecode",
        photograph(80, 60));
    photo.content(showImage, "/XObject << /I 5 0 R >>");
    addRow("photograph", photo);
    HandPdf wrapped;
    wrapped.addStream(
        "/Type /XObject /Subtype /Image /Width 80 /Height 60 /BitsPerComponent 8 /ColorSpace /DeviceRGB "
        "/Filter [/ASCIIHexDecode /DCTDecode] /Decode [1 0 1 0 1 0]",
        photograph(80, 60).toHex() + ">");
    wrapped.content(showImage, "/XObject << /I 5 0 R >>");
    addRow("photograph, wrapped and turned over", wrapped);
    HandPdf masked = imagePdf("/ColorSpace /DeviceRGB /SMask 6 0 R", fourColours);
    masked.addStream(image + "/ColorSpace /DeviceGray", QByteArray("\xff\x80\x40\x00", 4));
    addRow("RGB with a soft mask", masked);
    // The four colours, blended with red by the mask.
    HandPdf blended = imagePdf("/ColorSpace /DeviceRGB /SMask 6 0 R",
                               QByteArray("\xff\x00\x00\x7f\x80\x00\xbf\x00\x40\xff\x00\x00", 12));
    blended.addStream(image + "/ColorSpace /DeviceGray /Matte [1 0 0]", QByteArray("\xff\x80\x40\x00", 4));
    addRow("RGB blended with its soft mask beforehand", blended);
    addRow("RGB with colour key", imagePdf("/ColorSpace /DeviceRGB /Mask [0 0 200 255 0 10]", fourColours));
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
    addRow("coloured tiles", tiling);

    HandPdf stencil = contentPdf("/C cs .9 .1 .4 /P scn 5 5 90 90 re f",
                                 "/ColorSpace << /C [/Pattern /DeviceRGB] >> /Pattern << /P 5 0 R >>");
    stencil.addStream(
        "/PatternType 1 /PaintType 2 /TilingType 1 /BBox [0 0 20 20] /XStep 20 /YStep 20 /Resources << >>",
        "0 0 10 10 re f");
    addRow("uncoloured tiles", stencil);

    HandPdf glyphs = contentPdf("BT /T 80 Tf 10 20 Td (a) Tj ET", "/Font << /T 6 0 R >>");
    glyphs.addStream({}, "1000 0 d0 1 .5 0 rg 0 0 800 800 re f");
    glyphs.add("<< /Type /Font /Subtype /Type3 /FontMatrix [.001 0 0 .001 0 0] /FontBBox [0 0 1000 1000] "
               "/CharProcs << /a 5 0 R >> /Encoding << /Differences [97 /a] >> /FirstChar 97 /LastChar 97 "
               "/Widths [1000] /Resources << >> >>");
    addRow("coloured glyphs", glyphs);

    HandPdf mask = contentPdf("/G gs 1 0 0 rg 5 5 90 90 re f",
                              "/ExtGState << /G << /SMask << /S /Luminosity /BC [0 0 .5] /G 5 0 R >> >> >>");
    mask.addStream("/Type /XObject /Subtype /Form /BBox [0 0 100 100] "
                   "/Group << /S /Transparency /CS /DeviceRGB /I true >> /Resources << >>",
                   "0 1 0 rg 10 10 50 50 re f 1 1 0 rg 60 60 30 30 re f");
    addRow("luminosity mask", mask);

    HandPdf group = contentPdf("1 0 0 rg 0 0 60 60 re f /H gs /F Do",
                               "/ExtGState << /H << /ca .5 >> >> /XObject << /F 5 0 R >>");
    group.addStream("/Type /XObject /Subtype /Form /BBox [0 0 100 100] "
                    "/Group << /S /Transparency /CS /DeviceRGB /I true /K true >> /Resources << >>",
                    "0 0 1 rg 30 30 60 60 re f");
    addRow("group", group);

    for (const char *mode : {"Hue", "Saturation", "Color", "Luminosity"}) {
        HandPdf blended = contentPdf("1 0 0 rg 0 0 60 60 re f /B gs 0 .6 .2 rg 30 30 60 60 re f",
                                     QByteArray("/ExtGState << /B << /BM /") + mode + " >> >>");
        blended.page("/Group << /S /Transparency /CS /DeviceRGB >>");
        QTest::addRow("blended by %s", mode) << blended.bytes();
    }
    for (const char *mode : {"Multiply", "Screen", "Exclusion"}) {
        HandPdf blended = contentPdf(".4 g 0 0 60 60 re f /B gs 0 .6 .2 rg 30 30 60 60 re f",
                                     QByteArray("/ExtGState << /B << /BM /") + mode + " >> >>");
        blended.page("/Group << /S /Transparency /CS /DeviceRGB >>");
        QTest::addRow("gray blended by %s", mode) << blended.bytes();
    }

    HandPdf appearance;
    appearance.addStream("/Type /XObject /Subtype /Form /BBox [0 0 80 80]", "1 0 0 rg 0 0 80 80 re f");
    appearance.addStream("/Type /XObject /Subtype /Form /BBox [0 0 80 80]", "0 0 1 rg 0 0 80 80 re f");
    appearance.add("<< /Type /Annot /Subtype /Stamp /F 4 /Rect [10 10 90 90] /AS /On "
                   "/AP << /N << /On 5 0 R /Off 6 0 R >> >> >>");
    appearance.page("/Annots [7 0 R]");
    addRow("appearance", appearance);
}

QByteArray grayReadable(const HandPdf &hand)
{
    return JudgedPdf(edited(hand.bytes(), makeGray)).readable();
}

} // namespace

void TestGrayPdf::drawsTheSameInGray_data()
{
    QTest::addColumn<QByteArray>("pdf");
    addOperators();
    addShadings();
    addMeshes();
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

void TestGrayPdf::coloursOfAnnotations()
{
    HandPdf hand;
    hand.add(
        "<< /Type /Annot /Subtype /Square /Rect [9 9 90 90] /C [1 0 0] /IC [0 0 0 .5] /DA (0 1 0 rg /F 9 Tf) "
        "/MK << /BC [0 0 1] /BG [] >> >>");
    hand.page("/Annots [5 0 R]");
    const QByteArray readable = grayReadable(hand).simplified();
    for (const char *part : {"/C [ 0.299 ]", "/IC [ 0.5 ]", "/BC [ 0.114 ]", "/BG [ ]", "(0.587 g /F 9 Tf)"})
        QVERIFY2(readable.contains(part), part);
}

void TestGrayPdf::coloursOfTheOutline()
{
    HandPdf hand;
    hand.add("<< /First 6 0 R /Last 6 0 R /Count 1 >>");
    hand.add("<< /Title (x) /Parent 5 0 R /C [1 0 0] /First 6 0 R /Next 5 0 R >>");
    hand.catalogue("/Outlines 5 0 R");
    QVERIFY(grayReadable(hand).simplified().contains("/C [ 0.299 0.299 0.299 ]"));
}

void TestGrayPdf::coloursOfFormFields()
{
    HandPdf hand;
    hand.addStream("/Type /XObject /Subtype /Form /BBox [0 0 9 9]", "1 0 0 rg f");
    hand.catalogue("/AcroForm << /Fields [] /DA (1 0 0 rg) /DR << /XObject << /F 5 0 R >> >> >>");
    const QByteArray readable = grayReadable(hand);
    QCOMPARE(readable.count("0.299 g"), 2);
    QVERIFY(!readable.contains("rg"));
}

void TestGrayPdf::paletteSamplesStayUntouched()
{
    const QByteArray readable =
        grayReadable(imagePdf("/ColorSpace [/Indexed /DeviceRGB 3 <ff0000 00ff00 0000ff ffff00>]", "abcd"));
    QVERIFY(readable.contains("abcd"));
    QVERIFY(readable.contains("<4c961de2>"));
}

void TestGrayPdf::grayImagesStayUntouched()
{
    const QByteArray readable = grayReadable(imagePdf("/ColorSpace /DeviceGray /Decode [1 0]", "abcd"));
    QVERIFY(readable.contains("abcd") && readable.simplified().contains("/Decode [ 1 0 ]"));
}

void TestGrayPdf::jpegStaysJpeg()
{
    HandPdf hand;
    hand.addStream(
        "/Type /XObject /Subtype /Image /Width 80 /Height 60 /BitsPerComponent 8 /ColorSpace /DeviceRGB "
        "/Filter /DCTDecode",
        photograph(80, 60));
    hand.content(showImage, "/XObject << /I 5 0 R >>");
    const QList<QStringList> images = JudgedPdf(edited(hand.bytes(), makeGray)).images();
    QCOMPARE(images.size(), 1);
    QCOMPARE(images[0].mid(3, 6).join(QLatin1Char(' ')), QStringLiteral("80 60 gray 1 8 jpeg"));
}

void TestGrayPdf::colourKeyBecomesStencil()
{
    const QList<QStringList> images =
        JudgedPdf(
            edited(imagePdf("/ColorSpace /DeviceRGB /Mask [0 0 255 255 0 0]", fourColours).bytes(), makeGray))
            .images();
    QCOMPARE(images.size(), 2);
    QCOMPARE(images[1][2], QStringLiteral("mask"));
}

void TestGrayPdf::defaultSpacesAreGone()
{
    const QByteArray readable = grayReadable(
        contentPdf("1 0 0 rg 9 9 9 9 re f",
                   "/ColorSpace << /DefaultRGB [/CalRGB << /WhitePoint [1 1 1] >>] /Mine /DeviceRGB >>"));
    QVERIFY(!readable.contains("/Default") && readable.contains("/Mine /DeviceGray"));
}

void TestGrayPdf::sharedObjectsAreEditedOnce()
{
    // Were it edited twice, its gray would be looked up in the palette of grays again.
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

QTEST_GUILESS_MAIN(TestGrayPdf)
#include "tst_graypdf.moc"
