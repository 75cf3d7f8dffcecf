#include "tests/support/engine.h"
#include "tests/support/papers.h"
#include "tests/support/pictures.h"
#include "tests/support/stress.h"
#include "tests/support/webserver.h"

#include <QPageSize>
#include <QTest>

#include <iterator>

using namespace Qt::StringLiterals;

namespace
{

QString written(const QList<QSizeF> &sizes)
{
    QStringList texts;
    for (const QSizeF &size : sizes)
        texts += u"%1 x %2"_s.arg(size.width()).arg(size.height());
    return texts.join(u", "_s);
}

bool within(double tolerance, const QSizeF &one, const QSizeF &other)
{
    return std::abs(one.width() - other.width()) <= tolerance &&
           std::abs(one.height() - other.height()) <= tolerance;
}

/// Why not every page has this size; empty if all do.
QByteArray otherThan(const QSizeF &expected, const PdfFile &pdf, double tolerance = 1)
{
    const QList<QSizeF> sizes = pdf.pageSizes();
    const bool same = !sizes.isEmpty() && std::all_of(sizes.begin(), sizes.end(), [&](const QSizeF &size) {
        return within(tolerance, size, expected);
    });
    return same ? QByteArray() : (written(sizes) + u" instead of "_s + written({expected})).toUtf8();
}

/// A page whose own rules ask for other papers in every way that a sheet of its own can.
constexpr const char *obstinate =
    "<!DOCTYPE html><style>"
    "@page { size: 90mm 130mm; margin: 5mm }"
    "@page :first { size: A3 landscape; margin: 8mm }"
    "@page wide { size: B4 landscape }"
    "@media print { @page { size: 100mm 100mm !important } }"
    "@supports (display: block) { @page :left { size: 5in 5in } }"
    "@layer one { @page { size: B5 !important } @page wide { size: 33mm 44mm !important } }"
    ".wide { page: wide }"
    "</style><p>first<p style='break-before:page'>second<p class=wide>wide<p style='break-before:page'>last";

} // namespace

/// The paper: --page-size and --orientation, against pages that ask for something else.
class ConvertPaperTest : public QObject
{
    Q_OBJECT

private slots:
    void everyNameGivesItsPaper_data();
    void everyNameGivesItsPaper();
    void thePagesOwnSizeGivesWay_data();
    void thePagesOwnSizeGivesWay();
    void aSheetInAFileOfItsOwnGivesWay_data();
    void aSheetInAFileOfItsOwnGivesWay();
    void aSheetFromAnotherServerGivesWay();
    void thePageIsLaidOutAnew();
    void marginsOfThePageAreKept();
    void withoutMarginsThereAreTenMillimetres();
    void withoutAnOptionThePagesOwnSizeHolds();
    void withoutAnySizeTheLocaleDecides_data();
    void withoutAnySizeTheLocaleDecides();
    void orientationTurnsThePaper_data();
    void orientationTurnsThePaper();
    void orientationTurnsTheSheetInAFileOfItsOwn();
    void orientationLaysThePageOutAnew();
    void pagesThatAreCutByScriptsFit_data();
    void pagesThatAreCutByScriptsFit();
    void aSheetBesideThePageHoldsForItsScripts();
    void wideContentIsShrunkOntoThePaper_data();
    void wideContentIsShrunkOntoThePaper();
    void whatThePageHidesDoesNotShrinkIt_data();
    void whatThePageHidesDoesNotShrinkIt();
    void cleanupTestCase();

private:
    Engine m_engine;
};

void ConvertPaperTest::everyNameGivesItsPaper_data()
{
    QTest::addColumn<QPageSize::PageSizeId>("id");
    // That every name has its size is told without a browser.
    const size_t step = isStressWanted() ? 1 : 6;
    for (size_t i = 0; i < std::size(everySize); i += step)
        QTest::newRow(everySize[i].name) << everySize[i].id;
}

void ConvertPaperTest::everyNameGivesItsPaper()
{
    QFETCH(QPageSize::PageSizeId, id);
    const Conversion conversion =
        m_engine.convertText(obstinate, {u"--page-size"_s, QLatin1String(QTest::currentDataTag())});
    VERIFY_WRITTEN(conversion);
    const PdfFile pdf = conversion.pdf();
    const QByteArray complaint = otherThan(pointsOf(id), pdf);
    QVERIFY2(complaint.isEmpty(), complaint.constData());
    const QStringList texts = pdf.pageTexts();
    QVERIFY(texts.value(0).contains(u"first"_s));
    QVERIFY(texts.value(texts.size() - 1).contains(u"last"_s));
}

void ConvertPaperTest::thePagesOwnSizeGivesWay_data()
{
    QTest::addColumn<QByteArray>("html");
    const QByteArray body = "<body><p>first<p class=w>wide<p style='break-before:page'>last";
    const auto row = [&](const char *name, const QByteArray &css) {
        QTest::newRow(name) << "<!DOCTYPE html><style>" + css + "</style>" + body;
    };
    row("nothing", "");
    row("size", "@page { size: A3 }");
    row("orientation alone", "@page { size: landscape }");
    row("size with margins", "@page { size: 10cm 12cm; margin: 1cm 2cm 3cm 4cm }");
    row("important", "@page { size: A3 landscape !important }");
    row("named", "@page wide { size: A3 landscape } .w { page: wide }");
    row("named and important", "@page wide { size: A3 landscape !important } .w { page: wide }");
    row("first", "@page :first { size: A3 }");
    row("first and important", "@page :first { size: A3 !important }");
    row("left, right and blank",
        "@page :left { size: A3 } @page :right { size: B4 !important } @page :blank { size: B5 }");
    row("named and first", "@page wide:first { size: A3 !important } .w { page: wide }");
    row("in @media print", "@media print { @page { size: A3 !important } }");
    row("in a layer",
        "@layer a, b; @layer a { @page { size: A3 !important } } @layer b { @page { size: B4 } }");
    row("in layers of layers",
        "@layer a.b { @media print { @supports (color: red) { @page { size: A3 !important } } } }");
    row("imported", "@import url(\"data:text/css,@page{size:A3 !important}\");");
    row("imported into a layer",
        "@import url(\"data:text/css,@page wide{size:A3 !important}\") layer(x); .w { page: wide }");
    row("in every unit", "@page { size: 700px 20in } @page :first { size: 60em 800pt !important } @page "
                         ":left { size: calc(10cm + 3in) 40rem }");
    row("by a variable", ":root { --w: 300mm } @page { size: var(--w) 200mm }");
    QTest::newRow("in a style of the body")
        << "<!DOCTYPE html><body><style>@page { size: A3 !important }</style>" + body;
    QTest::newRow("set by script")
        << "<!DOCTYPE html>" + body +
               "<script>onload=()=>{const s=document.createElement('style');s.textContent='@page{size:A3 "
               "!important}';"
               "document.head.append(s)}</script>";
    QTest::newRow("set by a timer")
        << "<!DOCTYPE html>" + body +
               "<script>setTimeout(()=>{const s=document.createElement('style');s.textContent='@page{size:A3 "
               "!important}';"
               "document.head.append(s)},3000)</script>";
    QTest::newRow("adopted by script")
        << "<!DOCTYPE html>" + body +
               "<script>const s=new CSSStyleSheet;s.replaceSync('@page{size:A3 "
               "!important}');document.adoptedStyleSheets=[s]"
               "</script>";
    QTest::newRow("set when printing begins")
        << "<!DOCTYPE html>" + body +
               "<script>onbeforeprint=()=>{const "
               "s=document.createElement('style');s.textContent='@page{size:A3 !important}';"
               "document.head.append(s)}</script>";
    QTest::newRow("in a page that allows no style")
        << "<!DOCTYPE html><meta http-equiv=Content-Security-Policy content=\"default-src 'none'\">" + body;
    QTest::newRow("in a page that redefines what is used")
        << "<!DOCTYPE html><style>@page{size:A3 !important}</style>" + body +
               "<script>CSSStyleSheet=null;Object.defineProperty(document,'adoptedStyleSheets',{get(){throw "
               "1},set(){throw 1}});"
               "Object.defineProperty(document,'styleSheets',{get(){return []}});"
               "CSSStyleDeclaration.prototype.setProperty=()=>{throw 1}</script>";
    QTest::newRow("without scripts")
        << "<!DOCTYPE html><style>@page wide { size: A3 landscape !important } .w { page: wide }</style>" +
               body;
}

void ConvertPaperTest::thePagesOwnSizeGivesWay()
{
    QFETCH(QByteArray, html);
    QStringList options{u"--page-size"_s, u"A5"_s};
    if (QByteArray(QTest::currentDataTag()) == "without scripts")
        options += u"--disable-javascript"_s;
    const Conversion conversion = m_engine.convertText(html, options);
    VERIFY_WRITTEN(conversion);
    const QByteArray complaint = otherThan(pointsOf(QPageSize::A5), conversion.pdf());
    QVERIFY2(complaint.isEmpty(), complaint.constData());
    QVERIFY(conversion.pdf().text().contains(u"first"_s) && conversion.pdf().text().contains(u"last"_s));
}

void ConvertPaperTest::aSheetInAFileOfItsOwnGivesWay_data()
{
    QTest::addColumn<QByteArray>("css");
    QTest::newRow("size") << QByteArray("@page { size: A3 }");
    QTest::newRow("important") << QByteArray("@page { size: A3 !important }");
    QTest::newRow("first") << QByteArray("@page :first { size: A3 }");
    QTest::newRow("named") << QByteArray("@page wide { size: A3 landscape } .w { page: wide }");
    QTest::newRow("named and important")
        << QByteArray("@page wide { size: A3 landscape !important } .w { page: wide }");
    QTest::newRow("important in a layer") << QByteArray("@layer a { @page { size: A3 !important } }");
}

void ConvertPaperTest::aSheetInAFileOfItsOwnGivesWay()
{
    QFETCH(QByteArray, css);
    m_engine.write(u"sheet.css"_s, css);
    const Conversion conversion =
        m_engine.convertText("<!DOCTYPE html><link rel=stylesheet href=sheet.css><p>first<p class=w>wide<p "
                             "style='break-before:page'>last",
                             {u"--page-size"_s, u"A5"_s});
    VERIFY_WRITTEN(conversion);
    const QByteArray complaint = otherThan(pointsOf(QPageSize::A5), conversion.pdf());
    QVERIFY2(complaint.isEmpty(), complaint.constData());
}

void ConvertPaperTest::aSheetFromAnotherServerGivesWay()
{
    const WebServer pages("");
    const WebServer sheets("");
    sheets.write(
        u"sheet.css"_s,
        "@page { size: A3 !important } @page wide { size: A3 landscape !important } .w { page: wide }");
    pages.write(u"index.html"_s, "<!DOCTYPE html><link rel=stylesheet href=" +
                                     sheets.address(u"/sheet.css"_s).toLatin1() + "><p>first<p class=w>wide");
    const Conversion conversion = m_engine.convert(pages.address(u"/"_s), {u"--page-size"_s, u"A5"_s});
    VERIFY_WRITTEN(conversion);
    const QByteArray complaint = otherThan(pointsOf(QPageSize::A5), conversion.pdf());
    QVERIFY2(complaint.isEmpty(), complaint.constData());
}

void ConvertPaperTest::thePageIsLaidOutAnew()
{
    // The box is as wide as the text, whatever the paper: its right edge lies at the margin.
    const QByteArray html = "<!DOCTYPE html><style>@page { size: B4; margin: 10mm } body { margin: 0 }"
                            "div { height: 5mm; background: #f00 }</style><div></div><p id=w>";
    for (const NamedSize &size : {NamedSize{"A6", QPageSize::A6}, NamedSize{"A3", QPageSize::A3}}) {
        const Conversion conversion =
            m_engine.convertText(html, {u"--page-size"_s, QLatin1String(size.name)});
        VERIFY_WRITTEN(conversion);
        const QImage page = conversion.pdf().picture(1, 72);
        const int margin = 28;
        const int y = margin + 5;
        QCOMPARE(page.pixelColor(margin + 4, y), QColor(Qt::red));
        QCOMPARE(page.pixelColor(page.width() - margin - 4, y), QColor(Qt::red));
        QCOMPARE(page.pixelColor(page.width() - margin + 4, y), QColor(Qt::white));
        QCOMPARE(page.pixelColor(margin - 4, y), QColor(Qt::white));
    }
}

void ConvertPaperTest::marginsOfThePageAreKept()
{
    const Conversion conversion = m_engine.convertText(
        "<!DOCTYPE html><style>@page { size: A3; margin: 0 } body { margin: 0; background: #f00 }</style>x",
        {u"--page-size"_s, u"A6"_s});
    VERIFY_WRITTEN(conversion);
    QVERIFY(shareOf(Qt::red, conversion.pdf().picture()) > 0.97);

    const Conversion large = m_engine.convertText(
        "<!DOCTYPE html><style>@page { size: A3; margin: 40mm } body { margin: 0 } html { background: none }"
        "div { background: #f00; height: 10mm }</style><div></div>",
        {u"--page-size"_s, u"A5"_s});
    VERIFY_WRITTEN(large);
    const QImage page = large.pdf().picture(1, 72);
    QCOMPARE(page.pixelColor(108, 125), QColor(Qt::white));
    QCOMPARE(page.pixelColor(120, 125), QColor(Qt::red));
}

void ConvertPaperTest::withoutMarginsThereAreTenMillimetres()
{
    const Conversion conversion =
        m_engine.convertText("<!DOCTYPE html><style>body { margin: 0 } div { background: #f00; height: "
                             "3000px }</style><div></div>",
                             {u"--page-size"_s, u"A4"_s});
    VERIFY_WRITTEN(conversion);
    const QImage page = conversion.pdf().picture(1, 254);
    // 10 dots a millimetre.
    for (const int inside : {103, 1997})
        QCOMPARE(page.pixelColor(inside, 1000), QColor(Qt::red));
    for (const int outside : {97, 2003})
        QCOMPARE(page.pixelColor(outside, 1000), QColor(Qt::white));
    QCOMPARE(page.pixelColor(1000, 97), QColor(Qt::white));
    QCOMPARE(page.pixelColor(1000, 103), QColor(Qt::red));
    QCOMPARE(page.pixelColor(1000, 2867), QColor(Qt::red));
    QCOMPARE(page.pixelColor(1000, 2873), QColor(Qt::white));
}

void ConvertPaperTest::withoutAnOptionThePagesOwnSizeHolds()
{
    const Conversion conversion =
        m_engine.convertText("<!DOCTYPE html><style>@page { size: 90mm 130mm } @page wide { size: A3 "
                             "landscape } .w { page: wide }</style>"
                             "<p>first<p class=w>wide");
    VERIFY_WRITTEN(conversion);
    const QList<QSizeF> sizes = conversion.pdf().pageSizes();
    QCOMPARE(sizes.size(), 2);
    QVERIFY2(within(1, sizes[0], QSizeF(90, 130) * 72 / 25.4), qPrintable(written(sizes)));
    QVERIFY2(within(1, sizes[1], QSizeF(420, 297) * 72 / 25.4), qPrintable(written(sizes)));
}

void ConvertPaperTest::withoutAnySizeTheLocaleDecides_data()
{
    QTest::addColumn<QString>("all");
    QTest::addColumn<QString>("measurement");
    QTest::addColumn<QPageSize::PageSizeId>("id");
    QTest::newRow("Germany") << u"de_DE.UTF-8"_s << QString() << QPageSize::A4;
    QTest::newRow("United Kingdom") << u"en_GB.UTF-8"_s << QString() << QPageSize::A4;
    QTest::newRow("none") << u"C.UTF-8"_s << QString() << QPageSize::A4;
    QTest::newRow("United States") << u"en_US.UTF-8"_s << QString() << QPageSize::Letter;
    QTest::newRow("United States, but measuring in millimetres")
        << QString() << u"de_DE.UTF-8"_s << QPageSize::A4;
}

void ConvertPaperTest::withoutAnySizeTheLocaleDecides()
{
    QFETCH(QString, all);
    QFETCH(QString, measurement);
    QFETCH(QPageSize::PageSizeId, id);
    Engine engine;
    engine.setVariable(u"LC_ALL"_s, all.isNull() ? QString() : all);
    engine.setVariable(u"LANG"_s, measurement.isNull() ? QString() : u"en_US.UTF-8"_s);
    engine.setVariable(u"LC_MEASUREMENT"_s, measurement);
    const Conversion conversion = engine.convertText("<!DOCTYPE html><p>x");
    VERIFY_WRITTEN(conversion);
    const QByteArray complaint = otherThan(pointsOf(id), conversion.pdf());
    QVERIFY2(complaint.isEmpty(), complaint.constData());
}

void ConvertPaperTest::orientationTurnsThePaper_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QByteArray>("css");
    QTest::addColumn<QList<QSizeF>>("millimetres");
    const QStringList landscape{u"--orientation"_s, u"Landscape"_s};
    const QStringList portrait{u"--orientation"_s, u"Portrait"_s};
    const auto on = [](const char *name, const QStringList &orientation) {
        return QStringList{u"--page-size"_s, QLatin1String(name)} + orientation;
    };
    const QList<QSizeF> a4{{210, 297}};
    const QList<QSizeF> a4Across{{297, 210}};
    const auto row = [](const char *name, const QStringList &options, const char *css,
                        const QList<QSizeF> &sizes) {
        QTest::newRow(name) << options << QByteArray(css) << sizes;
    };
    row("landscape without any size", landscape, "", a4Across);
    row("portrait without any size", portrait, "", a4);
    row("landscape on a named paper", on("A5", landscape), "", {{210, 148}});
    row("portrait on a named paper", on("A5", portrait), "", {{148, 210}});
    row("landscape on a paper that lies across", on("Ledger", landscape), "", {{431.8, 279.4}});
    row("portrait on a paper that lies across", on("Ledger", portrait), "", {{279.4, 431.8}});
    row("landscape on a named paper against the page's own", on("A5", landscape),
        "@page { size: A3 portrait !important }", {{210, 148}});
    row("landscape against a size", landscape, "@page { size: A5 }", {{210, 148}});
    row("landscape against a size with its orientation", landscape, "@page { size: A5 portrait }",
        {{210, 148}});
    row("landscape against orientation first", landscape, "@page { size: portrait A5 }", {{210, 148}});
    row("landscape against portrait alone", landscape, "@page { size: portrait }", a4Across);
    row("landscape against auto", landscape, "@page { size: auto }", a4Across);
    row("landscape against lengths", landscape, "@page { size: 90mm 130mm }", {{130, 90}});
    row("landscape against lengths across", landscape, "@page { size: 130mm 90mm }", {{130, 90}});
    row("landscape against a square", landscape, "@page { size: 90mm }", {{90, 90}});
    row("landscape against mixed units", landscape, "@page { size: 10cm 6in }", {{152.4, 100}});
    row("landscape against a sum", landscape, "@page { size: calc(5cm + 50mm) calc(2 * 6cm) }", {{120, 100}});
    row("landscape against an important size", landscape, "@page { size: A5 portrait !important }",
        {{210, 148}});
    row("portrait against landscape", portrait, "@page { size: landscape }", a4);
    row("portrait against a size", portrait, "@page { size: A5 landscape }", {{148, 210}});
    row("portrait against lengths", portrait, "@page { size: 130mm 90mm }", {{90, 130}});
    row("portrait against a paper that lies across", portrait, "@page { size: ledger landscape }",
        {{279.4, 431.8}});
    row("landscape against named pages", landscape,
        "@page { size: A5 } @page wide { size: B5 portrait } .w { page: wide }", {{210, 148}, {250, 176}});
    row("portrait against named pages", portrait, "@page wide { size: A3 landscape } .w { page: wide }",
        {{210, 297}, {297, 420}});
    row("landscape where only named pages have a size", landscape,
        "@page wide { size: A5 portrait } .w { page: wide }", {{297, 210}, {210, 148}});
    row("landscape in @media print", landscape, "@media print { @page { size: A5 } }", {{210, 148}});
    row("landscape imported", landscape, "@import url(\"data:text/css,@page{size:A5}\");", {{210, 148}});
}

void ConvertPaperTest::orientationTurnsThePaper()
{
    QFETCH(QStringList, options);
    QFETCH(QByteArray, css);
    QFETCH(QList<QSizeF>, millimetres);
    const Conversion conversion = m_engine.convertText(
        "<!DOCTYPE html><style>" + css + "</style><p>first<p class=w style='break-before:page'>last",
        options);
    VERIFY_WRITTEN(conversion);
    if (millimetres.size() == 1)
        millimetres += millimetres[0];
    const QList<QSizeF> sizes = conversion.pdf().pageSizes();
    QCOMPARE(sizes.size(), 2);
    for (qsizetype i = 0; i < 2; ++i) {
        QVERIFY2(within(1, sizes[i], millimetres[i] * 72 / 25.4),
                 qPrintable(written(sizes) + u" instead of "_s +
                            written({millimetres[0] * 72 / 25.4, millimetres[1] * 72 / 25.4})));
    }
}

void ConvertPaperTest::orientationTurnsTheSheetInAFileOfItsOwn()
{
    m_engine.write(u"a5.css"_s, "@page { size: A5 }");
    const Conversion conversion = m_engine.convertText("<!DOCTYPE html><link rel=stylesheet href=a5.css><p>x",
                                                       {u"--orientation"_s, u"Landscape"_s});
    VERIFY_WRITTEN(conversion);
    const QByteArray complaint = otherThan(pointsOf(QPageSize::A5).transposed(), conversion.pdf());
    QVERIFY2(complaint.isEmpty(), complaint.constData());
}

void ConvertPaperTest::orientationLaysThePageOutAnew()
{
    const Conversion conversion = m_engine.convertText(
        "<!DOCTYPE html><style>body { margin: 0 } div { height: 20mm; background: #f00 }"
        "@media (orientation: landscape) { p::after { content: 'across' } }</style><div></div><p>",
        {u"--orientation"_s, u"Landscape"_s});
    VERIFY_WRITTEN(conversion);
    const QImage page = conversion.pdf().picture(1, 72);
    QVERIFY(page.width() > page.height());
    QCOMPARE(page.pixelColor(page.width() - 35, 50), QColor(Qt::red));
    QCOMPARE(conversion.pdf().text(), u"across"_s);
}

void ConvertPaperTest::pagesThatAreCutByScriptsFit_data()
{
    QTest::addColumn<QByteArray>("html");
    QTest::addColumn<QStringList>("options");
    const QByteArray cut =
        "<script>function cut(w, h) { let box; for (let i = 1; i <= 120; i++) {"
        "if (!box || box.lastChild.getBoundingClientRect().bottom + 40 > box.getBoundingClientRect().bottom) "
        "{"
        "box = document.createElement('div'); box.style = "
        "`width:${w};height:${h};overflow:hidden;break-after:page;"
        "break-inside:avoid`; document.body.append(box) }"
        "const p = document.createElement('p'); p.textContent = 'line' + i; p.style = 'margin:0;height:40px';"
        "box.append(p) } }</script>";
    const QByteArray byRule =
        "<body style='margin:0'>" + cut +
        "<script>const rules = [...document.styleSheets].flatMap(s => [...s.cssRules]);"
        "const size = rules.filter(r => r instanceof CSSPageRule).pop().style.getPropertyValue('size');"
        "const [w, h] = /landscape/.test(size) ? ['210mm', '147mm'] : /portrait|^a5$/.test(size) ? "
        "['148mm', '209mm'] : size.split(' ').map(parseFloat).map(side => side - 1 + 'mm'); cut(w, h)"
        "</script>";
    const QByteArray byText = "<body style='margin:0'>" + cut +
                              "<script>const [, w, h] = document.querySelector('style').textContent.match("
                              "/size:\\s*([\\d.]+)mm\\s+([\\d.]+)mm/); cut(w + 'mm', h - 1 + 'mm')</script>";
    const QByteArray byWindow =
        "<body style='margin:0'>" + cut +
        "<script>onload = () => cut(innerWidth + 'px', innerHeight - 2 + 'px')</script>";
    const QStringList landscape{u"--orientation"_s, u"Landscape"_s};
    const QStringList small{u"--page-size"_s, u"A6"_s};
    const QByteArray a5 = "<!DOCTYPE html><style>@page{size:148mm 210mm;margin:0}</style>";
    for (const auto &[name, options] :
         {std::pair("as the page says", QStringList()), std::pair("landscape", landscape),
          std::pair("on A6", small), std::pair("on A6 across", small + landscape)}) {
        const auto row = [&, name = name, options = options](const char *way, const QByteArray &html) {
            QTest::newRow(qPrintable(u"%1, %2"_s.arg(QLatin1String(way), QLatin1String(name))))
                << html << options;
        };
        row("by the rule", a5 + byRule);
        row("by the sheet's text", a5 + byText);
        row("by the window", "<!DOCTYPE html>" + byWindow);
        row("by the rule of a later sheet",
            a5 + "<p hidden>x</p><script></script><style>@page{size:148mm 210mm}</style>" + byRule);
        row("by a sheet that a script writes",
            "<!DOCTYPE html><script>document.head.insertAdjacentHTML('beforeend', '<style>@page{size:148mm "
            "210mm;margin:0}</style>')</script>" +
                byText);
    }
    QTest::newRow("by the rule, with an orientation")
        << "<!DOCTYPE html><style>@page{size:A5 portrait;margin:0}</style>" + byRule << landscape;
}

void ConvertPaperTest::pagesThatAreCutByScriptsFit()
{
    QFETCH(QByteArray, html);
    QFETCH(QStringList, options);
    const Conversion conversion = m_engine.convertText(html, options);
    VERIFY_WRITTEN(conversion);
    const PdfFile pdf = conversion.pdf();
    const QStringList pages = pdf.pageTexts();
    qsizetype lines = 0;
    const qsizetype onFirst = pages.value(0).count(u"line"_s);
    for (qsizetype page = 0; page < pages.size(); ++page) {
        const qsizetype onPage = pages[page].count(u"line"_s);
        lines += onPage;
        QVERIFY2(
            page == pages.size() - 1 ? onPage > 0 : onPage == onFirst,
            qPrintable(u"%1 lines on page %2, %3 on the first"_s.arg(onPage).arg(page + 1).arg(onFirst)));
    }
    QCOMPARE(lines, 120);
    // As high as the paper lets them be: no line of 40 pixels more would fit.
    const double paper = pdf.pageSizes()[0].height() / 0.75;
    QVERIFY(static_cast<double>(onFirst + 1) * 40 > paper - 2 * 38 - 40);
}

void ConvertPaperTest::aSheetBesideThePageHoldsForItsScripts()
{
    const WebServer pages("");
    pages.write(u"sheet.css"_s, "@page { size: 148mm 210mm }");
    pages.write(
        u"index.html"_s,
        "<!DOCTYPE html><link rel=stylesheet href=sheet.css><p id=p><script>onload=()=>p.textContent = "
        "document.styleSheets[0].cssRules[0].style.getPropertyValue('size')</script>");
    const Conversion conversion =
        m_engine.convert(pages.address(u"/"_s), {u"--orientation"_s, u"Landscape"_s});
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().text(), u"210mm 148mm"_s);
}

void ConvertPaperTest::wideContentIsShrunkOntoThePaper_data()
{
    QTest::addColumn<QByteArray>("html");
    const auto row = [](const char *name, const QByteArray &html) { QTest::newRow(name) << html; };
    for (const int width : {760, 1000, 1600, 3000, 6500})
        row(qPrintable(u"a box of %1 pixels"_s.arg(width)),
            u"<div style='width:%1px;text-align:right'>LAST</div>"_s.arg(width).toLatin1());
    row("a table", "<table><tr>" + QByteArray("<td>some-words-here").repeated(30) + "<td>LAST</table>");
    row("a table whose cells are not to be broken", "<table style='white-space:nowrap'><tr>" +
                                                        QByteArray("<td>some words of a cell").repeated(20) +
                                                        "<td>LAST</table>");
    row("a table with a width",
        "<table style='width:2500px'><tr><td>first<td style='text-align:right'>LAST</table>");
    row("a line", "<pre>" + QByteArray(400, 'x') + "LAST</pre>");
    row("a line among small text",
        "<p>text</p><pre style='font-size:9px'>" + QByteArray(700, 'x') + "LAST</pre>");
    row("a box far to the right", "<div style='position:absolute;left:2600px'>LAST</div>");
    row("a box moved by a transform", "<div style='transform:translateX(2000px)'>LAST</div>");
    row("a box with a minimum", "<div style='min-width:2200px;text-align:right'>LAST</div>");
    row("boxes in a row",
        "<div style='display:flex'>" +
            QByteArray("<div style='flex:0 0 300px;border:1px solid'>box</div>").repeated(8) +
            "<div>LAST</div></div>");
    row("columns", "<div style='columns:300px;height:100px'>" +
                       QByteArray("<p>a paragraph of some words</p>").repeated(30) + "<p>LAST</div>");
    row("a picture", "<svg width=2400 height=50><text x=2300 y=30>LAST</text></svg>");
    row("a page with a paper of its own", "<style>@page{size:A5 landscape;margin:1cm 3cm}</style><div "
                                          "style='width:2000px;text-align:right'>LAST</div>");
    row("a margin that is negative",
        "<div style='width:1500px'><div style='margin-right:-900px;text-align:right'>LAST</div></div>");
    row("from right to left, a little", "<html dir=rtl><div style='width:900px;text-align:left'>LAST</div>");
    row("from right to left", "<html dir=rtl><div style='width:3000px;text-align:left'>LAST</div>");
    row("a table from right to left",
        "<html dir=rtl><table><tr>" + QByteArray("<td>some-words-here").repeated(30) + "<td>LAST</table>");
    row("by a timer", "<p id=p>x<script>setTimeout(()=>p.innerHTML='<div "
                      "style=\"width:2500px;text-align:right\">LAST</div>',"
                      "2000)</script>");
}

void ConvertPaperTest::wideContentIsShrunkOntoThePaper()
{
    QFETCH(QByteArray, html);
    for (const QStringList &options : {QStringList(), QStringList{u"--minimum-font-size"_s, u"8"_s}}) {
        const Conversion conversion = m_engine.convertText("<!DOCTYPE html><p>FIRST</p>" + html, options);
        VERIFY_WRITTEN(conversion);
        const PdfFile pdf = conversion.pdf();
        // pdftotext leaves out what lies off the paper.
        QVERIFY2(pdf.text().contains(u"FIRST"_s) && pdf.text().contains(u"LAST"_s),
                 qPrintable(pdf.text().right(60) + options.join(u' ')));
    }
}

void ConvertPaperTest::whatThePageHidesDoesNotShrinkIt_data()
{
    QTest::addColumn<QByteArray>("html");
    const auto row = [](const char *name, const QByteArray &html) { QTest::newRow(name) << html; };
    row("to the left of the page", "<div style='position:absolute;left:-9999px'>hidden</div>");
    row("by an indent", "<h2 style='text-indent:-9999px'>hidden</h2>");
    row("in a box with the rest cut off",
        "<div style='overflow:hidden'><div style='width:3000px'>hidden</div></div>");
    row("in a carousel", "<div style='overflow:hidden;display:flex'>" +
                             QByteArray("<div style='flex:0 0 100%'>slide</div>").repeated(9) + "</div>");
    row("in a scrolling box", "<div style='overflow:auto'><table><tr>" +
                                  QByteArray("<td>some-words").repeated(50) + "</table></div>");
    row("in a frame", "<iframe srcdoc='<div style=\"width:3000px\">wide</div>'></iframe>");
    row("not displayed", "<div style='width:3000px;display:none'>hidden</div>");
    row("with clip", "<div style='overflow:clip'><div style='width:3000px'>hidden</div></div>");
}

void ConvertPaperTest::whatThePageHidesDoesNotShrinkIt()
{
    QFETCH(QByteArray, html);
    for (const QStringList &options : {QStringList(), QStringList{u"--minimum-font-size"_s, u"8"_s}}) {
        const Conversion conversion =
            m_engine.convertText("<!DOCTYPE html><p style='font-size:20pt'>text</p>" + html, options);
        VERIFY_WRITTEN(conversion);
        const QList<double> sizes = conversion.pdf().fontSizes();
        QVERIFY(std::abs(*std::max_element(sizes.begin(), sizes.end()) - 20) < 0.5);
    }
}

void ConvertPaperTest::cleanupTestCase()
{
    QCOMPARE(m_engine.leftBehind(), QString());
}

QTEST_GUILESS_MAIN(ConvertPaperTest)
#include "tst_convertpaper.moc"
