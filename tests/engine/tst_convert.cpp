#include "tests/support/engine.h"
#include "tests/support/pictures.h"

#include <QDir>
#include <QTest>

using namespace Qt::StringLiterals;

/// What holds for every PDF: valid, tagged, with outline and title, on the right paper, complete.
class ConvertTest : public QObject
{
    Q_OBJECT

private slots:
    void everySampleBecomesASoundPdf_data();
    void everySampleBecomesASoundPdf();
    void theSampleBuiltByScriptIsBuilt();
    void theSampleOfManyScriptsHasTheirLetters();
    void theSlidesAreFullPages();
    void isTaggedWithOutlineAndLanguage();
    void linksStay();
    void linksToTheDocumentItselfStayWithin();
    void whatThePageSaysOfItselfIsInThePdf();
    void theSameBytesAtTheSameTime();
    void textStaysTextAndVectorsStayVectors();
    void thePageIsLaidOutForPaper();
    void whatMovesForEverIsPrintedAtOneMoment();
    void aTitleIsShownByViewers_data();
    void aTitleIsShownByViewers();
    void withoutATitleThePagesOwnHolds();
    void copiesAreCollatedAndShareTheirContent();
    void copiesKeepLinksAndOutline();
    void oneCopyIsTheDocumentItself();
    void aDocumentOfManyPages();
    void cleanupTestCase();

private:
    Engine m_engine;
};

void ConvertTest::everySampleBecomesASoundPdf_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("title");
    const QDir samples(QStringLiteral(QUIRELLE_SAMPLES));
    for (const QString &name : samples.entryList({u"*.html"_s})) {
        const QString html = QString::fromUtf8(contentOf(samples.filePath(name)));
        const QString title = html.section(u"<title>"_s, 1).section(u"</title>"_s, 0, 0);
        QTest::newRow(qPrintable(name)) << samples.filePath(name) << title;
    }
}

void ConvertTest::everySampleBecomesASoundPdf()
{
    QFETCH(QString, path);
    QFETCH(QString, title);
    const Conversion conversion = m_engine.convert(path);
    VERIFY_WRITTEN(conversion);
    const PdfFile pdf = conversion.pdf();
    const auto info = pdf.info();
    QVERIFY(!title.isEmpty());
    QCOMPARE(info.value(u"Title"_s), title);
    QCOMPARE(info.value(u"Tagged"_s), u"yes"_s);
    QVERIFY(pdf.pages() >= 1);
    QVERIFY(!pdf.outline().isEmpty());
    QVERIFY(pdf.usesObjectStreams());
    QCOMPARE(pdf.catalogue()[u"/Lang"_s].toString(), u"u:en"_s);
    // No page is empty.
    for (int page = 1; page <= pdf.pages(); ++page)
        QVERIFY2(shareOf(Qt::white, pdf.picture(page, 20)) < 0.999, qPrintable(u"page %1"_s.arg(page)));
    // All fonts are embedded, as subsets or outlines.
    QVERIFY(!pdf.fonts().isEmpty());
}

void ConvertTest::theSampleBuiltByScriptIsBuilt()
{
    const Conversion conversion = m_engine.convert(QStringLiteral(QUIRELLE_SAMPLES "/built-by-script.html"));
    VERIFY_WRITTEN(conversion);
    const Conversion bare = m_engine.convert(QStringLiteral(QUIRELLE_SAMPLES "/built-by-script.html"),
                                             {u"--disable-javascript"_s});
    VERIFY_WRITTEN(bare);
    QVERIFY(conversion.pdf().text().size() > 2 * bare.pdf().text().size());
}

void ConvertTest::theSampleOfManyScriptsHasTheirLetters()
{
    const Conversion conversion =
        m_engine.convert(QStringLiteral(QUIRELLE_SAMPLES "/scripts-of-the-world.html"));
    VERIFY_WRITTEN(conversion);
    const QString text = conversion.pdf().text();
    for (const char *words : {"Όλοι οι άνθρωποι", "Все люди", "すべて"})
        QVERIFY2(text.contains(QString::fromUtf8(words)), words);
    const QString fonts = conversion.pdf().fonts().join(u' ');
    for (const char *font : {"Devanagari", "Bengali", "Georgian", "Armenian", "Hebrew", "Arabic"})
        QVERIFY2(fonts.contains(QLatin1String(font)), qPrintable(fonts));
}

void ConvertTest::theSlidesAreFullPages()
{
    const Conversion conversion = m_engine.convert(QStringLiteral(QUIRELLE_SAMPLES "/slides.html"));
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().pages(), 6);
    const QImage first = conversion.pdf().picture(1, 36);
    for (const QPoint &corner : {QPoint(0, 0), QPoint(first.width() - 1, 0), QPoint(0, first.height() - 1),
                                 QPoint(first.width() - 1, first.height() - 1)})
        QVERIFY(first.pixelColor(corner) != QColor(Qt::white));
}

void ConvertTest::isTaggedWithOutlineAndLanguage()
{
    const Conversion conversion = m_engine.convertText(
        "<!DOCTYPE html><html lang=pt-BR><meta charset=utf-8><title>T</title>"
        "<h1>Capítulo <i>um</i></h1><p>a</p><h2>Erste (\\)</h2><h3>deep</h3><h2>第二 🌊</h2>"
        "<h1>Two</h1><h2 style='display:none'>hidden</h2><table><tr><th>head<td>cell</table><ul><li>item</ul>"
        "<img alt='a picture' src='" +
        dataAddress(Qt::red).toLatin1() + "'>");
    VERIFY_WRITTEN(conversion);
    const PdfFile pdf = conversion.pdf();
    QCOMPARE(pdf.outline(),
             (QStringList{u"Capítulo um"_s, u"-Erste (\\)"_s, u"--deep"_s, u"-第二 🌊"_s, u"Two"_s}));
    const QJsonObject catalogue = pdf.catalogue();
    QCOMPARE(catalogue[u"/Lang"_s].toString(), u"u:pt-BR"_s);
    QCOMPARE(catalogue[u"/MarkInfo"_s].toObject()[u"/Marked"_s].toBool(), true);
    const QString structure = pdf.structure();
    for (const char *element : {"H1", "H2", "H3", "P", "Table", "TH", "TD", "L", "LI", "Figure"})
        QVERIFY2(structure.contains(QRegularExpression(u"^ *%1\\b"_s.arg(QLatin1String(element)),
                                                       QRegularExpression::MultilineOption)),
                 element);
}

void ConvertTest::linksStay()
{
    const Conversion conversion =
        m_engine.convertText("<!DOCTYPE html><p><a href='https://example.com/a?b=c&amp;d#e'>out</a> <a "
                             "href='mailto:a@b.example'>mail</a>"
                             " <a href='#end'>down</a><p id=end style='break-before:page'>end");
    VERIFY_WRITTEN(conversion);
    QStringList links = conversion.pdf().links();
    links.sort();
    QCOMPARE(links, (QStringList{u"https://example.com/a?b=c&d#e"_s, u"mailto:a@b.example"_s}));
    const ProgramResult json =
        runProgram(u"qpdf"_s, {u"--qdf"_s, u"--object-streams=disable"_s, conversion.output, u"-"_s});
    QVERIFY(json.output.contains("/Dest "));
}

void ConvertTest::linksToTheDocumentItselfStayWithin()
{
    m_engine.write(u"other.html"_s, "<p>other");
    const QString page = m_engine.write(
        u"links.html"_s, "<!DOCTYPE html><p><a href=''>top</a> <a href='links.html#end'>down</a> "
                         "<a href='other.html#a'>beside</a><p id=end style='break-before:page'>end");
    const Conversion conversion = m_engine.convert(page);
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().links(), QStringList{u"other.html#a"_s});
    const ProgramResult text =
        runProgram(u"qpdf"_s, {u"--qdf"_s, u"--object-streams=disable"_s, conversion.output, u"-"_s});
    QCOMPARE(text.output.count("/Subtype /Link"), 3);
    QVERIFY(!text.output.contains(m_engine.documents().toUtf8()));
}

void ConvertTest::whatThePageSaysOfItselfIsInThePdf()
{
    const Conversion conversion = m_engine.convertText(
        "<!DOCTYPE html><html lang=de><meta charset=utf-8><meta name=author content='Zoë & Ann'>"
        "<meta name=author content=Bob><meta name=Keywords content='one, two'><meta name=description "
        "content='A page.'>"
        "<meta name=generator content='Sphinx 7'><meta property=article:published_time "
        "content=2021-03-04T05:06:07Z>"
        "<title>T</title><p>x");
    VERIFY_WRITTEN(conversion);
    const auto info = conversion.pdf().info();
    QCOMPARE(info.value(u"Author"_s), u"Zoë & Ann, Bob"_s);
    QCOMPARE(info.value(u"Keywords"_s), u"one, two"_s);
    QCOMPARE(info.value(u"Subject"_s), u"A page."_s);
    QCOMPARE(info.value(u"Creator"_s), u"Sphinx 7"_s);
    QVERIFY(info.value(u"Producer"_s).startsWith(u"Quirelle ("_s));
    QVERIFY2(info.value(u"CreationDate"_s).contains(u"2021"_s), qPrintable(info.value(u"CreationDate"_s)));
    QCOMPARE(conversion.pdf().catalogue()[u"/Lang"_s].toString(), u"u:de"_s);
}

void ConvertTest::theSameBytesAtTheSameTime()
{
    Engine engine;
    engine.setIdleSeconds(0);
    const QString page = engine.write(
        u"page.html"_s,
        "<!DOCTYPE html><title>T</title><h1 id=a>x</h1><p><a href=#a>y</a><em>z</em><ul><li>1<li>2</ul>"
        "<table><tr><th>a<th>b<tr><td>c<td>d</table>");
    const auto bytes = [&] {
        const Conversion conversion = engine.convert(page);
        return contentOf(conversion.output);
    };
    engine.setVariable(u"SOURCE_DATE_EPOCH"_s, u"1600000000"_s);
    const QByteArray cold = bytes();
    QVERIFY(cold.startsWith("%PDF"));
    QTest::qWait(1100); // the next second
    QCOMPARE(bytes(), cold);
    engine.setIdleSeconds(20);
    QCOMPARE(bytes(), cold);
    QCOMPARE(bytes(), cold);
    engine.setVariable(u"SOURCE_DATE_EPOCH"_s, u"yesterday"_s);
    QCOMPARE(engine.convert(page).run.exitCode, 1);
}

void ConvertTest::textStaysTextAndVectorsStayVectors()
{
    const Conversion conversion = m_engine.convertText(
        "<!DOCTYPE html><p style='font-family:serif'>searchable <b>words</b> fi ffl</p>"
        "<svg width=100 height=100><circle cx=50 cy=50 r=40 fill=red /></svg>"
        "<div style='width:100px;height:50px;border-radius:9px;background:linear-gradient(red,blue)'></div>");
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().images(), 0);
    QVERIFY(conversion.pdf().text().contains(u"searchable words fi ffl"_s));
    QVERIFY(conversion.pdf().fonts().size() >= 2);
    QVERIFY(shows(Qt::red, conversion.pdf().picture()));
}

void ConvertTest::thePageIsLaidOutForPaper()
{
    const Conversion conversion = m_engine.convertText(
        "<!DOCTYPE html><style>@media screen{.p{display:none}}@media print{.s{display:none}}</style>"
        "<p class=p>for paper<p class=s>for screens<p id=w><script>w.textContent="
        "'query '+matchMedia('print').matches+' wide '+innerWidth</script>");
    VERIFY_WRITTEN(conversion);
    const QString text = conversion.pdf().text();
    QVERIFY(text.contains(u"for paper"_s));
    QVERIFY(!text.contains(u"for screens"_s));
    // As wide as the text on A4 with 10 mm of margin.
    const int width = text.section(u"wide "_s, 1).section(u' ', 0, 0).toInt();
    QVERIFY2(width > 700 && width <= 720, qPrintable(text));
}

void ConvertTest::whatMovesForEverIsPrintedAtOneMoment()
{
    const QByteArray html =
        "<!DOCTYPE html><style>@keyframes turn{to{rotate:1turn}}@keyframes slide{to{margin-left:400px}}"
        ".turn{width:99px;height:99px;background:#00f;animation:turn 1.7s linear infinite}"
        ".slide{animation:slide 11s infinite alternate}.long{animation:slide 90s}</style><div "
        "class=turn></div>"
        "<p class=slide>sliding<p class=long>long<svg><rect width=40 height=40 fill=red><animate "
        "attributeName=x "
        "to=200 dur=1.3s repeatCount=indefinite /></rect></svg><marquee>running</marquee>";
    QList<QImage> pages;
    for (int i = 0; i < 3; ++i) {
        const Conversion conversion = m_engine.convertText(html);
        VERIFY_WRITTEN(conversion);
        QVERIFY(conversion.pdf().text().contains(u"running"_s));
        pages += conversion.pdf().picture();
    }
    QCOMPARE(pages[1], pages[0]);
    QCOMPARE(pages[2], pages[0]);
}

void ConvertTest::aTitleIsShownByViewers_data()
{
    QTest::addColumn<QString>("title");
    QTest::newRow("plain") << u"A title"_s;
    QTest::newRow("other scripts") << u"Größe — 日本語 עברית"_s;
    QTest::newRow("emoji") << u"Wave 🌊 family 👨‍👩‍👧"_s;
    QTest::newRow("parentheses and backslashes") << u"((a) \\ \\( b))"_s;
    QTest::newRow("markup") << u"<b>&amp;\"'</b> /Title <</x>>"_s;
    QTest::newRow("percent signs") << u"100%1 %9"_s;
    QTest::newRow("an option") << u"--no-images"_s;
    QTest::newRow("a hundred letters") << QString(100, u'ü');
    QTest::newRow("one blank") << u" "_s;
    QTest::newRow("empty") << u""_s;
}

void ConvertTest::aTitleIsShownByViewers()
{
    QFETCH(QString, title);
    const Conversion conversion =
        m_engine.convertText("<!DOCTYPE html><title>The page's own</title><p>x", {u"--title"_s, title});
    VERIFY_WRITTEN(conversion);
    const PdfFile pdf = conversion.pdf();
    QCOMPARE(pdf.documentTitle(), title);
    QCOMPARE(pdf.catalogue()[u"/ViewerPreferences"_s].toObject()[u"/DisplayDocTitle"_s].toBool(), true);
    // The one place that could contradict it.
    QCOMPARE(pdf.metadataTitle(), title);
}

void ConvertTest::withoutATitleThePagesOwnHolds()
{
    const Conversion own =
        m_engine.convertText("<!DOCTYPE html><meta charset=utf-8><title> Own\n 🌊 &amp; more </title><p>x");
    VERIFY_WRITTEN(own);
    QCOMPARE(own.pdf().documentTitle(), u"Own 🌊 & more"_s);
    const Conversion scripted = m_engine.convertText(
        "<!DOCTYPE html><title>a</title><p>x<script>document.title='by script'</script>");
    VERIFY_WRITTEN(scripted);
    QCOMPARE(scripted.pdf().documentTitle(), u"by script"_s);
}

void ConvertTest::copiesAreCollatedAndShareTheirContent()
{
    const QString slides = QStringLiteral(QUIRELLE_SAMPLES "/slides.html");
    const Conversion once = m_engine.convert(slides, {u"--copies"_s, u"1"_s});
    const Conversion often = m_engine.convert(slides, {u"--copies"_s, u"10"_s});
    VERIFY_WRITTEN(once);
    VERIFY_WRITTEN(often);
    QCOMPARE(often.pdf().pages(), 10 * once.pdf().pages());
    for (const int copy : {1, 9}) {
        for (int page = 1; page <= once.pdf().pages(); ++page) {
            const int repeated = copy * once.pdf().pages() + page;
            QCOMPARE(often.pdf().text(repeated), once.pdf().text(page));
            QCOMPARE(often.pdf().picture(repeated, 20), once.pdf().picture(page, 20));
        }
    }
    QVERIFY2(often.pdf().size() < once.pdf().size() * 13 / 10,
             qPrintable(u"%1 and %2 bytes"_s.arg(once.pdf().size()).arg(often.pdf().size())));
}

void ConvertTest::copiesKeepLinksAndOutline()
{
    const QByteArray html = "<!DOCTYPE html><html lang=en><title>T</title><h1>One</h1>"
                            "<a href='https://example.com/'>link</a><h1 style='break-before:page'>Two</h1>";
    const Conversion conversion = m_engine.convertText(html, {u"--copies"_s, u"3"_s});
    VERIFY_WRITTEN(conversion);
    const PdfFile pdf = conversion.pdf();
    QCOMPARE(pdf.pages(), 6);
    QCOMPARE(pdf.outline(), (QStringList{u"One"_s, u"Two"_s}));
    QCOMPARE(pdf.info().value(u"Tagged"_s), u"yes"_s);
    QCOMPARE(pdf.links().size(), 3);
    for (int page = 1; page <= 6; ++page)
        QVERIFY(pdf.text(page).contains(page % 2 == 1 ? u"One link"_s : u"Two"_s));
}

void ConvertTest::oneCopyIsTheDocumentItself()
{
    const Conversion conversion = m_engine.convertText("<p>once", {u"--copies"_s, u"1"_s});
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().text(), u"once"_s);
}

void ConvertTest::aDocumentOfManyPages()
{
    QByteArray html = "<!DOCTYPE html><html lang=en>";
    for (int i = 1; i <= 400; ++i)
        html += "<h2 style='break-before:page'>Chapter " + QByteArray::number(i) + "</h2><p>text";
    const Conversion conversion = m_engine.convertText(html);
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().pages(), 400);
    QCOMPARE(conversion.pdf().outline().size(), 400);
    QCOMPARE(conversion.pdf().text(400), u"Chapter 400 text"_s);
}

void ConvertTest::cleanupTestCase()
{
    QCOMPARE(m_engine.leftBehind(), QString());
}

QTEST_GUILESS_MAIN(ConvertTest)
#include "tst_convert.moc"
