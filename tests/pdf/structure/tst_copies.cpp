#include "engine/pdf/structure/copies.h"
#include "tests/pdf/handpdf.h"
#include "tests/pdf/judges.h"

#include <QTest>

class TestCopies : public QObject
{
    Q_OBJECT

private slots:
    void standsCollated();
    void sharesContentButNoAnnotations();
    void leavesTheStructureToTheFirst();
    void takesNoNumberThatIsReferredTo();
};

namespace
{

QByteArray thrice(const QByteArray &pdf)
{
    return edited(pdf, [](QPDF &document) { repeatPages(document, 3); });
}

/// Two pages below a page tree of its own, as the browser makes them of many pages.
HandPdf twoPages()
{
    HandPdf hand;
    const QByteArray font =
        "/Resources << /Font << /F << /Type /Font /Subtype /Type1 /BaseFont /Helvetica >> >> >>";
    hand.addStream({}, "BT /F 9 Tf 9 9 Td (one) Tj ET");
    hand.addStream({}, "BT /F 9 Tf 9 9 Td (two) Tj ET");
    hand.add("<< /Type /Page /Parent 9 0 R /MediaBox [0 0 99 99] /Contents 5 0 R " + font + " >>");
    hand.add("<< /Type /Page /Parent 9 0 R /MediaBox [0 0 99 99] /Contents 6 0 R " + font + " >>");
    hand.add("<< /Type /Pages /Parent 10 0 R /Kids [7 0 R 8 0 R] /Count 2 >>");
    hand.add("<< /Type /Pages /Kids [9 0 R] /Count 2 >>");
    hand.catalogue("/Pages 10 0 R");
    return hand;
}

} // namespace

void TestCopies::standsCollated()
{
    QByteArray bytes = twoPages().bytes();
    const JudgedPdf pdf(thrice(bytes.replace("/Pages 2 0 R", "            ")));
    QCOMPARE(pdf.complaints(), QByteArray());
    QCOMPARE(pdf.pages(), 6);
    QCOMPARE(pdf.text().simplified(), QByteArray("one two one two one two"));
}

void TestCopies::sharesContentButNoAnnotations()
{
    HandPdf hand;
    hand.content("0 0 9 9 re f").page("/Annots [5 0 R]");
    hand.add("<< /Type /Annot /Subtype /Link /Rect [0 0 9 9] /Dest [3 0 R /Fit] /StructParent 1 >>");
    const JudgedPdf pdf(thrice(hand.bytes()));
    QCOMPARE(pdf.complaints(), QByteArray());
    const QByteArray readable = pdf.readable();
    QCOMPARE(readable.count("0 0 9 9 re f"), 1);
    QCOMPARE(readable.count("/Subtype /Link"), 3);
    QCOMPARE(readable.count("/StructParent "), 1);
}

void TestCopies::leavesTheStructureToTheFirst()
{
    HandPdf hand;
    hand.page("/StructParents 0");
    QCOMPARE(JudgedPdf(thrice(hand.bytes())).readable().count("/StructParents"), 1);
}

void TestCopies::takesNoNumberThatIsReferredTo()
{
    HandPdf hand;
    hand.catalogue("/Own [(first) (last)]");
    const int last = hand.add("(last object)");
    hand.page("/LastObject " + reference(last));
    const JudgedPdf pdf(thrice(hand.bytes()));
    QCOMPARE(pdf.complaints(), QByteArray());
    QVERIFY(pdf.readable().contains("(last object)"));
}

QTEST_APPLESS_MAIN(TestCopies)
#include "tst_copies.moc"
