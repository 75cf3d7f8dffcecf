#include "engine/pdf/writing/document.h"
#include "engine/pdf/writing/objecttext.h"
#include "tests/pdf/handpdf.h"
#include "tests/pdf/judges.h"

#include <QTest>

/// How a PDF is written, judged by qpdf.
class TestPacker : public QObject
{
    Q_OBJECT

private slots:
    void findsReferences_data();
    void findsReferences();
    void findsTheEndOfAnObject_data();
    void findsTheEndOfAnObject();
    void keepsWhatIsReferredTo();
    void dropsWhatNothingRefersTo();
    void takesUntouchedObjectsAsTheyStand();
    void writesWhateverWasChanged_data();
    void writesWhateverWasChanged();
    void refusesGenerations();
    void givesNoMissingNumberAway();
    void fillsManyObjectStreams();
    void writesTheSameTwice();
};

namespace
{

QByteArray unchanged(const QByteArray &pdf)
{
    return edited(pdf, [](QPDF &) {});
}

/// What stands in all object streams.
QByteArray objectStreams(QPDF &pdf)
{
    QByteArray all;
    for (const auto &[id, entry] : pdf.getXRefTable()) {
        if (entry.getType() != 2)
            continue;
        const auto data = pdf.getObject(entry.getObjStreamNumber(), 0).getStreamData();
        all += QByteArray(reinterpret_cast<const char *>(data->getBuffer()),
                          static_cast<qsizetype>(data->getSize()));
    }
    return all;
}

} // namespace

void TestPacker::findsReferences_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QList<int>>("numbers");
    const auto row = [](const char *name, const char *text, const QList<int> &numbers) {
        QTest::newRow(name) << QByteArray(text) << numbers;
    };
    row("none", "<< /R 1 /A [ 1 0 2 ] >>", {});
    row("in a dictionary", "<</A 12 0 R/B 13 0 R>>", {12, 13});
    row("in an array", "[1 0 R 2 0 R 5 3 0 R]", {1, 2, 3});
    row("over lines", "<</A 12\n0\r\nR>>", {12});
    row("not in a string", "(1 0 R \\) 2 0 R (3 0 R) 4 0 R) 5 0 R", {5});
    row("not in an open string", "(1 0 R", {});
    row("not in a string of digits", "<1 0 R> 2 0 R", {2});
    row("not in a comment", "% 1 0 R\n2 0 R", {2});
    row("not in a name", "/1 0 R /R 1 0 R", {1});
    row("no fractions, signs or big numbers", "1.5 0 R -1 0 R 99999999999 0 R", {});
    row("no other word", "1 0 RG 1 0 Rx", {});
    row("nothing", "", {});
}

void TestPacker::findsReferences()
{
    QFETCH(QByteArray, text);
    QFETCH(QList<int>, numbers);
    std::vector<int> references;
    appendReferences({text.constData(), static_cast<size_t>(text.size())}, references);
    QCOMPARE(QList<int>(references.begin(), references.end()), numbers);
}

void TestPacker::findsTheEndOfAnObject_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("object");
    const auto row = [](const char *text, const char *object) {
        QTest::newRow(text) << QByteArray(text) << QByteArray(object);
    };
    row("12 0 obj\n<<>>\nendobj x", "<<>>");
    row("12 0 obj<</A<</B<ab>>>/C(>>)>>endobj", "<</A<</B<ab>>>/C(>>)>>");
    row("12 0 obj <</A %>>\n1>> endobj", "<</A %>>\n1>>");
    row("12 0 obj [1 0 R [<<>>]] endobj", "[1 0 R [<<>>]]");
    row("12 0 obj <</A 1> endobj", "");
    row("12 0 obj <</A (>> endobj", "");
    row("12 0 obj <</Length 1>> stream", "");
    row("12 0 obj (text) endobj", "");
    row("12 0 obj >> endobj", "");
    row("12 0 obj", "");
    row("13 0 obj <<>> endobj", "");
    row("12 1 obj <<>> endobj", "");
    row("12 0 <<>> endobj", "");
    row("", "");
}

void TestPacker::findsTheEndOfAnObject()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, object);
    const std::string_view found = objectText({text.constData(), static_cast<size_t>(text.size())}, 12);
    QCOMPARE(QByteArray(found.data(), static_cast<qsizetype>(found.size())), object);
}

void TestPacker::keepsWhatIsReferredTo()
{
    HandPdf hand;
    hand.content("BT /F 20 Tf 10 10 Td (word) Tj ET", "/Font << /F 5 0 R >>").page("/Annots [6 0 R null]");
    hand.add("<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>");
    hand.add("<< /Type /Annot /Subtype /Link /Rect [0 0 9 9] /A << /S /URI /URI (http://a/\\)1 0 R) >> >>");
    const JudgedPdf pdf(unchanged(hand.bytes()));
    QCOMPARE(pdf.complaints(), QByteArray());
    QCOMPARE(pdf.text().simplified(), QByteArray("word"));
    QVERIFY(pdf.readable().contains("http://a/\\)1 0 R"));
}

void TestPacker::dropsWhatNothingRefersTo()
{
    HandPdf hand;
    hand.add("(left over)");
    QVERIFY(!JudgedPdf(unchanged(hand.bytes())).readable().contains("left over"));
}

void TestPacker::takesUntouchedObjectsAsTheyStand()
{
    HandPdf hand;
    hand.catalogue("/StructTreeRoot 5 0 R");
    hand.add("<</K 6 0 R>>");
    hand.add("<</Alt (a\\)b 6 0 R >>)\n/K   [7 0 R]\n/T <feff 0041>>>");
    hand.add("<</ActualText (kept)>>");
    const QByteArray packed = unchanged(hand.bytes());
    const JudgedPdf pdf(packed);
    QCOMPARE(pdf.complaints(), QByteArray());
    QVERIFY(pdf.readable().contains("/ActualText (kept)"));
    // Its odd blanks show that nobody has written it anew.
    PdfDocument again(packed);
    QVERIFY(objectStreams(again.pdf()).contains("<</Alt (a\\)b 6 0 R >>)\n/K   [7 0 R]\n/T <feff 0041>>>"));
}

void TestPacker::writesWhateverWasChanged_data()
{
    QTest::addColumn<int>("number");
    QTest::newRow("an element") << 6;
    QTest::newRow("an element below it") << 7;
    QTest::newRow("an array") << 8;
    QTest::newRow("a page") << 3;
}

void TestPacker::writesWhateverWasChanged()
{
    QFETCH(int, number);
    HandPdf hand;
    hand.catalogue("/StructTreeRoot 5 0 R");
    hand.add("<</Type /StructTreeRoot\n/K 6 0 R>>");
    hand.add("<</Type /StructElem\n/S /Document\n/P 5 0 R\n/K 7 0 R>>");
    hand.add("<</Type /StructElem\n/S /P\n/P 6 0 R\n/A 8 0 R>>");
    hand.add("[1 2 3]");
    PdfDocument document(hand.bytes());
    QPDFObjectHandle object = document.pdf().getObject(number, 0);
    if (object.isArray())
        object.appendItem(QPDFObjectHandle::newName("/Changed"));
    else
        object.replaceKey("/Changed", QPDFObjectHandle::newBool(true));
    const JudgedPdf pdf(document.compacted());
    QCOMPARE(pdf.complaints(), QByteArray());
    QCOMPARE(pdf.readable().count("/Changed"), 1);
}

/// Where libqpdf does not already take such a reference for one to nothing, as it does from version 12 on.
void TestPacker::refusesGenerations()
{
    HandPdf hand;
    hand.catalogue("/Own [5 3 R]");
    QByteArray packed;
    try {
        packed = unchanged(hand.bytes());
    } catch (const std::runtime_error &) {
        return;
    }
    QVERIFY(QPDF::QPDFVersion() >= "12");
    PdfDocument again(packed);
    QVERIFY(again.pdf().getRoot().getKey("/Own").getArrayItem(0).isNull());
}

void TestPacker::givesNoMissingNumberAway()
{
    HandPdf hand;
    hand.catalogue("/Own [5 0 R 6 0 R 7 0 R 8 0 R]");
    const QByteArray packed = unchanged(hand.bytes());
    QCOMPARE(JudgedPdf(packed).complaints(), QByteArray());
    PdfDocument again(packed);
    QPDFObjectHandle own = again.pdf().getRoot().getKey("/Own");
    QCOMPARE(own.getArrayNItems(), 4);
    for (QPDFObjectHandle item : own.aitems())
        QVERIFY(item.isNull());
}

void TestPacker::fillsManyObjectStreams()
{
    HandPdf hand;
    QByteArray all;
    for (int i = 0; i < 1000; ++i)
        all += reference(hand.add("(number " + QByteArray::number(i) + ")")) + ' ';
    hand.catalogue("/Own [" + all + ']');
    const JudgedPdf pdf(unchanged(hand.bytes()));
    QCOMPARE(pdf.complaints(), QByteArray());
    const QByteArray readable = pdf.readable();
    for (int i = 0; i < 1000; ++i)
        QVERIFY(readable.contains("(number " + QByteArray::number(i) + ")"));
}

void TestPacker::writesTheSameTwice()
{
    const QByteArray pdf = HandPdf().content("0 0 9 9 re f").bytes();
    QCOMPARE(unchanged(pdf), unchanged(pdf));
    QVERIFY(unchanged(pdf) != unchanged(HandPdf().content("0 0 8 9 re f").bytes()));
}

QTEST_APPLESS_MAIN(TestPacker)
#include "tst_packer.moc"
