#include "engine/pdf/images/shownsize.h"
#include "engine/pdf/writing/document.h"
#include "tests/pdf/handpdf.h"

#include <QTest>

class TestShownSize : public QObject
{
    Q_OBJECT

private slots:
    void followsTransformations_data();
    void followsTransformations();
    void takesTheLargestUse();
    void followsForms();
    void followsPatterns();
    void followsGlyphs();
    void followsSoftMasks();
    void leavesOutWhatIsNotShown();
    void survivesFormsWithinThemselves();
};

namespace
{

const QByteArray image =
    "/Type /XObject /Subtype /Image /Width 1 /Height 1 /BitsPerComponent 8 /ColorSpace /DeviceGray";

std::map<QPDFObjGen, ShownSize> sizesIn(const HandPdf &hand)
{
    PdfDocument document(hand.bytes());
    return shownSizes(DocumentParts::of(document.pdf()));
}

QSizeF sizeOf(const HandPdf &hand, int number)
{
    const auto sizes = sizesIn(hand);
    const auto found = sizes.find(QPDFObjGen(number, 0));
    return found == sizes.end() ? QSizeF() : QSizeF(found->second.width, found->second.height);
}

} // namespace

void TestShownSize::followsTransformations_data()
{
    QTest::addColumn<QByteArray>("operators");
    QTest::addColumn<QSizeF>("size");
    QTest::newRow("as it is") << QByteArray("/I Do") << QSizeF(1, 1);
    QTest::newRow("scaled") << QByteArray("30 0 0 20 5 5 cm /I Do") << QSizeF(30, 20);
    QTest::newRow("scaled twice") << QByteArray("2 0 0 3 0 0 cm 5 0 0 5 0 0 cm /I Do") << QSizeF(10, 15);
    QTest::newRow("in order") << QByteArray("0 1 -1 0 0 0 cm 30 0 0 20 0 0 cm /I Do") << QSizeF(30, 20);
    QTest::newRow("turned") << QByteArray("0 30 -20 0 0 0 cm /I Do") << QSizeF(30, 20);
    QTest::newRow("mirrored") << QByteArray("30 0 0 -20 0 0 cm /I Do") << QSizeF(30, 20);
    QTest::newRow("slanting") << QByteArray("3 4 -6 8 0 0 cm /I Do") << QSizeF(5, 10);
    QTest::newRow("restored") << QByteArray("q 9 0 0 9 0 0 cm Q 2 0 0 2 0 0 cm /I Do") << QSizeF(2, 2);
    QTest::newRow("no numbers") << QByteArray("cm /I Do") << QSizeF(0, 0);
}

void TestShownSize::followsTransformations()
{
    QFETCH(QByteArray, operators);
    QFETCH(QSizeF, size);
    HandPdf hand;
    const int number = hand.addStream(image, "x");
    hand.content(operators, "/XObject << /I 5 0 R >>");
    QCOMPARE(sizeOf(hand, number), size);
}

void TestShownSize::takesTheLargestUse()
{
    HandPdf hand;
    const int number = hand.addStream(image, "x");
    hand.content("q 10 0 0 40 0 0 cm /I Do Q q 20 0 0 30 0 0 cm /I Do Q", "/XObject << /I 5 0 R >>");
    QCOMPARE(sizeOf(hand, number), QSizeF(20, 40));
}

void TestShownSize::followsForms()
{
    HandPdf hand;
    const int number = hand.addStream(image, "x");
    hand.addStream(
        "/Subtype /Form /BBox [0 0 9 9] /Matrix [2 0 0 2 0 0] /Resources << /XObject << /I 5 0 R >> >>",
        "4 0 0 3 0 0 cm /I Do");
    hand.addStream("/Subtype /Form /BBox [0 0 9 9] /Resources << /XObject << /F 6 0 R >> >>",
                   "5 0 0 5 0 0 cm /F Do");
    hand.content(".5 0 0 .5 0 0 cm /F Do", "/XObject << /F 7 0 R >>");
    QCOMPARE(sizeOf(hand, number), QSizeF(20, 15));
}

void TestShownSize::followsPatterns()
{
    HandPdf hand;
    const int number = hand.addStream(image, "x");
    hand.addStream(
        "/PatternType 1 /PaintType 1 /TilingType 1 /BBox [0 0 9 9] /XStep 9 /YStep 9 /Matrix [2 0 0 2 0 0] "
        "/Resources << /XObject << /I 5 0 R >> >>",
        "4 0 0 3 0 0 cm /I Do");
    // The transformation on the page does not touch the pattern.
    hand.content("7 0 0 7 0 0 cm /Pattern cs /P scn 0 0 9 9 re f", "/Pattern << /P 6 0 R >>");
    QCOMPARE(sizeOf(hand, number), QSizeF(8, 6));
}

void TestShownSize::followsGlyphs()
{
    HandPdf hand;
    const int number = hand.addStream(image, "x");
    hand.addStream({}, "1000 0 0 0 1000 1000 d1 1000 0 0 1000 0 0 cm /I Do");
    hand.add("<< /Type /Font /Subtype /Type3 /FontMatrix [.001 0 0 .001 0 0] /FontBBox [0 0 1000 1000] "
             "/CharProcs << /a 6 0 R >> /Encoding << /Differences [97 /a] >> /FirstChar 97 /LastChar 97 "
             "/Widths [1000] /Resources << /XObject << /I 5 0 R >> >> >>");
    hand.content("2 0 0 2 0 0 cm BT /T 12 Tf 1 0 0 -1 20 20 Tm (a) Tj ET", "/Font << /T 7 0 R >>");
    const QSizeF size = sizeOf(hand, number);
    QVERIFY(qAbs(size.width() - 24) < 1e-9 && qAbs(size.height() - 24) < 1e-9);
}

void TestShownSize::followsSoftMasks()
{
    HandPdf hand;
    const int inMask = hand.addStream(image, "x");
    hand.addStream("/Subtype /Form /BBox [0 0 9 9] /Group << /S /Transparency /CS /DeviceGray >> "
                   "/Resources << /XObject << /I 5 0 R >> >>",
                   "4 0 0 3 0 0 cm /I Do");
    const int softMask = hand.addStream(image, "x");
    hand.addStream(image + " /SMask 7 0 R", "x");
    hand.content("3 0 0 3 0 0 cm /G gs 5 0 0 6 0 0 cm /I Do",
                 "/ExtGState << /G << /SMask << /S /Luminosity /G 6 0 R >> >> >> /XObject << /I 8 0 R >>");
    QCOMPARE(sizeOf(hand, inMask), QSizeF(12, 9));
    QCOMPARE(sizeOf(hand, softMask), QSizeF(15, 18));
}

void TestShownSize::leavesOutWhatIsNotShown()
{
    HandPdf hand;
    hand.addStream(image, "x");
    hand.content("f", "/XObject << /I 5 0 R >>");
    QVERIFY(sizesIn(hand).empty());
}

void TestShownSize::survivesFormsWithinThemselves()
{
    HandPdf hand;
    const int number = hand.addStream(image, "x");
    const QByteArray form =
        "/Subtype /Form /BBox [0 0 9 9] /Resources << /XObject << /I 5 0 R /A 6 0 R /B 7 0 R >> >>";
    hand.addStream(form, "2 0 0 2 0 0 cm /I Do /A Do /B Do");
    hand.addStream(form, "3 0 0 3 0 0 cm /I Do /A Do /B Do");
    hand.content("/A Do", "/XObject << /A 6 0 R >>");
    const QSizeF size = sizeOf(hand, number);
    QVERIFY(size.width() > 100 && std::isfinite(size.width()));
}

QTEST_APPLESS_MAIN(TestShownSize)
#include "tst_shownsize.moc"
