#include "engine/pdf/joining/joining.h"
#include "tests/pdf/handpdf.h"
#include "tests/pdf/judges.h"

#include <QTest>
#include <qpdf/QPDF.hh>

using namespace Qt::StringLiterals;

class TestJoining : public QObject
{
    Q_OBJECT

private slots:
    void standInOrder();
    void equalImagesAreThereOnce();
    void resourcesThatReferToThemselves();
    void everyPartHasABookmark();
    void structureTreesStaySound();
    void destinationsOfOneName();
    void linksBetweenParts_data();
    void linksBetweenParts();
    void linksOutOfTheWholeAreRemoved();
    void copiesAreOfTheWhole();
    void manyPagesInATree();
    void aDocumentWithoutPages();
    void whatTheSinkThrows();
};

namespace
{

QByteArray withInformation(HandPdf hand, const QByteArray &title)
{
    const int number = hand.add("<< /Title (" + title + ") >>");
    QByteArray bytes = hand.bytes();
    return bytes.replace("trailer\n<< ", "trailer\n<< /Info " + reference(number) + ' ');
}

const QByteArray helvetica = "/Font << /F << /Type /Font /Subtype /Type1 /BaseFont /Helvetica >> >>";

HandPdf saying(const QByteArray &text)
{
    return HandPdf().content("BT /F 9 Tf 9 9 Td (" + text + ") Tj ET", helvetica);
}

/// A part at http://host/NAME.html.
Part partAt(const QString &name)
{
    return {name, {QUrl(u"http://host/%1.html"_s.arg(name))}};
}

QByteArray joined(const QByteArrayList &pdfs, const Job &job = {})
{
    std::vector<Part> parts;
    for (qsizetype i = 0; i < pdfs.size(); ++i)
        parts.push_back(partAt(QString(QChar(static_cast<char16_t>(u'a' + i)))));
    QByteArray file;
    joinParts(
        parts, [&](size_t index) { return pdfs[static_cast<qsizetype>(index)]; }, job,
        [&](std::string_view bytes) { file.append(bytes.data(), static_cast<qsizetype>(bytes.size())); });
    return file;
}

/// A document with a link to `address`, its only annotation.
HandPdf linking(const QByteArray &address)
{
    HandPdf hand;
    hand.add("<< /Type /Annot /Subtype /Link /Rect [0 0 9 9] /A << /S /URI /URI (" + address + ") >> >>");
    return hand.page("/Annots [5 0 R]");
}

/// A paragraph of one marked content, and a link in it.
HandPdf tagged(const QByteArray &address)
{
    HandPdf hand;
    hand.content("/P << /MCID 0 >> BDC BT /F 9 Tf 9 9 Td (tagged) Tj ET EMC", helvetica);
    hand.add("<< /Type /StructTreeRoot /K 6 0 R /ParentTree << /Nums [0 [7 0 R] 1 8 0 R] >>"
             " /RoleMap << /Em /Span >> /IDTree << /Names [(x) 7 0 R] >> >>");
    hand.add("<< /Type /StructElem /S /Document /P 5 0 R /K [7 0 R] >>");
    hand.add("<< /Type /StructElem /S /P /P 6 0 R /Pg 3 0 R /ID (x) /K [0 8 0 R] >>");
    hand.add("<< /Type /StructElem /S /Link /P 7 0 R /Pg 3 0 R /K [<< /Type /OBJR /Obj 9 0 R >>] >>");
    hand.add("<< /Type /Annot /Subtype /Link /Rect [0 0 9 9] /StructParent 1 /A << /S /URI /URI (" + address +
             ") >> >>");
    return hand.page("/StructParents 0 /Annots [9 0 R]")
        .catalogue("/StructTreeRoot 5 0 R /MarkInfo << /Marked true >> /Lang (de)");
}

/// The value at a path of keys below an object.
QPDFObjectHandle at(QPDFObjectHandle object, const QList<const char *> &keys)
{
    for (const char *key : keys)
        object = object.getKey(key);
    return object;
}

} // namespace

void TestJoining::standInOrder()
{
    const JudgedPdf pdf(
        joined({withInformation(saying("one"), "First"), withInformation(saying("two"), "Second"),
                withInformation(saying("three"), "Third")}));
    QCOMPARE(pdf.complaints(), QByteArray());
    QCOMPARE(pdf.text().simplified(), QByteArray("one two three"));
    QVERIFY(pdf.readable().contains("/Title (First)"));
}

void TestJoining::equalImagesAreThereOnce()
{
    const auto showing = [](const QByteArray &pixels, const QByteArray &mask) {
        HandPdf hand;
        const QByteArray entries = "/Type /XObject /Subtype /Image /Width 2 /Height 1 /BitsPerComponent 8"
                                   " /ColorSpace /DeviceGray";
        hand.addStream(entries + " /SMask 6 0 R", pixels);
        hand.addStream(entries, mask);
        return withInformation(hand.content("q 50 0 0 50 0 0 cm /I Do Q", "/XObject << /I 5 0 R >>"), "a");
    };
    const JudgedPdf pdf(joined({showing("ab", "xy"), showing("ab", "xy"), showing("ab", "xz")}));
    QCOMPARE(pdf.complaints(), QByteArray());
    // The mask makes a difference. Content streams are equal in all.
    QCOMPARE(pdf.readable().count("/Subtype /Image"), 4);
    QCOMPARE(pdf.readable().count("/I Do"), 1);
}

void TestJoining::resourcesThatReferToThemselves()
{
    HandPdf hand;
    hand.addStream("/Type /XObject /Subtype /Form /BBox [0 0 9 9] /Resources << /XObject << /X 6 0 R >> >>",
                   "f");
    hand.addStream("/Type /XObject /Subtype /Form /BBox [0 0 9 9] /Resources << /XObject << /X 5 0 R >> >>",
                   "s");
    const QByteArray bytes = withInformation(hand.content("/X Do", "/XObject << /X 5 0 R /Y 6 0 R >>"), "a");
    const JudgedPdf pdf(joined({bytes, bytes}));
    QCOMPARE(pdf.complaints(), QByteArray());
    QCOMPARE(pdf.pages(), 2);
}

void TestJoining::everyPartHasABookmark()
{
    HandPdf hand;
    hand.add("<< /Type /Outlines /First 6 0 R /Last 7 0 R /Count 2 >>");
    hand.add("<< /Title (one) /Parent 5 0 R /Next 7 0 R /Dest [3 0 R /Fit] >>");
    hand.add("<< /Title (two) /Parent 5 0 R /Prev 6 0 R /Dest [3 0 R /Fit] >>");
    const QByteArray withOutline = withInformation(hand.catalogue("/Outlines 5 0 R"), "With");
    const QByteArray bytes = joined(
        {withOutline, withInformation(HandPdf(), ""), withOutline, withInformation(HandPdf(), "Last")});
    const JudgedPdf pdf(bytes);
    QCOMPARE(pdf.complaints(), QByteArray());
    QPDF document;
    document.processMemoryFile("joined", bytes.constData(), static_cast<size_t>(bytes.size()));
    QStringList titles;
    const std::function<void(QPDFObjectHandle, const QString &)> visit = [&](QPDFObjectHandle parent,
                                                                             const QString &indent) {
        QPDFObjectHandle previous = QPDFObjectHandle::newNull();
        for (QPDFObjectHandle item = parent.getKey("/First"); item.isDictionary();
             item = item.getKey("/Next")) {
            QCOMPARE(item.getKey("/Parent").getObjectID(), parent.getObjectID());
            QCOMPARE(item.getKey("/Prev").getObjectID(), previous.getObjectID());
            QVERIFY(item.getKey("/Dest").getArrayItem(0).isPageObject());
            titles += indent + QString::fromStdString(item.getKey("/Title").getUTF8Value());
            visit(item, indent + u'-');
            previous = item;
        }
        QCOMPARE(parent.getKey("/Last").getObjectID(), previous.getObjectID());
    };
    QPDFObjectHandle outline = document.getRoot().getKey("/Outlines");
    visit(outline, {});
    // Without a title it is the name of the part.
    QCOMPARE(titles, (QStringList{u"With"_s, u"-one"_s, u"-two"_s, u"b"_s, u"With"_s, u"-one"_s, u"-two"_s,
                                  u"Last"_s}));
    QCOMPARE(outline.getKey("/Count").getIntValue(), 8);
}

void TestJoining::structureTreesStaySound()
{
    const QByteArray bytes =
        joined({withInformation(tagged("http://a/"), "a"), withInformation(saying("plain"), "b"),
                withInformation(tagged("http://b/"), "c")});
    const JudgedPdf pdf(bytes);
    QCOMPARE(pdf.complaints(), QByteArray());
    QCOMPARE(pdf.structure().count("tagged"), 2);
    QPDF document;
    document.processMemoryFile("joined", bytes.constData(), static_cast<size_t>(bytes.size()));
    QPDFObjectHandle tree = document.getRoot().getKey("/StructTreeRoot");
    QVERIFY(at(document.getRoot(), {"/MarkInfo", "/Marked"}).getBoolValue());
    QVERIFY(at(tree, {"/RoleMap", "/Em"}).isNameAndEquals("/Span"));
    QPDFObjectHandle whole = tree.getKey("/K");
    QVERIFY(whole.getKey("/S").isNameAndEquals("/Document"));
    QCOMPARE(whole.getKey("/K").getArrayNItems(), 2);
    for (int part = 0; part < 2; ++part) {
        QPDFObjectHandle element = whole.getKey("/K").getArrayItem(part);
        QCOMPARE(element.getKey("/P").getObjectID(), whole.getObjectID());
        QCOMPARE(element.getKey("/Lang").getUTF8Value(), std::string("de"));
        QPDFObjectHandle paragraph = element.getKey("/K").getArrayItem(0);
        QPDFObjectHandle page = paragraph.getKey("/Pg");
        // What the tree of parents has for the page and its link leads back.
        QPDFObjectHandle parents = at(tree, {"/ParentTree", "/Kids"}).getArrayItem(part);
        QCOMPARE(page.getKey("/StructParents").getIntValue(), part * 2);
        QCOMPARE(parents.getKey("/Nums").getArrayItem(0).getIntValue(), part * 2);
        QCOMPARE(parents.getKey("/Nums").getArrayItem(1).getArrayItem(0).getObjectID(),
                 paragraph.getObjectID());
        QCOMPARE(page.getKey("/Annots").getArrayItem(0).getKey("/StructParent").getIntValue(), part * 2 + 1);
        QCOMPARE(parents.getKey("/Limits").getArrayItem(1).getIntValue(), part * 2 + 1);
        // Elements of the same name have different ones now.
        QPDFObjectHandle names = at(tree, {"/IDTree", "/Kids"}).getArrayItem(part).getKey("/Names");
        QCOMPARE(names.getArrayItem(0).getStringValue(), "node0000000" + std::to_string(part));
        QCOMPARE(names.getArrayItem(1).getObjectID(), paragraph.getObjectID());
    }
}

void TestJoining::destinationsOfOneName()
{
    HandPdf hand;
    hand.add("<< /Type /Annot /Subtype /Link /Rect [0 0 9 9] /Dest /top >>");
    hand.page("/Annots [5 0 R]").catalogue("/Dests << /top [3 0 R /XYZ 0 50 0] /unused [3 0 R /Fit] >>");
    const QByteArray bytes = joined({withInformation(hand, "a"), withInformation(hand, "b")});
    QCOMPARE(JudgedPdf(bytes).complaints(), QByteArray());
    QPDF document;
    document.processMemoryFile("joined", bytes.constData(), static_cast<size_t>(bytes.size()));
    QPDFObjectHandle places = document.getRoot().getKey("/Dests");
    QCOMPARE(places.getKeys().size(), size_t{2});
    for (QPDFObjectHandle page : document.getAllPages()) {
        const std::string name = page.getKey("/Annots").getArrayItem(0).getKey("/Dest").getName();
        QCOMPARE(places.getKey(name).getArrayItem(0).getObjectID(), page.getObjectID());
    }
}

void TestJoining::linksBetweenParts_data()
{
    QTest::addColumn<QByteArray>("address");
    // The page, from 0, and the height; -1 for a link out of the document.
    QTest::addColumn<int>("page");
    QTest::addColumn<double>("height");
    QTest::newRow("to the next") << QByteArray("http://host/b.html") << 1 << 100.0;
    QTest::newRow("to itself") << QByteArray("http://host/a.html") << 0 << 100.0;
    QTest::newRow("to a place") << QByteArray("http://host/b.html#x%20y") << 1 << 50.0;
    QTest::newRow("to a place written otherwise") << QByteArray("http://host/b.html#%78 y") << 1 << 50.0;
    QTest::newRow("to a place that is not there") << QByteArray("http://host/b.html#z") << 1 << 100.0;
    QTest::newRow("to a place of another part only") << QByteArray("http://host/a.html#x%20y") << 0 << 100.0;
    QTest::newRow("with the usual port") << QByteArray("http://host:80/b.html") << 1 << 100.0;
    QTest::newRow("with capitals") << QByteArray("HTTP://HOST/b.html") << 1 << 100.0;
    QTest::newRow("with another port") << QByteArray("http://host:81/b.html") << -1 << 0.0;
    QTest::newRow("with another scheme") << QByteArray("https://host/b.html") << -1 << 0.0;
    QTest::newRow("with a query") << QByteArray("http://host/b.html?c") << -1 << 0.0;
    QTest::newRow("to something else") << QByteArray("http://host/c.html") << -1 << 0.0;
}

void TestJoining::linksBetweenParts()
{
    QFETCH(QByteArray, address);
    QFETCH(int, page);
    QFETCH(double, height);
    HandPdf target;
    target.catalogue("/Dests << /x#2520y [3 0 R /XYZ 0 50 0] >>");
    const QByteArray bytes = joined({withInformation(linking(address), "a"), withInformation(target, "b")});
    QCOMPARE(JudgedPdf(bytes).complaints(), QByteArray());
    QPDF document;
    document.processMemoryFile("joined", bytes.constData(), static_cast<size_t>(bytes.size()));
    QPDFObjectHandle first = document.getAllPages().front();
    QPDFObjectHandle link = first.getKey("/Annots").getArrayItem(0);
    QCOMPARE(link.hasKey("/A"), page < 0);
    if (page < 0)
        return;
    QPDFObjectHandle place = document.getRoot().getKey("/Dests").getKey(link.getKey("/Dest").getName());
    QCOMPARE(place.getArrayItem(0).getObjectID(),
             document.getAllPages().at(static_cast<size_t>(page)).getObjectID());
    QCOMPARE(place.getArrayItem(3).getNumericValue(), height);
}

void TestJoining::linksOutOfTheWholeAreRemoved()
{
    Job job;
    job.externalLinks = false;
    const QByteArray bytes = joined({withInformation(tagged("http://host/b.html"), "a"),
                                     withInformation(tagged("http://host/c.html"), "b")},
                                    job);
    const JudgedPdf pdf(bytes);
    QCOMPARE(pdf.complaints(), QByteArray());
    QCOMPARE(pdf.readable().count("/Subtype /Link"), 1);
    QCOMPARE(pdf.readable().count("/URI"), 0);
    QCOMPARE(pdf.structure().count("Link"), 1);
}

void TestJoining::copiesAreOfTheWhole()
{
    Job job;
    job.copies = 3;
    job.title = u"All"_s;
    const QByteArrayList parts{withInformation(tagged("http://host/b.html"), "a"),
                               withInformation(saying("two"), "b")};
    const JudgedPdf pdf(joined(parts, job));
    QCOMPARE(pdf.complaints(), QByteArray());
    QCOMPARE(pdf.text().simplified(), QByteArray("tagged two tagged two tagged two"));
    QCOMPARE(pdf.structure().count("tagged"), 1);
    QCOMPARE(pdf.readable().count("(tagged) Tj"), 1);
    // That of the document, and two bookmarks.
    QCOMPARE(pdf.readable().count("/Title"), 3);
    QCOMPARE(pdf.readable().count("/Title (All)"), 1);
}

void TestJoining::manyPagesInATree()
{
    HandPdf hand = saying("root");
    hand.add("<< /Type /Pages /Parent 2 0 R /Count 1 /Kids [3 0 R] /MediaBox [0 0 50 60] >>");
    QByteArray bytes = withInformation(hand, "a");
    bytes.replace("/Kids [3 0 R] /Count 1", "/Kids [5 0 R] /Count 1")
        .replace("/Parent 2 0 R /MediaBox [0 0 100 100]", "/Parent 5 0 R                        ");
    const JudgedPdf pdf(joined({bytes, bytes}));
    QCOMPARE(pdf.complaints(), QByteArray());
    QCOMPARE(pdf.picture(72, 2).size(), QSize(50, 60));
}

void TestJoining::aDocumentWithoutPages()
{
    QByteArray empty = withInformation(HandPdf(), "a");
    empty.replace("/Kids [3 0 R] /Count 1", "/Kids [     ] /Count 0");
    QVERIFY_THROWS_EXCEPTION(std::runtime_error, joined({withInformation(HandPdf(), "a"), empty}));
}

void TestJoining::whatTheSinkThrows()
{
    const QByteArray bytes = withInformation(HandPdf(), "a");
    QVERIFY_THROWS_EXCEPTION(std::logic_error, joinParts(
                                                   {partAt(u"a"_s)}, [&](size_t) { return bytes; }, {},
                                                   [](std::string_view) { throw std::logic_error("full"); }));
}

QTEST_GUILESS_MAIN(TestJoining)
#include "tst_joining.moc"
