#include "engine/pdf/document.h"
#include "engine/pdf/objecttext.h"
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
    void findsTheEndOfADictionary_data();
    void findsTheEndOfADictionary();
    void keepsWhatIsReferredTo();
    void dropsWhatNothingRefersTo();
    void takesElementsAsTheyStand();
    void writesChangedElements();
    void keepsGenerations();
    void givesNoMissingNumberAway();
    void fillsManyObjectStreams();
    void writesTheSameTwice();
    void refusesEncryptedDocuments();
};

namespace
{

QByteArray unchanged(const QByteArray &pdf)
{
    return edited(pdf, [](QPDF &) {});
}

/// A structure tree of one element in the browser's way of writing; `rest` are further entries of it, and
/// "6 0 R" is the element.
HandPdf tagged(const QByteArray &rest)
{
    HandPdf hand;
    hand.catalogue("/StructTreeRoot 5 0 R");
    hand.add("<</Type /StructTreeRoot\n/K 6 0 R>>");
    hand.add("<</Type /StructElem\n/S /P\n/P 5 0 R\n" + rest + ">>");
    return hand;
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
    row("with a generation", "7 65535 R", {7});
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
    std::vector<ObjectId> references;
    appendReferences({text.constData(), static_cast<size_t>(text.size())}, references);
    QList<int> found;
    for (const ObjectId &id : references)
        found += id.first;
    QCOMPARE(found, numbers);
}

void TestPacker::findsTheEndOfADictionary_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("dictionary");
    const auto row = [](const char *text, const char *dictionary) {
        QTest::newRow(text) << QByteArray(text) << QByteArray(dictionary);
    };
    row("<<>> x", "<<>>");
    row("<</A<</B<ab>>>/C(>>)>>endobj", "<</A<</B<ab>>>/C(>>)>>");
    row("<</A %>>\n1>>", "<</A %>>\n1>>");
    row("<</A 1>", "");
    row("<</A (>>", "");
    row("[<<>>]", "");
    row(">>", "");
    row("", "");
}

void TestPacker::findsTheEndOfADictionary()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, dictionary);
    const std::string_view found = dictionaryText({text.constData(), static_cast<size_t>(text.size())});
    QCOMPARE(QByteArray(found.data(), static_cast<qsizetype>(found.size())), dictionary);
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

void TestPacker::takesElementsAsTheyStand()
{
    HandPdf hand = tagged("/Alt (a\\)b 6 0 R >>)\n/K [7 0 R]\n/T <feff 0041>");
    hand.add("<</Type /StructElem\n/S /Span\n/P 6 0 R\n/ActualText (kept)>>");
    const JudgedPdf pdf(unchanged(hand.bytes()));
    QCOMPARE(pdf.complaints(), QByteArray());
    QVERIFY(pdf.readable().contains("a)b 6 0 R >>") || pdf.readable().contains("a\\)b 6 0 R >>"));
    QVERIFY(pdf.readable().contains("/ActualText (kept)"));
}

void TestPacker::writesChangedElements()
{
    HandPdf hand = tagged("/K <</Type /OBJR\n/Obj 7 0 R>>");
    hand.add("<< /Type /Annot /Subtype /Link /Rect [0 0 9 9] >>");
    const JudgedPdf pdf(edited(hand.bytes(), [](QPDF &document) {
        document.getObject(6, 0).replaceKey("/K", QPDFObjectHandle::newInteger(3));
    }));
    QCOMPARE(pdf.complaints(), QByteArray());
    QVERIFY(pdf.readable().contains("/K 3"));
    QVERIFY(!pdf.readable().contains("/OBJR"));
    QVERIFY(!pdf.readable().contains("/Annot"));
}

void TestPacker::keepsGenerations()
{
    HandPdf hand;
    hand.catalogue("/Own [5 3 R]");
    hand.add("(of the third generation)");
    QByteArray bytes = hand.bytes();
    bytes.replace("5 0 obj", "5 3 obj");
    const qsizetype last = bytes.lastIndexOf(" 00000 n ");
    bytes.replace(last, 9, " 00003 n ");
    const JudgedPdf pdf(unchanged(bytes));
    QCOMPARE(pdf.complaints(), QByteArray());
    QVERIFY(pdf.readable().contains("of the third generation"));
}

void TestPacker::givesNoMissingNumberAway()
{
    HandPdf hand;
    hand.catalogue("/Own [5 0 R 6 0 R 7 0 R 8 0 R]");
    const JudgedPdf pdf(unchanged(hand.bytes()));
    QCOMPARE(pdf.complaints(), QByteArray());
    QCOMPARE(pdf.readable().count("obj\nnull\nendobj"), 4);
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

void TestPacker::refusesEncryptedDocuments()
{
    const JudgedPdf plain(unchanged(HandPdf().content("0 0 9 9 re f").bytes()));
    const QByteArray locked = outputOf(QStringLiteral("qpdf"), {QStringLiteral("--encrypt"),
                                                                {},
                                                                QStringLiteral("owner"),
                                                                QStringLiteral("256"),
                                                                QStringLiteral("--"),
                                                                plain.path(),
                                                                QStringLiteral("-")});
    QVERIFY(locked.contains("/Encrypt"));
    QVERIFY_THROWS_EXCEPTION(std::exception, unchanged(locked));
}

QTEST_APPLESS_MAIN(TestPacker)
#include "tst_packer.moc"
