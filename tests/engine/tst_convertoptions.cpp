#include "tests/support/engine.h"
#include "tests/support/pictures.h"
#include "tests/support/webserver.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

struct Part {
    const char *name;
    /// "%1" is the part's colour, as #rrggbb or as a picture.
    const char *html;
};

/// Everything that shows an image from somewhere; "%1" is the image's address.
constexpr Part imageParts[] = {
    {"img", "<img src='%1'>"},
    {"img with srcset", "<img srcset='%1 1x, %1 2x'>"},
    {"picture", "<picture><source srcset='%1' media=print><source srcset='%1'><img></picture>"},
    {"img set by script", "<img id=scripted><script>document.getElementById('scripted').src='%1'</script>"},
    {"lazy img", "<img loading=lazy src='%1'>"},
    {"background", "<div style=\"background:url('%1')\"></div>"},
    {"background of ::before",
     "<style>.before::before{content:'';display:block;height:40px;background:url('%1')}</style>"
     "<div class=before></div>"},
    {"content of ::before", "<style>.content::before{content:url('%1')}</style><div class=content></div>"},
    {"content of an element", "<div style=\"content:url('%1')\"></div>"},
    {"background in @media print",
     "<style>@media print{.print{background:url('%1')}}</style><div class=print></div>"},
    {"image-set()", "<div style=\"background:image-set(url('%1') 1x)\"></div>"},
    {"border-image", "<div style=\"border:20px solid;border-image:url('%1') 10\"></div>"},
    {"list-style-image", "<ul style=\"list-style-image:url('%1')\"><li>item</ul>"},
    {"input type=image", "<input type=image src='%1'>"},
    {"video poster", "<video poster='%1' width=40 height=40></video>"},
    {"object", "<object data='%1' type='image/png'></object>"},
    {"embed", "<embed src='%1' type='image/png'>"},
    {"SVG image", "<svg width=40 height=40><image href='%1' width=40 height=40 /></svg>"},
    {"SVG pattern",
     "<svg width=40 height=40><pattern id=p width=40 height=40 patternUnits=userSpaceOnUse>"
     "<image href='%1' width=40 height=40 /></pattern><rect width=40 height=40 fill='url(#p)'/></svg>"},
    {"SVG feImage", "<svg width=40 height=40><filter id=f><feImage href='%1'/></filter>"
                    "<rect width=40 height=40 filter='url(#f)'/></svg>"},
    {"shadow tree", "<div><template shadowrootmode=open><img src='%1'></template></div>"},
    {"frame", "<iframe width=60 height=60 srcdoc=\"<body style='margin:0'><img src='%1'>\"></iframe>"},
    {"frame of an image", "<iframe width=60 height=60 src='%1'></iframe>"},
    {"img drawn on a canvas",
     "<canvas id=c width=40 height=40></canvas><script>{const i=new Image;i.onload=()=>"
     "c.getContext('2d').drawImage(i,0,0);i.src='%1'}</script>"},
};

/// Everything that paints a background; "%1" is its colour.
constexpr Part backgroundParts[] = {
    {"colour in a sheet", "<style>.p1{background:%1}</style><div class=p1>x</div>"},
    {"colour of the element itself", "<div style='background:%1'>x</div>"},
    {"gradient", "<div style='background:linear-gradient(%1,%1)'>x</div>"},
    {"picture", "<div style='background:url(\"%2\")'>x</div>"},
    {"exact in a sheet", "<style>.p2{background:%1;print-color-adjust:exact}</style><div class=p2>x</div>"},
    {"exact, by the older name",
     "<style>.p3{background:%1;-webkit-print-color-adjust:exact}</style><div class=p3>x</div>"},
    {"exact and important in a sheet",
     "<style>.p4{background:%1;print-color-adjust:exact!important}</style><div class=p4>x</div>"},
    {"exact and important for an id",
     "<style>#p5{background:%1;print-color-adjust:exact!important}</style><div id=p5>x</div>"},
    {"exact and important in a layer",
     "<style>@layer a{.p6{background:%1;print-color-adjust:exact!important}}</style><div class=p6>x</div>"},
    {"exact on the element itself", "<div style='background:%1;print-color-adjust:exact'>x</div>"},
    {"exact and important on the element itself",
     "<div style='background:%1;-webkit-print-color-adjust:exact!important'>x</div>"},
    {"exact on the element itself by script",
     "<div id=p7>x</div><script>p7.style='background:%1;print-color-adjust:exact!important'</script>"},
    {"exact on the element itself by a timer",
     "<div "
     "id=p8>x</div><script>setTimeout(()=>p8.style='background:%1;print-color-adjust:exact!important',2000)</"
     "script>"},
    {"exact on ::before", "<style>.p9::before{content:'x';display:block;background:%1;print-color-adjust:"
                          "exact}</style><div class=p9></div>"},
    {"exact and important on ::after", "<style>#p10::after{content:'x';display:block;background:%1;print-"
                                       "color-adjust:exact!important}</style><div id=p10></div>"},
    {"exact on ::first-line", "<style>.p11::first-line{background:%1;print-color-adjust:exact}</style><div "
                              "class=p11>xxxxxxxxxx</div>"},
    {"exact on ::first-letter", "<style>.p12::first-letter{background:%1;padding:10px;print-color-adjust:"
                                "exact}</style><div class=p12>xxx</div>"},
    {"exact in a shadow tree",
     "<div><template "
     "shadowrootmode=open><style>p{background:%1;print-color-adjust:exact}</style><p>x</template></div>"},
    {"exact in a closed shadow tree", "<div><template "
                                      "shadowrootmode=closed><style>p{background:%1;print-color-adjust:exact!"
                                      "important}</style><p>x</template></div>"},
    {"exact in a closed shadow tree made by script",
     "<div id=p14></div><script>p14.attachShadow({mode:'closed'}).innerHTML=\"<p style='background:%1;"
     "print-color-adjust:exact!important'>x\"</script>"},
    {"exact on the host of a shadow tree", "<div><template "
                                           "shadowrootmode=open><style>:host{background:%1;display:block;"
                                           "print-color-adjust:exact!important}</style>x</template></div>"},
    {"exact on an element of a shadow tree itself",
     "<div><template shadowrootmode=open><p "
     "style='background:%1;print-color-adjust:exact!important'>x</template></div>"},
    {"exact, inherited", "<div style='print-color-adjust:exact'><div style='background:%1'>x</div></div>"},
    {"exact in a frame",
     "<iframe width=90 height=60 srcdoc=\"<p style='background:%1;print-color-adjust:exact'>x\"></iframe>"},
    {"exact on a table cell", "<table><tr><td style='background:%1;print-color-adjust:exact'>xxxxx</table>"},
    {"exact in @media print",
     "<style>@media print{.p13{background:%1;print-color-adjust:exact}}</style><div class=p13>x</div>"},
    {"exact on a page's margin box",
     "<style>@page{@bottom-center{content:'xxxxxxxxx';background:%1;print-color-adjust:exact}}</style>"},
};

QByteArray everyPart(const Part *parts, int count)
{
    QString html =
        u"<!DOCTYPE html><meta charset=utf-8><style>div,p,li{min-height:40px;min-width:40px;margin:2px 0}</style>"_s;
    for (int i = 0; i < count; ++i) {
        const QString colour = distinctColour(i).name();
        html += QString::fromUtf8(parts[i].html)
                    .replace(u"%1"_s, parts == imageParts ? dataAddress(distinctColour(i)) : colour)
                    .replace(u"%2"_s, dataAddress(distinctColour(i))) +
                u'\n';
    }
    return html.toUtf8();
}

/// Which parts' colours the pages show.
QStringList partsShown(const Part *parts, int count, const PdfFile &pdf)
{
    QStringList shown;
    QList<QImage> pages;
    for (int page = 1; page <= pdf.pages(); ++page)
        pages += pdf.picture(page);
    for (int i = 0; i < count; ++i) {
        if (std::any_of(pages.begin(), pages.end(),
                        [&](const QImage &page) { return shows(distinctColour(i), page); }))
            shown += QLatin1String(parts[i].name);
    }
    return shown;
}

/// The tolerance of measured sizes.
constexpr double coarseness = 0.34;

double smallest(const QList<double> &sizes)
{
    return sizes.isEmpty() ? 0 : *std::min_element(sizes.begin(), sizes.end());
}

} // namespace

/// What the options for the page do: images, backgrounds, scripts and the font size.
class ConvertOptionsTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void noImagesLeavesOut_data();
    void noImagesLeavesOut();
    void noImagesLeavesNoneInTheFile() const;
    void noImagesKeepsTextAndShapes();
    void noImagesHoldsForFilesAndTheWholeDocument();
    void noBackgroundLeavesOut_data();
    void noBackgroundLeavesOut();
    void noBackgroundKeepsTheRest();
    void noBackgroundLeavesTheBrowsersOwnTreesAlone();
    void noBackgroundHoldsForWholePages();
    void textIsReadableWithoutBackground_data();
    void textIsReadableWithoutBackground();
    void textOnPicturesKeepsItsColourWithoutBackground();
    void withoutJavaScriptNoScriptRuns();
    void withoutJavaScriptSheetsAndPaperStillWork();
    void noTextIsSmallerThanTheMinimum_data();
    void noTextIsSmallerThanTheMinimum();
    void noTextIsSmallerThanTheMinimumAsBigAsItGets();
    void largerTextStaysAsItIs();
    void largerTextOfPicturesStaysAsItIs();
    void fieldsHideNothingOfTheirForm();
    void noTextIsSmallerThanWithoutAMinimum_data();
    void noTextIsSmallerThanWithoutAMinimum();
    void textOfPicturesFromOtherServersIsEnlarged();
    void picturesAreNotReadByScripts();
    void everyOptionAtOnce();
    void cleanupTestCase();

private:
    Engine m_engine;
    QStringList m_imagesShown;
    QStringList m_imagesLeft;
    QStringList m_backgroundsShown;
    QStringList m_backgroundsLeft;
    qsizetype m_imageCount = -1;
};

void ConvertOptionsTest::initTestCase()
{
    const int images = static_cast<int>(std::size(imageParts));
    const int backgrounds = static_cast<int>(std::size(backgroundParts));
    const Conversion with = m_engine.convertText(everyPart(imageParts, images));
    const Conversion without = m_engine.convertText(everyPart(imageParts, images), {u"--no-images"_s});
    VERIFY_WRITTEN(with);
    VERIFY_WRITTEN(without);
    m_imagesShown = partsShown(imageParts, images, with.pdf());
    m_imagesLeft = partsShown(imageParts, images, without.pdf());
    m_imageCount = without.pdf().images();
    const Conversion painted = m_engine.convertText(everyPart(backgroundParts, backgrounds));
    const Conversion plain =
        m_engine.convertText(everyPart(backgroundParts, backgrounds), {u"--no-background"_s});
    VERIFY_WRITTEN(painted);
    VERIFY_WRITTEN(plain);
    m_backgroundsShown = partsShown(backgroundParts, backgrounds, painted.pdf());
    m_backgroundsLeft = partsShown(backgroundParts, backgrounds, plain.pdf());
}

void ConvertOptionsTest::noImagesLeavesOut_data()
{
    QTest::addColumn<QString>("part");
    for (const Part &part : imageParts)
        QTest::newRow(part.name) << QString(QLatin1String(part.name));
}

void ConvertOptionsTest::noImagesLeavesOut()
{
    QFETCH(QString, part);
    QVERIFY2(m_imagesShown.contains(part), "not shown without the option either");
    QVERIFY(!m_imagesLeft.contains(part));
}

void ConvertOptionsTest::noImagesLeavesNoneInTheFile() const
{
    QCOMPARE(m_imageCount, 0);
}

void ConvertOptionsTest::noImagesKeepsTextAndShapes()
{
    const Conversion conversion = m_engine.convertText(
        "<!DOCTYPE html><p>text <img alt='instead of it' src=none.png><svg width=40 height=40><rect width=40 "
        "height=40 "
        "fill='#f00'/></svg><div style='background:#0f0;height:40px'></div><div style='height:40px;"
        "background:linear-gradient(#00f,#00f)'></div>",
        {u"--no-images"_s});
    VERIFY_WRITTEN(conversion);
    const QImage page = conversion.pdf().picture();
    QVERIFY(shows(Qt::red, page));
    QVERIFY(shows(QColor(0, 255, 0), page));
    QVERIFY(shows(Qt::blue, page));
    QVERIFY(conversion.pdf().text().contains(u"text"_s));
}

void ConvertOptionsTest::noImagesHoldsForFilesAndTheWholeDocument()
{
    m_engine.write(u"red.png"_s, plainPicture(Qt::red));
    m_engine.write(u"red.jpg"_s, plainPicture(Qt::red, {40, 40}, "JPG"));
    m_engine.write(u"red.svg"_s,
                   "<svg xmlns='http://www.w3.org/2000/svg' width='40' height='40'><rect width='40' "
                   "height='40' fill='#f00'/></svg>");
    const QByteArray html = "<!DOCTYPE html><img src=red.png><img src=red.jpg><img src=red.svg>"
                            "<object data=red.png></object><object data=red.svg type=image/svg+xml></object>"
                            "<embed src=red.svg><div style='height:40px;background:url(red.svg)'></div>";
    const Conversion with = m_engine.convertText(html);
    VERIFY_WRITTEN(with);
    QVERIFY(shareOf(Qt::red, with.pdf().picture()) > 0.005);
    const Conversion without = m_engine.convertText(html, {u"--no-images"_s});
    VERIFY_WRITTEN(without);
    QVERIFY(!shows(Qt::red, without.pdf().picture()));
    QCOMPARE(without.pdf().images(), 0);
}

void ConvertOptionsTest::noBackgroundLeavesOut_data()
{
    QTest::addColumn<QString>("part");
    for (const Part &part : backgroundParts)
        QTest::newRow(part.name) << QString(QLatin1String(part.name));
}

void ConvertOptionsTest::noBackgroundLeavesOut()
{
    QFETCH(QString, part);
    QVERIFY2(m_backgroundsShown.contains(part), "not shown without the option either");
    QVERIFY(!m_backgroundsLeft.contains(part));
}

void ConvertOptionsTest::noBackgroundKeepsTheRest()
{
    const Conversion conversion =
        m_engine.convertText("<!DOCTYPE html><p style='color:#c00;font-size:60px'><b>IIIIIII</b></p><div "
                             "style='border:9px solid #00c'>x</div>"
                             "<img src='" +
                                 dataAddress(QColor(0, 160, 0)).toLatin1() +
                                 "'><svg width=40 height=40><rect width=40 height=40 "
                                 "fill='#a0a'/></svg>",
                             {u"--no-background"_s});
    VERIFY_WRITTEN(conversion);
    const QImage page = conversion.pdf().picture();
    for (const char *colour : {"#cc0000", "#0000cc", "#00a000", "#aa00aa"})
        QVERIFY2(shows(QColor(QLatin1String(colour)), page), colour);
}

void ConvertOptionsTest::noBackgroundLeavesTheBrowsersOwnTreesAlone()
{
    const Conversion conversion = m_engine.convertText(
        "<!DOCTYPE html><marquee>marquee</marquee><details open><summary>summary</summary>text</details>"
        "<video controls></video><input type=date><input type=color><progress></progress><meter></meter>"
        "<select><option>x</select><svg><symbol id=s><style>.u{fill:red}</style><text class=u "
        "y=20>used</text>"
        "</symbol><use href='#s'/></svg><audio controls></audio><object></object><fieldset></fieldset>",
        {u"--no-background"_s});
    VERIFY_WRITTEN(conversion);
    QVERIFY(conversion.pdf().text().contains(u"summary"_s));
}

void ConvertOptionsTest::noBackgroundHoldsForWholePages()
{
    const QByteArray html =
        "<!DOCTYPE html><style>@page{margin:0}html{background:#f00;print-color-adjust:exact}"
        "body{background:#0f0;margin:50px;height:300px;-webkit-print-color-adjust:exact}</style>x";
    const Conversion with = m_engine.convertText(html);
    VERIFY_WRITTEN(with);
    QVERIFY(shareOf(Qt::red, with.pdf().picture()) > 0.5);
    const Conversion without = m_engine.convertText(html, {u"--no-background"_s});
    VERIFY_WRITTEN(without);
    QVERIFY(shareOf(Qt::white, without.pdf().picture()) > 0.99);
}

void ConvertOptionsTest::textIsReadableWithoutBackground_data()
{
    QTest::addColumn<QByteArray>("html");
    const auto row = [](const char *name, const QByteArray &html) { QTest::newRow(name) << html; };
    const QByteArray clip = "background:linear-gradient(red,yellow);background-clip:text;";
    row("cut out of its background", "<h1 style='" + clip + "color:transparent'>IIII</h1>");
    row("cut out by its fill", "<h1 style='" + clip + "-webkit-text-fill-color:transparent'>IIII</h1>");
    row("cut out by an older name", "<style>h1{background:linear-gradient(#ff0,#0ff);-webkit-background-clip:"
                                    "text;color:#0000}</style><h1>IIII</h1>");
    row("cut out of a picture",
        "<h1 style='background:url(none.png);background-clip:text;color:transparent'>IIII</h1>");
    row("within an element that is cut out",
        "<h1 style='" + clip + "color:transparent'><b><i>IIII</i></b></h1>");
    row("cut out in ::before",
        "<style>h1::before{content:'IIII';" + clip + "color:transparent}</style><h1></h1>");
    row("cut out in a shadow tree", "<div><template shadowrootmode=open><style>h1{" + clip +
                                        "color:transparent}</style><h1>IIII</h1></template></div>");
    row("a dark page", "<style>:root{color-scheme:dark}</style><h1>IIII</h1>");
    row("a dark page by a meta element", "<meta name=color-scheme content=dark><h1>IIII</h1>");
    row("a dark frame", "<iframe srcdoc='<style>:root{color-scheme:dark}</style><h1>IIII</h1>'></iframe>");
    row("light-dark()",
        "<style>:root{color-scheme:dark}h1{color:light-dark(#111,#eee)}</style><h1>IIII</h1>");
    row("colours of the system",
        "<style>:root{color-scheme:dark}h1{color:CanvasText;background:Canvas}</style><h1>IIII</h1>");
    for (const char *field : {"input value=IIIII", "textarea", "button", "input type=button value=IIIII",
                              "input type=date value=2020-01-01"})
        row(qPrintable(u"a dark field: %1"_s.arg(QLatin1String(field))),
            QByteArray("<style>:root{color-scheme:dark}*{font-size:40px}</style><") + field + ">IIII");
    row("a field with colours of its own",
        "<input value=IIIII style='font-size:40px;color:#fff;background:#000'>");
    row("a field that is empty", "<style>::placeholder{color:#eee}</style><input placeholder=IIIII "
                                 "style='font-size:40px;background:#000'>");
    for (const char *colour :
         {"#fff", "#ffc", "lime", "rgba(255,255,255,.7)", "oklch(.95 .1 100)", "color(display-p3 1 1 1)"})
        row(qPrintable(u"on a dark background: %1"_s.arg(QLatin1String(colour))),
            QByteArray("<body style='background:#000;color:") + colour + "'><h1>IIII</h1>");
    row("half seen", "<body style='background:#000;color:#fff'><h1 style='opacity:.6'>IIII</h1>");
    row("by its fill", "<h1 style='-webkit-text-fill-color:#fff;background:#000'>IIII</h1>");
    row("by its stroke",
        "<h1 style='color:transparent;-webkit-text-stroke:2px #fff;background:#000'>IIII</h1>");
    row("by its shadow", "<h1 style='color:transparent;text-shadow:0 0 0 #fff;background:#000'>IIII</h1>");
    row("blended", "<body style='background:#000'><h1 style='color:#fff;mix-blend-mode:screen'>IIII</h1>");
    row("a page turned dark",
        "<html style='filter:invert(1) hue-rotate(180deg)'><body style='background:#fff'><h1>IIII</h1>");
    row("drawn", "<body style='background:#000'><svg width=200 height=60><text y=40 font-size=40 "
                 "fill=white>IIII</text></svg>");
    row("markers", "<style>::marker{color:#fff}</style><ol "
                   "style='background:#000;font-size:60px;padding-left:90px'><li></ol>");
    row("a first line", "<style>h1::first-line{color:#fff}</style><h1 style='background:#000'>IIII</h1>");
    row("in a dark shadow of a box", "<h1 style='color:#fff;box-shadow:inset 0 0 0 99px #000'>IIII</h1>");
    row("set by a timer",
        "<h1>IIII</h1><script>setTimeout(()=>document.body.style='background:#000;color:#fff',2000)</"
        "script>");
}

void ConvertOptionsTest::textIsReadableWithoutBackground()
{
    QFETCH(QByteArray, html);
    const Conversion conversion =
        m_engine.convertText("<!DOCTYPE html><meta charset=utf-8>" + html, {u"--no-background"_s});
    VERIFY_WRITTEN(conversion);
    const QImage page = conversion.pdf().picture(1, 150);
    int darkest = 255;
    qint64 dark = 0;
    for (int y = 0; y < page.height(); ++y) {
        for (int x = 0; x < page.width(); ++x) {
            const int gray = qGray(page.pixel(x, y));
            darkest = std::min(darkest, gray);
            dark += gray < 100;
        }
    }
    // That of #767676, whose contrast with white is 4.5.
    QVERIFY2(darkest <= 118, qPrintable(u"the darkest is %1"_s.arg(darkest)));
    QVERIFY2(static_cast<double>(dark) / page.width() / page.height() < 0.02, "there is a dark background");
}

/// What is printed behind text makes it readable, not the paper.
void ConvertOptionsTest::textOnPicturesKeepsItsColourWithoutBackground()
{
    const Conversion conversion = m_engine.convertText(
        "<!DOCTYPE html><svg width=300 height=90><rect width=300 height=90 fill='#000'/><text y=60 x=20 "
        "font-size=60 "
        "fill='#ff0'>IIIIIII</text></svg><div style='position:relative'><img src='" +
            dataAddress(Qt::black).toLatin1() +
            "' width=300 height=90><b "
            "style='position:absolute;left:20px;top:10px;font-size:60px;color:#fff'>IIIIIII</b></div>",
        {u"--no-background"_s});
    VERIFY_WRITTEN(conversion);
    const QImage page = conversion.pdf().picture();
    QVERIFY(shows(QColor(255, 255, 0), page));
    // By the browser, which makes white text gray.
    int light = 0;
    for (int x = 40; x < 240; ++x)
        light += qGray(page.pixel(x, 140)) > 150 ? 1 : 0;
    QVERIFY(light > 10);
}

void ConvertOptionsTest::withoutJavaScriptNoScriptRuns()
{
    m_engine.write(u"script.js"_s, "document.body.append(' by-file')");
    m_engine.write(u"frame.html"_s, "<p id=f>frame<script>f.textContent='by-frame'</script>");
    const QByteArray html =
        "<!DOCTYPE html><body onload=\"document.body.append(' "
        "by-onload')\"><p>text<noscript>instead</noscript>"
        "<script>document.body.append(' by-tag');setTimeout(()=>document.body.append(' "
        "by-timer'),10)</script>"
        "<script src=script.js></script><script type=module>document.body.append(' by-module')</script>"
        "<img src=none onerror=\"document.body.append(' by-onerror')\">"
        "<svg onload=\"document.body.append(' by-svg')\"></svg><iframe src=frame.html></iframe>"
        "<iframe src=\"javascript:'by-address'\"></iframe>";
    const Conversion with = m_engine.convertText(html);
    VERIFY_WRITTEN(with);
    for (const char *word :
         {"by-file", "by-onload", "by-tag", "by-timer", "by-onerror", "by-svg", "by-frame"})
        QVERIFY2(with.pdf().text().contains(QLatin1String(word)), word);
    QVERIFY(!with.pdf().text().contains(u"instead"_s));
    const Conversion without = m_engine.convertText(html, {u"--disable-javascript"_s});
    VERIFY_WRITTEN(without);
    QVERIFY2(!without.pdf().text().contains(u"by-"_s), qPrintable(without.pdf().text()));
    QVERIFY2(without.pdf().text().contains(u"textinstead"_s), qPrintable(without.pdf().text()));
    QVERIFY(without.pdf().text().contains(u"frame"_s));
}

void ConvertOptionsTest::withoutJavaScriptSheetsAndPaperStillWork()
{
    const Conversion conversion =
        m_engine.convertText("<!DOCTYPE html><style>@page{size:B4 "
                             "!important}div{background:#f00;print-color-adjust:exact}</style><div>x</div>"
                             "<div style='height:9000px'></div><img loading=lazy src='" +
                                 dataAddress(Qt::blue).toLatin1() + "'>",
                             {u"--disable-javascript"_s, u"--no-background"_s, u"--page-size"_s, u"A5"_s,
                              u"--minimum-font-size"_s, u"20"_s});
    VERIFY_WRITTEN(conversion);
    const PdfFile pdf = conversion.pdf();
    QVERIFY(std::abs(pdf.pageSizes()[0].width() - 420) < 1);
    QVERIFY(!shows(Qt::red, pdf.picture()));
    QVERIFY(smallest(pdf.fontSizes()) >= 20 - coarseness);
    QVERIFY(shows(Qt::blue, pdf.picture(pdf.pages())));
}

void ConvertOptionsTest::noTextIsSmallerThanTheMinimum_data()
{
    QTest::addColumn<QByteArray>("html");
    const auto row = [](const char *name, const QByteArray &html) { QTest::newRow(name) << html; };
    row("pixels", "<p style='font-size:6px'>small");
    row("points", "<p style='font-size:4pt'>small");
    row("important", "<style>p{font-size:5px!important}</style><p>small");
    row("relative", "<p style='font-size:30%'>small<sup>up<sup>upper</sup></sup> "
                    "<small><small><small>tiny</small></small></small>");
    row("of the window's width", "<p style='font-size:.7vw'>small");
    row("a form", "<input value=small style='font-size:7px'><button style='font-size:7px'>small</button>"
                  "<textarea style='font-size:7px'>small</textarea>");
    row("monospaced", "<pre style='font-size:7px'>small</pre><code style='font-size:7px'>small</code>");
    row("other languages", "<p lang=ja style='font-size:7px'>あいう<p lang=ar style='font-size:7px'>abc");
    row("in a frame", "<iframe srcdoc=\"<p style='font-size:6px'>small\"></iframe>");
    row("in a shadow tree",
        "<div><template shadowrootmode=open><p style='font-size:6px'>small</template></div>");
    row("text adjustment switched off",
        "<p style='font-size:6px;text-size-adjust:none;-webkit-text-size-adjust:none'>small");
    row("zoom", "<div style='zoom:.4'><p style='font-size:16px'>small</div>");
    row("zoom of the body", "<body style='zoom:.4'><p style='font-size:16px'>small");
    row("a margin box of the page",
        "<style>@page{@bottom-center{content:'small';font-size:5pt}}</style><p>x");
    row("SVG", "<svg width=200 height=50><text y=20 style='font-size:6px'>small</text></svg>");
    row("an SVG file as a picture", "<img src=small.svg><img src=small.svg width=60 height=15>");
    row("an SVG file as one of several pictures",
        "<picture><source srcset='small.svg 1x'><img srcset='small.svg 1x'></picture>");
    row("an SVG picture in the page itself",
        "<img src=\"data:image/svg+xml,%3Csvg xmlns='http://www.w3.org/2000/svg' width='100' "
        "height='30'%3E%3C"
        "text y='20' font-size='5'%3Esmall%3C/text%3E%3C/svg%3E\">");
    row("SVG made smaller", "<svg width=100 height=25 viewBox='0 0 400 100'><text y=50 "
                            "style='font-size:30px'>small</text></svg>");
    row("made smaller by a transform",
        "<div style='transform:scale(.4)'><p style='font-size:16px'>small</div>");
    row("wider than the paper", "<p style='font-size:6px'>small<div style='width:1000px;height:9px'></div>");
    row("far wider than the paper",
        "<p style='font-size:6px'>small<table><tr><td style='min-width:2500px'>x</table>");
    row("list markers of paragraphs on a page wider than the paper",
        "<ol style='font-size:6px'><li><p>small<li><p>small</ol><div style='width:1000px;height:9px'></div>");
    row("generated text on a page wider than the paper",
        "<style>p::before,p::after{content:'small';font-size:5px}p::first-letter{font-size:4px}</style><p>x y"
        "<div style='width:1000px;height:9px'></div>");
    row("generated text in a shadow tree made smaller",
        "<div style='transform:scale(.4)'><template shadowrootmode=open><style>p::before{content:'small'}"
        "</style><p>x</template></div>");
    row("a placeholder made smaller",
        "<div style='transform:scale(.5)'><input placeholder=small style='font-size:9px'></div>");
    row("small capitals", "<p style='font-variant-caps:small-caps;font-size:13pt'>Small"
                          "<p style='font-variant-caps:all-small-caps;font-size:9pt'>Small"
                          "<p style='font-variant-caps:unicase;font-size:9pt'>Small");
    row("adjusted to the height of its letters", "<p style='font-size-adjust:.2'>small");
    row("a frame made smaller",
        "<div style='transform:scale(.5)'><iframe srcdoc=\"<p style='font-size:6px'>small\"></iframe></div>");
    row("the alternative text of a missing picture on a page wider than the paper",
        "<img src=none.png alt='small words' style='font-size:6px'><div "
        "style='width:1000px;height:9px'></div>");
    row("the alternative text of a missing picture made smaller",
        "<div style='transform:scale(.5)'><img src=none.png alt='small words' style='font-size:9px'></div>");
    row("a frame with a file, made smaller",
        "<div style='transform:scale(.5)'><iframe src=frame.html></iframe></div>");
    row("a frame in a frame, both made smaller",
        "<iframe style='transform:scale(.7)' srcdoc=\"<iframe style='transform:scale(.7)' src=frame.html>\">"
        "</iframe>");
    row("an SVG file as a picture made smaller",
        "<div style='transform:scale(.5)'><img src=small.svg></div>");
    row("an SVG file as a picture on a page wider than the paper",
        "<img src=small.svg><div style='width:1000px;height:9px'></div>");
    row("an SVG file in a drawing",
        "<svg width=60 height=15><image href=small.svg width=60 height=15 /></svg>");
    row("an SVG file fitted into its box",
        "<img src=small.svg style='width:300px;height:15px;object-fit:contain'>");
    row("an SVG file as a picture with padding",
        "<img src=small.svg style='box-sizing:border-box;width:150px;height:90px;padding:20px;border:9px "
        "solid'>");
    row("an SVG file with important sizes",
        "<img src=\"data:image/svg+xml,%3Csvg xmlns='http://www.w3.org/2000/svg' width='200' height='60'%3E"
        "%3Cstyle%3Etext%23a,tspan%7Bfont-size:4px!important%7D%3C/style%3E%3Ctext id='a' "
        "y='20'%3Esmall%3Ctspan "
        "style='font-size:3px!important'%3Esmall%3C/tspan%3E%3C/text%3E%3C/svg%3E\">");
    row("SVG with sizes of a sheet and relative ones",
        "<style>text{font-size:50%}tspan{font-size:.5em}</style><svg width=200 height=50 "
        "style='font-size:8px'>"
        "<g transform='scale(.5)'><text y=20>small<tspan>smaller</tspan></text></g></svg>");
    row("zoom within zoom",
        "<div style='zoom:.7'><div style='zoom:.7'><p style='font-size:14px'>small</div></div>");
    row("made smaller by the property scale", "<div style='scale:.4'><p>small<ul><li>small</ul></div>");
    row("a pseudo-element of a sheet in a file, made smaller",
        "<link rel=stylesheet href=small.css><div style='transform:scale(.5)'><p>small</div>");
    row("text in a wide table",
        "<table><tr><td style='min-width:2500px;font-size:6px'>small<td>small</table>");
    row("set by a timer", "<p id=p>small<script>setTimeout(()=>p.style.fontSize='5px',2000)</script>");
}

void ConvertOptionsTest::noTextIsSmallerThanTheMinimum()
{
    QFETCH(QByteArray, html);
    m_engine.write(u"small.svg"_s,
                   "<svg xmlns='http://www.w3.org/2000/svg' width='120' height='30'><style>.s{font-size:7px}"
                   "</style><text y='12' class='s'>small</text><text y='28' font-size='6'>small<tspan "
                   "font-size='2'>tiny</tspan></text></svg>");
    m_engine.write(u"frame.html"_s, "<!DOCTYPE html><p style='font-size:6px'>small");
    m_engine.write(u"small.css"_s, "p::after { content: 'smaller'; font-size: 9px }");
    const Conversion conversion = m_engine.convertText("<!DOCTYPE html><meta charset=utf-8>" + html,
                                                       {u"--minimum-font-size"_s, u"12"_s});
    VERIFY_WRITTEN(conversion);
    const double size = smallest(conversion.pdf().fontSizes());
    QVERIFY2(size >= 12 - coarseness, qPrintable(u"%1 points"_s.arg(size)));
}

void ConvertOptionsTest::noTextIsSmallerThanTheMinimumAsBigAsItGets()
{
    const Conversion conversion = m_engine.convertText("<!DOCTYPE html><p style='font-size:6px'>big",
                                                       {u"--minimum-font-size"_s, u"72"_s});
    VERIFY_WRITTEN(conversion);
    const double size = smallest(conversion.pdf().fontSizes());
    QVERIFY2(size >= 72 - coarseness && size < 73, qPrintable(u"%1 points"_s.arg(size)));
    const Conversion least = m_engine.convertText("<!DOCTYPE html><p style='font-size:3px'>small",
                                                  {u"--minimum-font-size"_s, u"5"_s});
    VERIFY_WRITTEN(least);
    const double leastSize = smallest(least.pdf().fontSizes());
    QVERIFY2(leastSize >= 5 - coarseness && leastSize < 6, qPrintable(u"%1 points"_s.arg(leastSize)));
}

void ConvertOptionsTest::largerTextStaysAsItIs()
{
    const QByteArray html = "<!DOCTYPE html><p style='font-size:30pt'>large";
    const Conversion plain = m_engine.convertText(html);
    const Conversion bounded = m_engine.convertText(html, {u"--minimum-font-size"_s, u"12"_s});
    VERIFY_WRITTEN(plain);
    VERIFY_WRITTEN(bounded);
    QVERIFY(std::abs(smallest(plain.pdf().fontSizes()) - 30) <= coarseness);
    QVERIFY(std::abs(smallest(bounded.pdf().fontSizes()) - 30) <= coarseness);
    const Conversion small = m_engine.convertText("<!DOCTYPE html><p style='font-size:6pt'>small");
    VERIFY_WRITTEN(small);
    QVERIFY2(std::abs(smallest(small.pdf().fontSizes()) - 6) <= coarseness,
             qPrintable(u"%1 points"_s.arg(smallest(small.pdf().fontSizes()))));
}

void ConvertOptionsTest::largerTextOfPicturesStaysAsItIs()
{
    m_engine.write(
        u"large.svg"_s,
        "<svg xmlns='http://www.w3.org/2000/svg' width='300' height='90' viewBox='0 0 100 30'><text "
        "y='20' font-size='10'>large</text></svg>");
    const Conversion conversion =
        m_engine.convertText("<!DOCTYPE html><img src=large.svg>", {u"--minimum-font-size"_s, u"12"_s});
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().fontSizes().size(), 1);
    QVERIFY(std::abs(conversion.pdf().fontSizes()[0] - 22.5) <= coarseness);
}

void ConvertOptionsTest::fieldsHideNothingOfTheirForm()
{
    const Conversion conversion = m_engine.convertText(
        "<!DOCTYPE html><body style='background:#f00'><form style='print-color-adjust:exact'><input "
        "name=style>"
        "<input name=children><input name=childNodes><input name=matches><input name=shadowRoot>"
        "<input name=setAttribute><p style='transform:scale(.2)'>small",
        {u"--minimum-font-size"_s, u"20"_s, u"--no-background"_s});
    VERIFY_WRITTEN(conversion);
    QVERIFY(smallest(conversion.pdf().fontSizes()) >= 20 - coarseness);
}

void ConvertOptionsTest::noTextIsSmallerThanWithoutAMinimum_data()
{
    QTest::addColumn<QByteArray>("html");
    const QByteArray line(90, 'x');
    QTest::newRow("a wide line")
        << "<h1>word</h1><p style='font-size:9px'>small</p><pre style='font-size:13px'>" + line +
               line.left(30) + "</pre>";
    QTest::newRow("a line that fits") << "<h1>word</h1><pre style='font-size:12px'>" + line + "</pre>";
    QTest::newRow("a wide table") << "<h1>word</h1><table style='font-size:10px'><tr>" +
                                         QByteArray("<td>columns ").repeated(20) + "</table>";
    QTest::newRow("a line in a list")
        << "<h1>word</h1><ul><li><code style='font-size:12px;white-space:pre'>" + line + line.left(20) +
               "</code></ul>";
    QTest::newRow("a wide line of many parts") << "<h1>word</h1><pre style='font-size:12px'>" +
                                                      QByteArray("<b>bold</b> <i>words</i> ").repeated(14) +
                                                      "</pre>";
}

/// Larger text that makes a box wider must not shrink the page, and with it other text.
void ConvertOptionsTest::noTextIsSmallerThanWithoutAMinimum()
{
    QFETCH(QByteArray, html);
    const Conversion plain = m_engine.convertText("<!DOCTYPE html>" + html);
    const Conversion bounded =
        m_engine.convertText("<!DOCTYPE html>" + html, {u"--minimum-font-size"_s, u"12"_s});
    VERIFY_WRITTEN(plain);
    VERIFY_WRITTEN(bounded);
    const auto extremes = [](const PdfFile &pdf) {
        const QList<double> sizes = pdf.fontSizes();
        return std::pair(smallest(sizes), *std::max_element(sizes.begin(), sizes.end()));
    };
    const auto [least, most] = extremes(plain.pdf());
    const auto [leastBounded, mostBounded] = extremes(bounded.pdf());
    if (Engine::usesFullBrowser())
        QEXPECT_FAIL("a line that fits", "the page is shrunk for it: 8.3 points instead of 9", Abort);
    QVERIFY2(leastBounded >= least - coarseness,
             qPrintable(u"%1 instead of %2"_s.arg(leastBounded).arg(least)));
    QVERIFY2(mostBounded >= most - coarseness, qPrintable(u"%1 instead of %2"_s.arg(mostBounded).arg(most)));
    QCOMPARE(bounded.pdf().text(), plain.pdf().text());
}

void ConvertOptionsTest::textOfPicturesFromOtherServersIsEnlarged()
{
    const WebServer pages("");
    const WebServer pictures("");
    pictures.write(u"small.svg"_s,
                   "<svg xmlns='http://www.w3.org/2000/svg' width='300' height='90'><text y='20' "
                   "font-size='3'>drawn</text></svg>");
    const QByteArray address = pictures.address(u"/small.svg"_s).toLatin1();
    pages.write(u"index.html"_s,
                "<!DOCTYPE html><img src=" + address + "><img srcset='" + address +
                    " 1x'><img src=" + address +
                    " style='transform:scale(.5)'><p id=p></p><script>for(const i of document.images)"
                    "i.addEventListener('load',()=>p.append('loaded '))</script>");
    const Conversion conversion =
        m_engine.convert(pages.address(u"/"_s), {u"--minimum-font-size"_s, u"20"_s});
    VERIFY_WRITTEN(conversion);
    QVERIFY(smallest(conversion.pdf().fontSizes()) >= 20 - coarseness);
    // The page is told nothing of it.
    QCOMPARE(conversion.pdf().text().count(u"loaded"_s), 3);
}

/// They may show what their page may not read.
void ConvertOptionsTest::picturesAreNotReadByScripts()
{
    m_engine.write(u"small.svg"_s, "<svg xmlns='http://www.w3.org/2000/svg' width='300' height='90'><text "
                                   "y='20' font-size='3'>drawn</text></svg>");
    const Conversion conversion = m_engine.convertText(
        "<!DOCTYPE html><p id=p>read:</p><img id=i src=small.svg><script>"
        "const look=()=>{if(/drawn/.test(decodeURIComponent(i.src)))p.append('drawn')};"
        "new MutationObserver(look).observe(i,{attributes:true});addEventListener('beforeprint',look);"
        "i.onload=look;setInterval(look,50)</script>",
        {u"--minimum-font-size"_s, u"20"_s});
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().text(), u"read: drawn"_s);
    QVERIFY(smallest(conversion.pdf().fontSizes()) >= 20 - coarseness);
}

void ConvertOptionsTest::everyOptionAtOnce()
{
    const Conversion conversion = m_engine.convertText(
        "<!DOCTYPE html><html lang=en><style>@page{size:B4}body{background:#f00}</style><h1>One</h1><p "
        "style='font-size:5px'>small"
        "<img src='" +
            dataAddress(Qt::blue).toLatin1() + "'><script>document.body.append('by script')</script>",
        {u"--page-size"_s, u"Letter"_s, u"--copies"_s, u"2"_s, u"--orientation"_s, u"Landscape"_s,
         u"--minimum-font-size"_s, u"20"_s, u"--title"_s, u"Given"_s, u"--disable-javascript"_s,
         u"--no-images"_s, u"--no-background"_s});
    VERIFY_WRITTEN(conversion);
    const PdfFile pdf = conversion.pdf();
    QCOMPARE(pdf.pages(), 2);
    QVERIFY(std::abs(pdf.pageSizes()[1].width() - 792) < 1 &&
            std::abs(pdf.pageSizes()[1].height() - 612) < 1);
    QCOMPARE(pdf.documentTitle(), u"Given"_s);
    QVERIFY(smallest(pdf.fontSizes()) >= 20 - coarseness);
    QCOMPARE(pdf.images(), 0);
    QVERIFY(!shows(Qt::red, pdf.picture()) && !shows(Qt::blue, pdf.picture()));
    QVERIFY(!pdf.text().contains(u"by script"_s));
}

void ConvertOptionsTest::cleanupTestCase()
{
    QCOMPARE(m_engine.leftBehind(), QString());
}

QTEST_GUILESS_MAIN(ConvertOptionsTest)
#include "tst_convertoptions.moc"
