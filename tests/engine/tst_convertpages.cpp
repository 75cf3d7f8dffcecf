#include "tests/support/engine.h"
#include "tests/support/pictures.h"
#include "tests/support/webserver.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

constexpr double pointsPerMillimetre = 72 / 25.4;

/// Where the page (from 1) is red, in points.
QRect redPart(const PdfFile &pdf, int page = 1)
{
    const QImage picture = pdf.picture(page);
    QRect part;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            const QColor colour = picture.pixelColor(x, y);
            if (colour.red() > 200 && colour.green() < 60)
                part |= QRect(x, y, 1, 1);
        }
    }
    return part;
}

/// The page's margins in points, where its text is all red.
QMargins marginsOn(const PdfFile &pdf, int page = 1)
{
    const QRect red = redPart(pdf, page);
    const QSizeF size = pdf.pageSizes().value(page - 1);
    return {red.left(), red.top(), qRound(size.width()) - red.right() - 1,
            qRound(size.height()) - red.bottom() - 1};
}

bool isNear(const QMargins &one, const QMargins &other)
{
    const QMargins difference = one - other;
    return std::abs(difference.left()) <= 2 && std::abs(difference.top()) <= 2 &&
           std::abs(difference.right()) <= 2 && std::abs(difference.bottom()) <= 2;
}

QByteArray written(const QMargins &margins)
{
    return u"%1 %2 %3 %4 (left, top, right, bottom)"_s.arg(margins.left())
        .arg(margins.top())
        .arg(margins.right())
        .arg(margins.bottom())
        .toUtf8();
}

/// A page whose text is all red, page for page; `css` stands in its style.
QByteArray redPages(const QByteArray &css)
{
    return "<!DOCTYPE html><style>" + css +
           " body { margin: 0; print-color-adjust: exact } div { background: #f00; height: 100vh }"
           " .wide { page: wide }</style><div>first</div><div>second</div><div class=wide>wide</div>";
}

/// Ten pages with a heading, a link to the heading of the next page, one to its own and one out of the
/// document on each, and the page's number at its foot.
QByteArray tenPages()
{
    QByteArray html = "<!DOCTYPE html><style>@page { @bottom-center { content: counter(page) ' of ' "
                      "counter(pages) } } h1 + p { break-after: page }</style>";
    for (int i = 1; i <= 10; ++i) {
        const QByteArray number = QByteArray::number(i);
        html += "<h1 id=h" + number + ">H" + number + "</h1><p><a href=#h" + QByteArray::number(i + 1) +
                ">next</a> <a href=#h" + number + ">here</a> <a href=http://www.example.com/" + number +
                ">out</a></p>";
    }
    return html.replace("<p><a href=#h11>next</a> ", "<p style='break-after: auto'>");
}

} // namespace

/// Papers of any size, margins, and which pages there are.
class ConvertPagesTest : public QObject
{
    Q_OBJECT

private slots:
    void papersOfAnySize_data();
    void papersOfAnySize();
    void smallPapersHaveSmallMargins();
    void theMarginsAreThose_data();
    void theMarginsAreThose();
    void thePagesOwnMarginsGiveWay_data();
    void thePagesOwnMarginsGiveWay();
    void runningHeadsStayInTheMargins();
    void marginsThatLeaveNoRoom();
    void thesePagesAreThere_data();
    void thesePagesAreThere();
    void nothingLeadsToPagesThatAreLeftOut();
    void noneOfThePages();
    void copiesOfSomePages();
    void theMediaIsThat_data();
    void theMediaIsThat();
    void whatIsDecidedWhenDrawn_data();
    void whatIsDecidedWhenDrawn();
    void theWindowIsAsLargeAsSaid();
    void onePageAsTallAsTheContent_data();
    void onePageAsTallAsTheContent();
    void barsAtTheLowerEdgeStayBars();
    void onePageTallerThanReadersAccept();
    void onePageAsLongAsCanBe();
    void cleanupTestCase();

private:
    Engine m_engine;
};

void ConvertPagesTest::papersOfAnySize_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QSizeF>("size");
    const auto row = [](const char *size, double width, double height, const QStringList &more = {}) {
        QTest::newRow(more.isEmpty() ? size : qPrintable(QLatin1String(size) + more.join(u' ')))
            << QStringList{u"--page-size"_s, QLatin1String(size)} + more << QSizeF(width, height);
    };
    row("210x297mm", 595, 842);
    row("21x29.7cm", 595, 842);
    row("8.5x11in", 612, 792);
    row("612x792pt", 612, 792);
    row("800x600px", 600, 450);
    row("62x29mm", 176, 82);
    row("10cmx4in", 283.5, 288);
    row("100X150MM", 283.5, 425);
    row("1x5.08m", 0, 0);
    row("14400x500pt", 14400, 500);
    row("100x150mm", 425, 283.5, {u"--orientation"_s, u"Landscape"_s});
    row("150x100mm", 283.5, 425, {u"--orientation"_s, u"Portrait"_s});
}

void ConvertPagesTest::papersOfAnySize()
{
    QFETCH(QStringList, options);
    QFETCH(QSizeF, size);
    const Conversion conversion = m_engine.convertText(
        "<!DOCTYPE html><style>@page { size: A3 !important } @page :first { size: 5in 5in }</style><p>x",
        options);
    if (size.isEmpty()) {
        VERIFY_FAILED(conversion, 1);
        return;
    }
    VERIFY_WRITTEN(conversion);
    const QSizeF found = conversion.pdf().pageSizes().value(0);
    QVERIFY(std::abs(found.width() - size.width()) < 1.5 && std::abs(found.height() - size.height()) < 1.5);
}

void ConvertPagesTest::smallPapersHaveSmallMargins()
{
    const Conversion conversion = m_engine.convertText(redPages({}), {u"--page-size"_s, u"60x15mm"_s});
    VERIFY_WRITTEN(conversion);
    const QMargins margins = marginsOn(conversion.pdf());
    QVERIFY2(isNear(margins, QMargins(28, 14, 28, 14)), written(margins));
}

void ConvertPagesTest::theMarginsAreThose_data()
{
    QTest::addColumn<QString>("lengths");
    QTest::addColumn<QMargins>("margins");
    QTest::newRow("none") << u"0"_s << QMargins(0, 0, 0, 0);
    QTest::newRow("one") << u"20mm"_s << QMargins(57, 57, 57, 57);
    QTest::newRow("two") << u"1cm 30pt"_s << QMargins(30, 28, 30, 28);
    QTest::newRow("three") << u"1in 0 40px"_s << QMargins(0, 72, 0, 30);
    QTest::newRow("four") << u"10pt 20pt 30pt 40pt"_s << QMargins(40, 10, 20, 30);
    QTest::newRow("blanks") << u"  10PT   20pt "_s << QMargins(20, 10, 20, 10);
}

void ConvertPagesTest::theMarginsAreThose()
{
    QFETCH(QString, lengths);
    QFETCH(QMargins, margins);
    const Conversion conversion = m_engine.convertText(redPages({}), {u"--margin"_s, lengths});
    VERIFY_WRITTEN(conversion);
    const QMargins found = marginsOn(conversion.pdf());
    QVERIFY2(isNear(found, margins), written(found));
}

void ConvertPagesTest::thePagesOwnMarginsGiveWay_data()
{
    QTest::addColumn<QByteArray>("css");
    QTest::newRow("a margin") << QByteArray("@page { margin: 3cm }");
    QTest::newRow("an important one") << QByteArray("@page { margin: 3cm !important }");
    QTest::newRow("of one side") << QByteArray("@page { margin-left: 3cm !important; margin-bottom: 20% }");
    QTest::newRow("of the first page")
        << QByteArray("@page :first { margin: 4cm !important } @page { margin: 2cm }");
    QTest::newRow("of left and right pages")
        << QByteArray("@page :left { margin-left: 4cm } @page :right { margin-right: 4cm !important }");
    QTest::newRow("of a named page") << QByteArray("@page wide { margin: 3cm 1cm !important }");
    QTest::newRow("by directions of writing")
        << QByteArray("@page { margin-block: 3cm !important } @page wide { margin-inline-start: 3cm }");
    QTest::newRow("in a layer") << QByteArray("@layer a { @page { margin: 3cm !important } }");
    QTest::newRow("in @media print") << QByteArray("@media print { @page { margin: 30pt !important } }");
    QTest::newRow("for elements, too")
        << QByteArray("@page { margin: 3cm !important; @top-left { content: ''; margin: 7px } }");
}

void ConvertPagesTest::thePagesOwnMarginsGiveWay()
{
    QFETCH(QByteArray, css);
    // In the page, and in a file that its scripts cannot read.
    m_engine.write(u"own.css"_s, css);
    for (const QByteArray &page : {redPages(css), "<link rel=stylesheet href=own.css>" + redPages({})}) {
        const QString input = m_engine.write(u"page.html"_s, page);
        const Conversion conversion = m_engine.convert(input, {u"--margin"_s, u"40pt 50pt 60pt 70pt"_s});
        VERIFY_WRITTEN(conversion);
        const PdfFile pdf = conversion.pdf();
        QCOMPARE(pdf.pages(), 3);
        for (int number = 1; number <= 3; ++number) {
            const QMargins found = marginsOn(pdf, number);
            QVERIFY2(isNear(found, QMargins(70, 40, 50, 60)), written(found));
        }
    }
}

void ConvertPagesTest::runningHeadsStayInTheMargins()
{
    const Conversion conversion = m_engine.convertText(
        redPages("@page { margin: 3cm; @top-center { content: 'Head ' counter(page) } }"),
        {u"--margin"_s, u"2cm"_s});
    VERIFY_WRITTEN(conversion);
    QVERIFY(conversion.pdf().text(2).contains(u"Head 2"_s));
    QVERIFY(isNear(marginsOn(conversion.pdf(), 2), QMargins(57, 57, 57, 57)));
}

void ConvertPagesTest::marginsThatLeaveNoRoom()
{
    VERIFY_FAILED(m_engine.convertText("x", {u"--margin"_s, u"11cm"_s}), 1);
    VERIFY_FAILED(m_engine.convertText("<style>@page { size: 5cm 5cm }</style>x", {u"--margin"_s, u"3cm"_s}),
                  1);
    VERIFY_FAILED(m_engine.convertText("x", {u"--page-size"_s, u"5x5cm"_s, u"--margin"_s, u"3cm"_s}), 1);
}

void ConvertPagesTest::thesePagesAreThere_data()
{
    QTest::addColumn<QString>("ranges");
    QTest::addColumn<QStringList>("headings");
    QTest::newRow("one") << u"4"_s << QStringList{u"H4"_s};
    QTest::newRow("some") << u"1-3,7,9-"_s
                          << QStringList{u"H1"_s, u"H2"_s, u"H3"_s, u"H7"_s, u"H9"_s, u"H10"_s};
    QTest::newRow("in the document's order, once") << u"9,2-3,3"_s << QStringList{u"H2"_s, u"H3"_s, u"H9"_s};
    QTest::newRow("beyond the end") << u"9-12,400"_s << QStringList{u"H9"_s, u"H10"_s};
    QTest::newRow("all") << u"1-"_s << QStringList{u"H1"_s, u"H2"_s, u"H3"_s, u"H4"_s, u"H5"_s,
                                                   u"H6"_s, u"H7"_s, u"H8"_s, u"H9"_s, u"H10"_s};
    QTest::newRow("blanks") << u"1, 3 , 5"_s << QStringList{u"H1"_s, u"H3"_s, u"H5"_s};
}

void ConvertPagesTest::thesePagesAreThere()
{
    QFETCH(QString, ranges);
    QFETCH(QStringList, headings);
    const Conversion conversion = m_engine.convertText(tenPages(), {u"--pages"_s, ranges});
    VERIFY_WRITTEN(conversion);
    const PdfFile pdf = conversion.pdf();
    QCOMPARE(pdf.pages(), headings.size());
    QCOMPARE(pdf.outline(), headings);
    for (int page = 1; page <= pdf.pages(); ++page) {
        // Its number in the whole document stays.
        const QString number = headings[page - 1].mid(1) + u" of 10"_s;
        QVERIFY2(pdf.text(page).startsWith(headings[page - 1]) && pdf.text(page).endsWith(number),
                 qPrintable(pdf.text(page)));
    }
}

void ConvertPagesTest::nothingLeadsToPagesThatAreLeftOut()
{
    const QString input = m_engine.write(u"ten.html"_s, tenPages());
    const Conversion conversion = m_engine.convert(input, {u"--pages"_s, u"2-3,6"_s});
    VERIFY_WRITTEN(conversion);
    const PdfFile pdf = conversion.pdf();
    // Each page has a link to the next one, to itself and out of the document.
    QCOMPARE(pdf.links().size(), 3);
    const ProgramResult json = runProgram(u"qpdf"_s, {u"--json=2"_s, u"--json-key=qpdf"_s, pdf.path()});
    QCOMPARE(json.output.count("\"/Subtype\": \"/Link\""), 3 + 3 + 1);
    QCOMPARE(json.output.count("\"/Dest\": \"/"), 3 + 1);
    const QJsonObject destinations = pdf.catalogue()["/Dests"_L1].toObject();
    QCOMPARE(destinations.keys(), (QStringList{u"/h2"_s, u"/h3"_s, u"/h6"_s}));
    // Every annotation in the structure tree is there.
    QCOMPARE(pdf.structure().count(u"Object "_s), 3 + 3 + 1);
    QVERIFY(!pdf.structure().contains(u"H10"_s));
}

void ConvertPagesTest::noneOfThePages()
{
    const Conversion conversion = m_engine.convertText("<p>x", {u"--pages"_s, u"2-"_s});
    VERIFY_FAILED(conversion, 1);
    QVERIFY2(conversion.run.errors.contains("--pages"), conversion.run.errors.constData());
}

void ConvertPagesTest::copiesOfSomePages()
{
    const Conversion conversion =
        m_engine.convertText(tenPages(), {u"--pages"_s, u"2,4"_s, u"--copies"_s, u"2"_s});
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().pages(), 4);
    QVERIFY(conversion.pdf().text(4).contains(u"H4"_s));
}

void ConvertPagesTest::theMediaIsThat_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QString>("text");
    QTest::newRow("by default") << QStringList() << u"print"_s;
    QTest::newRow("print") << QStringList{u"--media"_s, u"print"_s} << u"print"_s;
    QTest::newRow("screen") << QStringList{u"--media"_s, u"Screen"_s} << u"screen"_s;
}

void ConvertPagesTest::theMediaIsThat()
{
    QFETCH(QStringList, options);
    QFETCH(QString, text);
    const Conversion conversion = m_engine.convertText(
        "<!DOCTYPE html><style>@media print { .screen { display: none } } @media screen { .print { display: "
        "none } }</style><link rel=stylesheet media=print href='data:text/css,.late{display:none}'>"
        "<span class=print>print</span><span class=screen>screen</span>"
        "<iframe srcdoc='<style>@media print{p{display:none}}</style><p>frame'></iframe>",
        options);
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().text(1), text == u"screen"_s ? u"frame screen"_s : text);
}

/// Green, 16 by 16 pixels; WebM.
constexpr const char *film =
    "GkXfo59ChoEBQveBAULygQRC84EIQoKEd2VibUKHgQRChYECGFOAZwEAAAAAAAGyEU2bdLlNu4tTq4QVSalmU6yBbk27i1OrhB"
    "ZUrmtTrIGTTbuLU6uEH0O2dVOsgdRNu4xTq4QcU7trU6yCAaDsrgAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA"
    "AAAAAAAAAAAAAAAVSalmoCrXsYMPQkBEiYRCILpeTYCGQ2hyb21lV0GGQ2hyb21lFlSua7yuuteBAXPFh3y8f6OWrxyDgQFV7o"
    "EBhoVWX1ZQOOCdsIEQuoEQU8CBAVWwkFWxgQFVuYECVbqBDVW7gQEfQ7Z1AQAAAAAAAMDngQCg6qG/gQAAAPACAJ0BKhAAEAAA"
    "BwiFhYiZhIgBJBATrVAfwB/QEGptsP7+H+L/+jyHGsJYP/6PI//34bUUEhkf/fZAdaGmpqTugQGlnxACAJ0BKhAAEAAABwiFhY"
    "iZhIgBJBAAYGsA/v+6gwCgz6GugQAoALEBAAAQCSAAwAGB/6BgBhD+/h/i//o8hxrCWD/+jyP/9+G1FBIZH/32QHWhmaaX7oEB"
    "pZLRAQAAEAkgAMAAwsF/oABAAAD7gQAcU7trjbuLs4EAt4b3gQHxgdQ=";

void ConvertPagesTest::whatIsDecidedWhenDrawn_data()
{
    QTest::addColumn<QByteArray>("html");
    const auto image = [](const QByteArray &colour) {
        return "\"data:image/svg+xml,<svg xmlns='http://www.w3.org/2000/svg' width='99' height='99'><rect "
               "width='99' height='99' fill='" +
               colour + "'/></svg>\"";
    };
    const QByteArray picture =
        "<picture><source media=print srcset=" + QByteArray(image("lime")).replace(' ', "%20") +
        "><img src=" + image("red") + "></picture>";
    QTest::newRow("a picture for print") << picture;
    QTest::newRow("in a shadow tree")
        << "<div><template shadowrootmode=open>" + picture + "</template></div>";
    QTest::newRow("in a frame") << "<iframe srcdoc='" + QByteArray(picture).replace("'", "&apos;") +
                                       "'></iframe>";
    QTest::newRow("by a script") << "<img id=i src=" + image("red") +
                                        "><script>matchMedia('print').onchange=()=>setTimeout(()=>i.src=" +
                                        image("lime") + ",100)</script>";
    QTest::newRow("the first picture of a film")
        << "<video width=160 src='data:video/webm;base64," + QByteArray(film) + "'></video>";
}

void ConvertPagesTest::whatIsDecidedWhenDrawn()
{
    QFETCH(QByteArray, html);
    const Conversion conversion = m_engine.convertText("<!DOCTYPE html>" + html);
    VERIFY_WRITTEN(conversion);
    QVERIFY(shows(Qt::green, conversion.pdf().picture()));
    QVERIFY(!shows(Qt::red, conversion.pdf().picture()));
}

void ConvertPagesTest::theWindowIsAsLargeAsSaid()
{
    const Conversion conversion = m_engine.convertText(
        "<!DOCTYPE html><p id=begin></p><p id=end></p><script>begin.textContent = innerWidth + 'x' + "
        "innerHeight;"
        "setTimeout(() => end.textContent = matchMedia('(width: 1280px)').matches, 1000)</script>",
        {u"--viewport"_s, u"1280x800"_s});
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().text(), u"1280x800 true"_s);
    // On paper it makes no difference: what is too wide is shrunk.
    const Conversion wide = m_engine.convertText(
        "<!DOCTYPE html><body style='margin:0'><div style='width:1240px;text-align:right;"
        "background:linear-gradient(#f00,#f00) no-repeat right/10px 100%'>LAST</div>",
        {u"--viewport"_s, u"1280x800"_s});
    VERIFY_WRITTEN(wide);
    QCOMPARE(wide.pdf().text(), u"LAST"_s);
    const QRect end = redPart(wide.pdf());
    QVERIFY2(end.width() > 2 && std::abs(end.right() - (595 - 28)) < 4, QByteArray::number(end.right()));
}

void ConvertPagesTest::onePageAsTallAsTheContent_data()
{
    QTest::addColumn<QByteArray>("html");
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QSizeF>("size");
    const QByteArray end = "<div style='height:20px;background:#f00'>END</div>";
    const auto row = [&](const char *name, const QByteArray &html, double width, double height,
                         const QStringList &options = {}) {
        QTest::newRow(name) << "<!DOCTYPE html><style>body { margin: 0; print-color-adjust: exact }</style>" +
                                   html + end
                            << options << QSizeF(width, height);
    };
    constexpr double margins = 57;
    const QByteArray tall = "<div style='height:4000px'>begin</div>";
    row("little", "", 595, 15 + margins);
    row("much", tall, 595, 3015 + margins);
    row("margins of the page", "<style>@page { size: A5; margin: 10pt 20pt 50pt }</style>" + tall, 420,
        3015 + 60);
    row("paper and margins of the job", "<style>@page { size: A5; margin: 10% !important }</style>" + tall,
        298, 3015 + 20, {u"--page-size"_s, u"A6"_s, u"--margin"_s, u"10pt"_s});
    row("turned", tall, 842, 3015 + margins, {u"--orientation"_s, u"Landscape"_s});
    row("breaks",
        "<style>p { break-after: page !important; margin: 0 } @page x { size: A3 } .x { page: x }</style>"
        "<p>a<p>b<p class=x>c<p style='break-before: right !important'>d" +
            tall,
        595, 3015 + margins + 4 * 16.5);
    row("parts as tall as the window", "<div style='height:100vh'>hero</div>" + tall, 595, 842 + 3015);
    row("a window of that height", "<div style='height:100vh'>hero</div>" + tall, 595, 600 + 3015 + margins,
        {u"--viewport"_s, u"1000x800"_s});
    row("as tall as the window by all around it",
        "<style>html, body { height: 100% } main { min-height: 100% }</style>"
        "<main>" +
            tall + "</main>",
        595, 3015 + margins);
    row("wider than the paper", "<div style='width:1436px;background:#f00'>wide</div>" + tall, 595,
        3015 / 2.0 + margins + 7);
    row("what stands out below", "<div style='height:10px'><div style='height:4000px'>tall</div></div>", 595,
        3000 + margins);
    row("for the screen", "<style>@media print { div { display: none } }</style>" + tall, 595, 3015 + margins,
        {u"--media"_s, u"screen"_s});
}

void ConvertPagesTest::onePageAsTallAsTheContent()
{
    QFETCH(QByteArray, html);
    QFETCH(QStringList, options);
    QFETCH(QSizeF, size);
    const Conversion conversion = m_engine.convertText(html, QStringList{u"--single-page"_s} + options);
    VERIFY_WRITTEN(conversion);
    const PdfFile pdf = conversion.pdf();
    QCOMPARE(pdf.pages(), 1);
    const QSizeF found = pdf.pageSizes().value(0);
    QVERIFY2(std::abs(found.width() - size.width()) < 2 && std::abs(found.height() - size.height()) < 12,
             qPrintable(u"%1 x %2"_s.arg(found.width()).arg(found.height())));
    QVERIFY(pdf.text().contains(u"END"_s));
}

void ConvertPagesTest::barsAtTheLowerEdgeStayBars()
{
    const Conversion conversion =
        m_engine.convertText("<!DOCTYPE html><div style='position:fixed;left:0;right:0;bottom:0;background:"
                             "#000;color:#fff'>bar</div><p style='height:3000px'>text",
                             {u"--single-page"_s});
    VERIFY_WRITTEN(conversion);
    const double share = shareOf(Qt::black, conversion.pdf().picture(1, 40));
    QVERIFY2(share > 0.001 && share < 0.02, qPrintable(QString::number(share)));
}

void ConvertPagesTest::onePageTallerThanReadersAccept()
{
    const Conversion conversion = m_engine.convertText(
        "<!DOCTYPE html><style>body { margin: 0 }</style><h1>Begin</h1><a href=#end>link</a><div "
        "style='height:40000px'></div><h2 id=end style='margin:0'>END</h2>",
        {u"--single-page"_s});
    VERIFY_WRITTEN(conversion);
    const PdfFile pdf = conversion.pdf();
    QCOMPARE(pdf.pages(), 1);
    QCOMPARE(pdf.outline(), (QStringList{u"Begin"_s, u"-END"_s}));
    const ProgramResult json = runProgram(u"qpdf"_s, {u"--json=2"_s, u"--json-key=qpdf"_s, pdf.path()});
    QVERIFY(json.output.contains("\"/UserUnit\": 3"));
    QVERIFY(json.output.contains("\"pdfversion\": \"1.6\"") || pdf.info()["PDF version"] == u"1.6"_s);
    const QSizeF size = pdf.pageSizes().value(0);
    QVERIFY(std::abs(size.width() * 3 - 595) < 3 && size.height() <= 14400 && size.height() * 3 > 30000);
}

void ConvertPagesTest::onePageAsLongAsCanBe()
{
    const Conversion conversion = m_engine.convertText(
        "<!DOCTYPE html><p>Begin<div style='height:250000px'></div><p>END", {u"--single-page"_s});
    VERIFY_WRITTEN(conversion);
    const PdfFile pdf = conversion.pdf();
    QCOMPARE(pdf.pages(), 2);
    QVERIFY(std::abs(pdf.pageSizes().value(0).height() - 14400) < 2);
    QVERIFY(pdf.text(2).contains(u"END"_s));
}

void ConvertPagesTest::cleanupTestCase()
{
    QCOMPARE(m_engine.leftBehind(), QString());
}

QTEST_GUILESS_MAIN(ConvertPagesTest)
#include "tst_convertpages.moc"
