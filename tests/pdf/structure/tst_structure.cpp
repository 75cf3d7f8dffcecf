#include "engine/pdf/structure/structure.h"
#include "engine/pdf/writing/document.h"
#include "tests/pdf/handpdf.h"
#include "tests/pdf/judges.h"

#include <QTest>

class TestStructure : public QObject
{
    Q_OBJECT

private slots:
    void marks_data();
    void marks();
    void leavesNothingOfTheTree();
};

void TestStructure::marks_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QByteArray>("left");
    QTest::newRow("tagged content") << QByteArray("/P <</MCID 0>> BDC f EMC S") << QByteArray(" f S");
    QTest::newRow("an artifact") << QByteArray("/Artifact BMC f EMC") << QByteArray(" f");
    QTest::newRow("replaced text") << QByteArray("/Span <</ActualText (x)>> BDC f EMC")
                                   << QByteArray("/Span <</ActualText (x)>> BDC f EMC");
    QTest::newRow("nested") << QByteArray("/P BMC /Span <</ActualText (x)>> BDC /P BMC f EMC EMC EMC S")
                            << QByteArray(" /Span <</ActualText (x)>> BDC f EMC S");
    QTest::newRow("one end too many") << QByteArray("f EMC S") << QByteArray("f S");
}

void TestStructure::marks()
{
    QFETCH(QByteArray, content);
    QFETCH(QByteArray, left);
    HandPdf hand;
    hand.content(content);
    PdfDocument document(hand.bytes());
    removeStructure(document.pdf());
    const auto data = document.pdf().getObject(4, 0).getStreamData();
    QCOMPARE(QByteArray(reinterpret_cast<const char *>(data->getBuffer()),
                        static_cast<qsizetype>(data->getSize())),
             left);
}

void TestStructure::leavesNothingOfTheTree()
{
    HandPdf hand;
    hand.addStream("/Type /XObject /Subtype /Form /BBox [0 0 9 9] /StructParents 1",
                   "/P <</MCID 0>> BDC 0 0 9 9 re f EMC");
    hand.add("<< /Type /StructTreeRoot /K 7 0 R >>");
    hand.add("<< /Type /StructElem /S /Document /P 6 0 R >>");
    hand.add("<< /Type /Annot /Subtype /Link /Rect [0 0 9 9] /Dest [3 0 R /Fit] /StructParent 2 >>");
    hand.add("<< /First 10 0 R /Last 10 0 R /Count 1 >>");
    hand.add("<< /Title (x) /Parent 9 0 R /SE 7 0 R /Dest [3 0 R /Fit] >>");
    hand.content("/F Do", "/XObject << /F 5 0 R >>");
    hand.page("/StructParents 0 /Tabs /S /Annots [8 0 R]");
    hand.catalogue("/StructTreeRoot 6 0 R /MarkInfo << /Marked true >> /Outlines 9 0 R");

    const JudgedPdf judged(edited(hand.bytes(), removeStructure));
    QCOMPARE(judged.complaints(), QByteArray());
    const QByteArray readable = judged.readable();
    QVERIFY(readable.contains("/Subtype /Link") && readable.contains("/Title (x)"));
    for (const char *rest : {"Struct", "MarkInfo", "/SE", "/Tabs", "BDC", "EMC"})
        QVERIFY2(!readable.contains(rest), rest);
}

QTEST_APPLESS_MAIN(TestStructure)
#include "tst_structure.moc"
