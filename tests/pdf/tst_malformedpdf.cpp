#include "engine/pdf/document.h"
#include "engine/pdf/grayscale.h"
#include "engine/pdf/jpeg.h"
#include "engine/pdf/links.h"
#include "engine/pdf/lowquality.h"
#include "tests/pdf/handpdf.h"

#include <QElapsedTimer>
#include <QTest>

/// Files that no browser writes: each edit either comes to an end or reports what is wrong, soon.
class TestMalformedPdf : public QObject
{
    Q_OBJECT

private slots:
    void endsSoon_data();
    void endsSoon();
    void survivesChangedBytes();
    void refusesToLeaveColours_data();
    void refusesToLeaveColours();
};

namespace
{

constexpr qint64 soon = 20000;

/// Whether every edit ends, by itself or by an exception; the time is watched by the caller.
void editAll(const QByteArray &pdf)
{
    for (const auto edit : {makeGray, lowerQuality, removeExternalLinks}) {
        try {
            PdfDocument document(pdf);
            edit(document.pdf());
            document.compacted();
        } catch (const std::exception &error) {
            qDebug("%s", error.what());
        }
    }
}

HandPdf contentPdf(const QByteArray &operators, const QByteArray &resources)
{
    HandPdf hand;
    hand.content(operators, resources);
    return hand;
}

HandPdf imagePdf(const QByteArray &entries, const QByteArray &data)
{
    HandPdf hand = contentPdf("90 0 0 90 5 5 cm /I Do", "/XObject << /I 5 0 R >>");
    hand.addStream("/Type /XObject /Subtype /Image " + entries, data);
    return hand;
}

/// A bit of everything, to change bytes in.
HandPdf variedPdf()
{
    HandPdf hand = contentPdf(
        "q 1 0 0 rg /Ink cs .5 scn 9 9 9 9 re f /S sh Q /G gs /Pattern cs /P scn 0 0 9 9 re f BT /T 9 Tf (a) "
        "Tj ET "
        "q 9 0 0 9 0 0 cm /I Do /J Do BI /W 1 /H 1 /BPC 8 /CS /RGB ID abc EI Q",
        "/ColorSpace << /Ink [/Separation /A /DeviceRGB << /FunctionType 2 /Domain [0 1] /N 1 /C0 [1 1 1] "
        "/C1 [0 1 0] >>] >> "
        "/Shading << /S << /ShadingType 2 /ColorSpace /DeviceRGB /Coords [0 0 9 9] /Function 5 0 R >> >> "
        "/Pattern << /P 6 0 R >> /ExtGState << /G << /BM /Multiply /SMask << /S /Luminosity /G 7 0 R >> >> "
        ">> "
        "/Font << /T 8 0 R >> /XObject << /I 9 0 R /J 10 0 R >>");
    hand.addStream("/FunctionType 4 /Domain [0 1] /Range [0 1 0 1 0 1]", "{ dup dup 0.5 mul 1 exch sub }");
    hand.addStream(
        "/PatternType 1 /PaintType 1 /TilingType 1 /BBox [0 0 9 9] /XStep 9 /YStep 9 /Resources << >>",
        "0 1 0 rg 0 0 3 3 re f");
    hand.addStream(
        "/Subtype /Form /BBox [0 0 9 9] /Group << /S /Transparency /CS /DeviceRGB >> /Resources << >>",
        "/P <</MCID 0>> BDC 1 1 0 rg 0 0 9 9 re f EMC");
    hand.add("<< /Type /Font /Subtype /Type3 /FontMatrix [.1 0 0 .1 0 0] /FontBBox [0 0 9 9] /CharProcs << "
             "/a 7 0 R >> "
             "/Encoding << /Differences [97 /a] >> /FirstChar 97 /LastChar 97 /Widths [9] >>");
    hand.addStream("/Type /XObject /Subtype /Image /Width 2 /Height 2 /BitsPerComponent 4 "
                   "/ColorSpace [/Indexed /DeviceRGB 2 <ff0000 00ff00 0000ff>] /SMask 11 0 R",
                   QByteArray("\x01\x20", 2));
    const std::string jpeg = encodeJpeg({16, 16, 3, std::string(768, 'x')}, 70, true);
    hand.addStream(
        "/Type /XObject /Subtype /Image /Width 16 /Height 16 /BitsPerComponent 8 /ColorSpace /DeviceRGB "
        "/Filter /DCTDecode",
        QByteArray::fromStdString(jpeg));
    hand.addStream(
        "/Type /XObject /Subtype /Image /Width 2 /Height 2 /BitsPerComponent 8 /ColorSpace /DeviceGray",
        "abcd");
    hand.add("<< /Type /Annot /Subtype /Link /Rect [0 0 9 9] /C [1 0 0] /StructParent 1 "
             "/A << /S /URI /URI (x:y) /Next << /S /GoTo /D [3 0 R /Fit] >> >> >>");
    hand.add("<< /Type /StructTreeRoot /ParentTree << /Nums [1 14 0 R] >> >>");
    hand.add("<< /Type /StructElem /S /Link /K << /Type /OBJR /Obj 12 0 R >> >>");
    hand.page("/Annots [12 0 R]");
    hand.catalogue("/StructTreeRoot 13 0 R");
    return hand;
}

} // namespace

void TestMalformedPdf::endsSoon_data()
{
    QTest::addColumn<QByteArray>("pdf");
    const auto add = [](const char *name, const HandPdf &hand) { QTest::newRow(name) << hand.bytes(); };

    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("no PDF") << QByteArray("%PDF-1.7\nnothing else");
    HandPdf form = contentPdf("/F Do", "/XObject << /F 5 0 R >>");
    form.addStream("/Subtype /Form /Resources << /XObject << /F 5 0 R /G 5 0 R >> >>",
                   "2 0 0 2 0 0 cm /F Do /G Do");
    add("a form within itself", form);
    HandPdf space = contentPdf("/C cs 1 sc", "/ColorSpace << /C 5 0 R >>");
    space.add("[/Indexed 5 0 R 1 <00>]");
    add("a colour space of itself", space);
    HandPdf function =
        contentPdf("/S sh", "/Shading << /S << /ShadingType 2 /ColorSpace /DeviceRGB /Function 5 0 R >> >>");
    function.add("<< /FunctionType 3 /Domain [0 1] /Bounds [.1 .2 .3] /Encode [0 1 0 1 0 1 0 1] "
                 "/Functions [5 0 R 5 0 R 5 0 R 5 0 R] >>");
    add("a function of itself", function);
    HandPdf mask = contentPdf("/G gs", "/ExtGState << /G 5 0 R >>");
    mask.add("<< /SMask << /S /Luminosity /G 6 0 R >> /TR [] >>");
    mask.addStream("/Subtype /Form /Resources << /ExtGState << /G 5 0 R >> >>", "/G gs");
    add("a soft mask of itself", mask);
    HandPdf image =
        imagePdf("/Width 2 /Height 2 /BitsPerComponent 8 /ColorSpace /DeviceRGB /SMask 5 0 R", "x");
    add("an image that masks itself", image);
    add("a huge image",
        imagePdf("/Width 65535 /Height 65535 /BitsPerComponent 16 /ColorSpace /DeviceRGB", "x"));
    add("a large empty image",
        imagePdf("/Width 10000 /Height 10000 /BitsPerComponent 8 /ColorSpace /DeviceRGB", "x"));
    add("an image without size", imagePdf("/BitsPerComponent 8 /ColorSpace /DeviceRGB", "x"));
    add("an image of no bits",
        imagePdf("/Width 2 /Height 2 /BitsPerComponent 0 /ColorSpace /DeviceRGB", "x"));
    add("an image with a strange filter",
        imagePdf("/Width 2 /Height 2 /BitsPerComponent 8 /ColorSpace /DeviceRGB /Filter [1 /Odd]", "x"));
    add("a palette that is no text",
        imagePdf("/Width 2 /Height 2 /BitsPerComponent 8 /ColorSpace [/Indexed /DeviceRGB 9 9]", "x"));
    add("a huge table",
        contentPdf("/S sh", "/Shading << /S << /ShadingType 2 /ColorSpace /DeviceRGB /Function << "
                            "/FunctionType 0 /Domain [0 1] /Range [0 1] /Size [999999999] >> >> >>"));
    add("wrong types everywhere",
        contentPdf("/C cs /I Do /P scn /S sh /G gs", "/ColorSpace 1 /XObject [2] /Pattern << /P 3 >> "
                                                     "/Shading << /S (x) >> /ExtGState << /G /N >> /Font 9"));
    HandPdf outline;
    outline.add("<< /First 6 0 R >>");
    outline.add("<< /Next 6 0 R /First 5 0 R /C [1 2 (x)] >>");
    outline.catalogue("/Outlines 5 0 R");
    add("an outline in circles", outline);
    HandPdf tree;
    tree.add("<< /Type /Annot /Subtype /Link /A << /S /URI >> /StructParent 4 >>");
    tree.add("<< /ParentTree 7 0 R >>");
    tree.add("<< /Kids [7 0 R 7 0 R] >>");
    tree.page("/Annots [5 0 R]");
    tree.catalogue("/StructTreeRoot 6 0 R");
    add("a parent tree in circles", tree);
    HandPdf mesh = contentPdf("/S sh", "/Shading << /S 5 0 R >>");
    mesh.addStream(
        "/ShadingType 6 /ColorSpace /DeviceRGB /BitsPerCoordinate 33 /BitsPerComponent 99 /BitsPerFlag 0 "
        "/Decode [0 1]",
        "x");
    add("a mesh of strange bits", mesh);
    add("deep states", contentPdf(QByteArray("q ").repeated(500000), {}));
    add("deep marks", contentPdf(QByteArray("/P BMC ").repeated(300000), {}));
    add("an inline image without end", contentPdf("BI /W 9 /H 9 /CS /RGB ID x", {}));
    add("deep arrays", contentPdf(QByteArray("[").repeated(100000), {}));
}

void TestMalformedPdf::endsSoon()
{
    QFETCH(QByteArray, pdf);
    QElapsedTimer timer;
    timer.start();
    editAll(pdf);
    QVERIFY2(timer.elapsed() < soon, QByteArray::number(timer.elapsed()).constData());
}

void TestMalformedPdf::survivesChangedBytes()
{
    const QByteArray sound = variedPdf().bytes();
    unsigned random = 12345;
    const auto next = [&random](qsizetype below) {
        random = random * 1664525 + 1013904223;
        return static_cast<qsizetype>((random >> 8U) % static_cast<unsigned>(below));
    };
    QElapsedTimer timer;
    timer.start();
    for (int round = 0; round < 400; ++round) {
        QByteArray pdf = sound;
        for (qsizetype change = 0; change <= next(6); ++change) {
            const qsizetype at = next(pdf.size());
            if (next(3) == 0)
                pdf[at] = static_cast<char>(next(256));
            else
                pdf[at] = sound[next(sound.size())];
        }
        try {
            PdfDocument document(pdf);
            makeGray(document.pdf());
            lowerQuality(document.pdf());
            removeExternalLinks(document.pdf());
            document.compacted();
        } catch (const std::exception &) {
            // Refusing is as good as ending.
        }
    }
    QVERIFY2(timer.elapsed() < 5 * soon, QByteArray::number(timer.elapsed()).constData());
}

void TestMalformedPdf::refusesToLeaveColours_data()
{
    QTest::addColumn<QByteArray>("pdf");
    QTest::newRow("unknown filter of a page") << [] {
        HandPdf hand = contentPdf("/F Do", "/XObject << /F 5 0 R >>");
        hand.addStream("/Subtype /Form /BBox [0 0 9 9] /Filter /Odd", "1 0 0 rg");
        return hand.bytes();
    }();
    QTest::newRow("unknown filter of an image")
        << imagePdf("/Width 1 /Height 1 /BitsPerComponent 8 /ColorSpace /DeviceRGB /Filter /Odd", "xyz")
               .bytes();
    QTest::newRow("unknown colour space") << contentPdf("/C cs 1 sc 0 0 9 9 re f", {}).bytes();
    QTest::newRow("unknown shading")
        << contentPdf("/S sh", "/Shading << /S << /ShadingType 2 /ColorSpace /DeviceRGB >> >>").bytes();
}

void TestMalformedPdf::refusesToLeaveColours()
{
    QFETCH(QByteArray, pdf);
    PdfDocument document(pdf);
    QVERIFY_THROWS_EXCEPTION(std::exception, makeGray(document.pdf()));
}

QTEST_APPLESS_MAIN(TestMalformedPdf)
#include "tst_malformedpdf.moc"
