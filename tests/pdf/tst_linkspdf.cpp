#include "engine/pdf/links.h"
#include "tests/pdf/handpdf.h"
#include "tests/pdf/judges.h"

#include <QTest>

class TestLinksPdf : public QObject
{
    Q_OBJECT

private slots:
    void keepsLinksWithin();
    void takesLinksOutAway();
    void keepsTagsSound();
    void keepsOtherAnnotationsWithoutTheirActions();
    void takesActionsOfTheDocumentAway();
    void takesActionsOfFormFieldsAway();
    void keepsOutlineEntries();
};

namespace
{

QByteArray link(const QByteArray &entries)
{
    return "<< /Type /Annot /Subtype /Link /Rect [0 0 9 9] " + entries + " >>";
}

QByteArray readableWithoutLinks(const HandPdf &hand)
{
    const JudgedPdf judged(edited(hand.bytes(), removeExternalLinks));
    const QByteArray complaints = judged.complaints();
    if (!complaints.isEmpty())
        qWarning("%s", complaints.constData());
    return complaints.isEmpty() ? judged.readable() : QByteArray();
}

} // namespace

void TestLinksPdf::keepsLinksWithin()
{
    HandPdf hand;
    hand.add(link("/Dest [3 0 R /Fit]"));
    hand.add(link("/A << /S /GoTo /D [3 0 R /FitH 5] >>"));
    hand.page("/Annots [5 0 R 6 0 R]");
    const QByteArray readable = readableWithoutLinks(hand);
    QCOMPARE(readable.count("/Subtype /Link"), 2);
    QVERIFY(readable.contains("/FitH"));
}

void TestLinksPdf::takesLinksOutAway()
{
    HandPdf hand;
    hand.add(link("/A << /S /URI /URI (https://example.com/) >>"));
    hand.add(link("/A << /S /Launch /F (program) >>"));
    hand.add(link("/PA << /S /URI /URI (https://example.com/) >> /Dest [3 0 R /Fit]"));
    hand.add(link("/A << /S /URI /URI (mailto:someone) /Next << /S /GoTo /D [3 0 R /FitH 5] >> >>"));
    hand.page("/Annots [5 0 R 6 0 R 7 0 R 8 0 R] /AA << /O << /S /JavaScript /JS (app.alert) >> >>");
    const QByteArray readable = readableWithoutLinks(hand);
    QCOMPARE(readable.count("/Subtype /Link"), 2);
    QVERIFY(readable.contains("/FitH"));
    for (const char *rest : {"URI", "Launch", "/PA", "mailto", "JavaScript"})
        QVERIFY2(!readable.contains(rest), rest);
}

void TestLinksPdf::keepsTagsSound()
{
    HandPdf hand;
    hand.add(link("/A << /S /URI /URI (https://example.com/) >> /StructParent 1"));
    hand.add(link("/Dest [3 0 R /Fit] /StructParent 2"));
    hand.add("<< /Type /StructTreeRoot /K 8 0 R /ParentTree 11 0 R /ParentTreeNextKey 3 >>");
    hand.add("<< /Type /StructElem /S /Document /P 7 0 R /K [9 0 R 10 0 R] >>");
    hand.add(
        "<< /Type /StructElem /S /Link /P 8 0 R /Pg 3 0 R /K [0 << /Type /OBJR /Obj 5 0 R /Pg 3 0 R >>] >>");
    hand.add(
        "<< /Type /StructElem /S /Link /P 8 0 R /Pg 3 0 R /K [1 << /Type /OBJR /Obj 6 0 R /Pg 3 0 R >>] >>");
    hand.add("<< /Nums [0 [9 0 R 10 0 R] 1 9 0 R 2 10 0 R] >>");
    hand.content("/Link <</MCID 0>> BDC BT /F 9 Tf 9 9 Td (out) Tj ET EMC "
                 "/Link <</MCID 1>> BDC BT /F 9 Tf 9 40 Td (in) Tj ET EMC",
                 "/Font << /F << /Type /Font /Subtype /Type1 /BaseFont /Helvetica >> >>");
    hand.page("/Annots [5 0 R 6 0 R] /StructParents 0");
    hand.catalogue("/StructTreeRoot 7 0 R /MarkInfo << /Marked true >>");

    const JudgedPdf judged(edited(hand.bytes(), removeExternalLinks));
    QCOMPARE(judged.complaints(), QByteArray());
    const QByteArray readable = judged.readable();
    QCOMPARE(readable.count("/OBJR"), 1);
    QCOMPARE(readable.count("/Subtype /Link"), 1);
    QVERIFY(!readable.contains("example.com"));
    const QByteArray structure = judged.structure();
    QVERIFY2(structure.contains("Span") && structure.contains("out"), structure.constData());
    QVERIFY2(structure.contains("Link") && structure.contains("in"), structure.constData());
}

void TestLinksPdf::keepsOtherAnnotationsWithoutTheirActions()
{
    HandPdf hand;
    hand.add("<< /Type /Annot /Subtype /Text /Rect [0 0 9 9] /Contents (note) /AA << /E << /S /URI /URI "
             "(a:b) >> >> >>");
    hand.add("<< /Type /Annot /Subtype /Movie /Rect [0 0 9 9] /Movie << /F (film.avi) >> /A true >>");
    hand.page("/Annots [5 0 R 6 0 R 99 0 R (odd)]");
    const QByteArray readable = readableWithoutLinks(hand);
    QVERIFY(readable.contains("(note)"));
    QVERIFY(readable.contains("/A false"));
    QVERIFY(!readable.contains("/AA"));
}

void TestLinksPdf::takesActionsOfTheDocumentAway()
{
    HandPdf hand;
    hand.catalogue("/OpenAction << /S /JavaScript /JS (app.alert) >> /URI << /Base (https://example.com/) >> "
                   "/AA << /WC << /S /SubmitForm /F (https://example.com/) >> >> "
                   "/Names << /JavaScript << /Names [(a) << /S /JavaScript /JS (app.alert) >>] >> >>");
    const QByteArray readable = readableWithoutLinks(hand);
    QVERIFY(!readable.isEmpty());
    for (const char *rest : {"example.com", "JavaScript", "OpenAction", "/AA"})
        QVERIFY2(!readable.contains(rest), rest);

    HandPdf opening;
    opening.catalogue("/OpenAction [3 0 R /FitV 7]");
    QVERIFY(readableWithoutLinks(opening).contains("/FitV"));
}

void TestLinksPdf::takesActionsOfFormFieldsAway()
{
    HandPdf hand;
    hand.add("<< /FT /Btn /T (a) /AA << /K << /S /JavaScript /JS (1) >> >> /Kids [6 0 R 5 0 R] >>");
    hand.add(
        "<< /Type /Annot /Subtype /Widget /Parent 5 0 R /Rect [0 0 9 9] /A << /S /SubmitForm /F (x:y) >> >>");
    hand.catalogue("/AcroForm << /Fields [5 0 R] >>");
    const QByteArray readable = readableWithoutLinks(hand);
    QVERIFY(readable.contains("/Widget"));
    QVERIFY(!readable.contains("JavaScript") && !readable.contains("SubmitForm"));
}

void TestLinksPdf::keepsOutlineEntries()
{
    HandPdf hand;
    hand.add("<< /First 6 0 R /Last 7 0 R /Count 2 >>");
    hand.add("<< /Title (out) /Parent 5 0 R /Next 7 0 R /A << /S /URI /URI (x:y) >> >>");
    hand.add("<< /Title (in) /Parent 5 0 R /Prev 6 0 R /Next 6 0 R /Dest [3 0 R /Fit] >>");
    hand.catalogue("/Outlines 5 0 R");
    const QByteArray readable = readableWithoutLinks(hand);
    QVERIFY(readable.contains("(out)") && readable.contains("(in)"));
    QVERIFY(!readable.contains("URI"));
}

QTEST_GUILESS_MAIN(TestLinksPdf)
#include "tst_linkspdf.moc"
