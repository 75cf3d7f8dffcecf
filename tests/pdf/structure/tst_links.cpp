#include "engine/pdf/structure/links.h"
#include "engine/pdf/writing/document.h"
#include "tests/pdf/handpdf.h"
#include "tests/pdf/judges.h"

#include <QTest>

class TestLinks : public QObject
{
    Q_OBJECT

private slots:
    void keepsLinksWithin();
    void relatesLinks_data();
    void relatesLinks();
    void takesLinksOutAway();
    void keepsTagsSound();
    void refusesWhatElseActs_data();
    void refusesWhatElseActs();
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

void TestLinks::keepsLinksWithin()
{
    HandPdf hand;
    hand.add(link("/Dest [3 0 R /FitH 5]"));
    hand.page("/Annots [5 0 R]");
    const QByteArray readable = readableWithoutLinks(hand);
    QCOMPARE(readable.count("/Subtype /Link"), 1);
    QVERIFY(readable.contains("/FitH"));
}

void TestLinks::relatesLinks_data()
{
    QTest::addColumn<QByteArray>("address");
    QTest::addColumn<QByteArray>("target");
    // Empty for a link within.
    QTest::addColumn<QByteArray>("related");
    const auto row = [](const char *name, const char *address, const char *link, const char *related) {
        QTest::newRow(name) << QByteArray(address) << QByteArray(link) << QByteArray(related);
    };
    const char *file = "file:///home/ann/a/page.html";
    row("itself", file, "file:///home/ann/a/page.html", "");
    row("itself, a part that is missing", file, "file:///home/ann/a/page.html#none", "");
    row("itself, escaped", "file:///home/a%20b/p.html", "file:///home/a%20b/p.html", "");
    row("on the web", "https://host/p", "https://host/p#x", "");
    row("a file beside", file, "file:///home/ann/a/other.html", "other.html");
    row("a part of it", file, "file:///home/ann/a/o%20%C3%A4.html?q=1#x", "o%20%C3%A4.html?q=1#x");
    row("a file below", file, "file:///home/ann/a/b/c.html", "b/c.html");
    row("a file above", file, "file:///home/ann/c.html", "../c.html");
    row("a file of somebody else", file, "file:///home/bob/c.html", "../../bob/c.html");
    row("a file elsewhere", file, "file:///usr/share/x.html", "file:///usr/share/x.html");
    row("a file in the root", file, "file:///x.html", "file:///x.html");
    row("a folder", file, "file:///home/ann/a/b/", "b/");
    row("a name with a colon", file, "file:///home/ann/a/b:c.html", "./b:c.html");
    row("another page", "https://host/p", "https://host/q", "https://host/q");
    row("the same with a query", "https://host/p", "https://host/p?x", "https://host/p?x");
    row("a file from the web", "https://host/p", "file:///home/a.html", "file:///home/a.html");
    row("a mail", file, "mailto:a@b.c", "mailto:a@b.c");
}

void TestLinks::relatesLinks()
{
    QFETCH(QByteArray, address);
    QFETCH(QByteArray, target);
    QFETCH(QByteArray, related);
    HandPdf hand;
    hand.add(link("/A << /S /URI /URI (" + target + ") >>"));
    hand.page("/Annots [5 0 R]");
    static QUrl own;
    own = QUrl::fromEncoded(address);
    const JudgedPdf judged(edited(hand.bytes(), [](QPDF &pdf) { relateLinks(pdf, own); }));
    QCOMPARE(judged.complaints(), QByteArray());
    const QByteArray readable = judged.readable();
    if (related.isEmpty())
        QVERIFY2(readable.contains("/Dest") && !readable.contains("/URI"), readable.constData());
    else
        QVERIFY2(readable.contains("/URI (" + related + ")"), readable.constData());
}

void TestLinks::takesLinksOutAway()
{
    HandPdf hand;
    hand.add(link("/A << /S /URI /URI (https://example.com/) >>"));
    hand.add(link("/Dest (name)"));
    hand.add(link("/A << /S /Launch /F (program) >>"));
    hand.page("/Annots [5 0 R 6 0 R 7 0 R]");
    const QByteArray readable = readableWithoutLinks(hand);
    QCOMPARE(readable.count("/Subtype /Link"), 1);
    QVERIFY(readable.contains("/Dest (name)"));
    for (const char *rest : {"example.com", "Launch", "/A "})
        QVERIFY2(!readable.contains(rest), rest);

    HandPdf only;
    only.add(link("/A << /S /URI /URI (https://example.com/) >>"));
    only.page("/Annots [5 0 R]");
    QVERIFY(!readableWithoutLinks(only).contains("/Annots"));
}

void TestLinks::keepsTagsSound()
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

void TestLinks::refusesWhatElseActs_data()
{
    QTest::addColumn<QByteArray>("catalogue");
    QTest::addColumn<QByteArray>("page");
    QTest::addColumn<QByteArray>("named");
    const QByteArray action = "<< /S /URI /URI (https://example.com/) >>";
    for (const char *key : {"/OpenAction", "/AA", "/AcroForm", "/Names", "/URI"})
        QTest::addRow("%s of the document", key) << key + (' ' + action) << QByteArray() << QByteArray(key);
    QTest::newRow("an action of the page") << QByteArray() << "/AA " + action << QByteArray("/AA");
    for (const char *key : {"/AA", "/PA"})
        QTest::addRow("%s of a link", key)
            << QByteArray() << "/Annots [" + link(key + (' ' + action)) + "]" << QByteArray(key);
}

void TestLinks::refusesWhatElseActs()
{
    QFETCH(QByteArray, catalogue);
    QFETCH(QByteArray, page);
    QFETCH(QByteArray, named);
    HandPdf hand;
    hand.catalogue(catalogue).page(page);
    PdfDocument document(hand.bytes());
    try {
        removeExternalLinks(document.pdf());
        QFAIL("taken");
    } catch (const std::exception &error) {
        QCOMPARE(QByteArray(error.what()),
                 "the browser wrote " + named +
                     ", which may lead out of the document: convert without --disable-external-links");
    }
}

QTEST_GUILESS_MAIN(TestLinks)
#include "tst_links.moc"
