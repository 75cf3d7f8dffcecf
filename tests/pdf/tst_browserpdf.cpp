#include "tests/pdf/judges.h"
#include "tests/support/engine.h"
#include "tests/support/stress.h"

#include <QImage>
#include <QTest>

/// What the browser really writes, through the whole engine.
class TestBrowserPdf : public QObject
{
    Q_OBJECT

private slots:
    void isTheSameInGray_data();
    void isTheSameInGray();
    void keepsTextTagsAndLinksInGray();
    void takesExternalLinksAway();
    void makesTenPhotographsSmall();
    void lowQualityStaysLegible();
    void allTogether();
    void cleanupTestCase();

private:
    /// The PDF of an HTML text.
    QByteArray converted(const QByteArray &html, const QStringList &options = {})
    {
        const Conversion conversion = m_engine.convertText(html, options);
        if (const QByteArray flaw = conversion.flaw(); !flaw.isEmpty())
            qWarning("%s", flaw.constData());
        return contentOf(conversion.output);
    }

    Engine m_engine;
};

namespace
{

constexpr int dotsPerInch = 100;

QByteArray boxed(const QByteArray &boxes)
{
    return "<!doctype "
           "html><title>Boxes</title><style>div{width:280px;height:160px;margin:6px;display:inline-block}"
           "</style><body>" +
           boxes;
}

/// A canvas with all kinds of colours, `id` being that of an element that gets it as a picture.
QByteArray painted(const QByteArray &type, bool transparent)
{
    return "<img id=i width=300 height=200><script>const "
           "c=document.createElement('canvas');c.width=300;c.height=200;"
           "const x=c.getContext('2d');for(let i=0;i<300;i+=2)for(let "
           "j=0;j<200;j+=2){x.fillStyle=`rgba(${i*.8|0},"
           "${j},${(i^j)&255}," +
           QByteArray(transparent ? "${i/300}" : "1") +
           ")`;x.fillRect(i,j,2,2)}document.getElementById('i').src=c.toDataURL('" + type + "',.8)</script>";
}

const QString gray = QStringLiteral("--grayscale");
const QString low = QStringLiteral("--lowquality");
const QString noLinks = QStringLiteral("--disable-external-links");

const QByteArray article =
    "<!doctype html><html lang=en><title>Links</title><body><h1 style='color:#c00'>One</h1>"
    "<p>Go <a href='https://example.com/'>out</a>, write <a href='mailto:a@example.com'>mail</a>, open "
    "<a href='file:///etc/hostname'>a file</a> or stay <a "
    "href='#two'>here</a>.</p><table><tr><th>A<td>B</table>"
    "<h2 id=two style='break-before:page;color:#06c'>Two</h2><ul><li>x<li>y</ul>";

void addPage(const char *name, const QByteArray &html, double worst = 12)
{
    QTest::newRow(name) << html << worst;
}

} // namespace

void TestBrowserPdf::isTheSameInGray_data()
{
    QTest::addColumn<QByteArray>("html");
    QTest::addColumn<double>("worst");
    addPage("text and boxes", article);
    addPage(
        "linear gradients",
        boxed("<div style='background:linear-gradient(red,blue)'></div>"
              "<div style='background:linear-gradient(45deg,rgba(255,0,0,.2),lime 30%,blue)'></div>"
              "<div style='background:repeating-linear-gradient(30deg,red 0 20px,lime 20px 50px)'></div>"));
    addPage("radial gradients",
            boxed("<div style='background:radial-gradient(circle at 30% 40%,yellow,green 60%,blue)'></div>"
                  "<div style='background:radial-gradient(rgba(255,0,0,.9),transparent)'></div>"
                  "<div style='background:repeating-radial-gradient(red 0 20px,cyan 40px)'></div>"));
    addPage("conic gradients",
            boxed("<div style='background:conic-gradient(red,yellow,lime,cyan,blue,magenta,red)'></div>"
                  "<div style='background:repeating-conic-gradient(red 0 20deg,cyan 40deg)'></div>"));
    addPage("filters",
            boxed("<div style='background:orange;filter:hue-rotate(90deg) saturate(2)'></div>"
                  "<div style='background:teal;filter:blur(4px)'></div>"
                  "<div style='background:crimson;filter:sepia(.8) drop-shadow(8px 8px 4px blue)'></div>"));
    addPage("opacity and shadows",
            boxed("<div style='background:#8a0;opacity:.5;box-shadow:8px 8px 12px red'></div>"
                  "<div style='border-radius:20px;box-shadow:inset 0 0 20px blue'></div>"
                  "<div style='text-shadow:3px 3px 4px red;color:blue;font-size:40px'>shadow</div>"));
    addPage("blend modes that keep luminosity",
            boxed("<div style='background:#0a8'></div><div "
                  "style='background:#c40;mix-blend-mode:hue;margin-left:-140px'>"
                  "</div><div style='background:#8a0;mix-blend-mode:luminosity;margin-left:-140px'></div>"));
    addPage("multiplied on paper", boxed("<div style='background:#c40;mix-blend-mode:multiply'></div>"));
    addPage(
        "masks",
        boxed(
            "<div style='background:teal;-webkit-mask-image:linear-gradient(black,transparent)'></div>"
            "<div "
            "style='background:purple;mask-image:linear-gradient(white,black);mask-mode:luminance'></div>"));
    addPage(
        "SVG",
        boxed("<svg width=600 height=200><defs><linearGradient id=g><stop offset=0 stop-color=red />"
              "<stop offset=.5 stop-color=lime stop-opacity=.5 /><stop offset=1 stop-color=blue "
              "/></linearGradient>"
              "<radialGradient id=r><stop offset=0 stop-color=white /><stop offset=1 stop-color=blue "
              "/></radialGradient>"
              "<pattern id=p width=20 height=20 patternUnits=userSpaceOnUse><circle cx=10 cy=10 r=8 "
              "fill=orange />"
              "</pattern><mask id=m><rect width=600 height=200 fill='url(#r)'/></mask></defs>"
              "<rect width=140 height=190 fill='url(#g)'/><rect x=150 width=140 height=190 fill='url(#r)'/>"
              "<rect x=300 width=140 height=190 fill='url(#p)' stroke=green stroke-width=6 />"
              "<rect x=450 width=140 height=190 fill=magenta mask='url(#m)'/></svg>"));
    addPage("PNG", painted("image/png", false));
    addPage("PNG with transparency", painted("image/png", true));
    addPage("JPEG", painted("image/jpeg", false));
    addPage("WebP", painted("image/webp", true));
    addPage("emoji",
            "<meta charset=utf-8><body style='font-size:60px;color:#c00'>a &#x1F600; &#x1F389; &#x1F308;");
    addPage("canvas",
            "<canvas id=c width=300 height=200></canvas><script>const x=document.getElementById('c')"
            ".getContext('2d');const g=x.createLinearGradient(0,0,300,0);g.addColorStop(0,'red');"
            "g.addColorStop(1,'blue');x.fillStyle=g;x.fillRect(10,10,280,180);x.strokeStyle='lime';"
            "x.lineWidth=9;x.strokeRect(40,40,200,100)</script>");
}

void TestBrowserPdf::isTheSameInGray()
{
    QFETCH(QByteArray, html);
    QFETCH(double, worst);
    const JudgedPdf colours(converted(html));
    const JudgedPdf grays(converted(html, {gray}));
    QVERIFY(grays.isGray());
    const int pages = colours.pages();
    QVERIFY(pages > 0);
    QCOMPARE(grays.pages(), pages);
    for (int page = 1; page <= pages; ++page) {
        const QImage picture = colours.picture(dotsPerInch, page);
        QVERIFY2(page > 1 || hasColours(picture), "the page has no colours to begin with");
        const Difference found = difference(picture, grays.picture(dotsPerInch, page));
        QVERIFY2(found.average < 1, QByteArray::number(found.average).constData());
        QVERIFY2(found.worst < worst, QByteArray::number(found.worst).constData());
    }
    for (const char *space : {"/DeviceRGB", "/DeviceCMYK"})
        QVERIFY2(!grays.readable().contains(space), space);
}

void TestBrowserPdf::keepsTextTagsAndLinksInGray()
{
    const JudgedPdf colours(converted(article));
    const JudgedPdf grays(converted(article, {gray}));
    QVERIFY(grays.text().contains("Two"));
    QCOMPARE(grays.text(), colours.text());
    QVERIFY(grays.structure().contains("H1"));
    QCOMPARE(grays.structure(), colours.structure());
    const QByteArray readable = grays.readable();
    QVERIFY(readable.contains("(https://example.com/)") && readable.contains("/Outlines"));
}

void TestBrowserPdf::takesExternalLinksAway()
{
    const JudgedPdf before(converted(article));
    const JudgedPdf after(converted(article, {noLinks}));
    QCOMPARE(after.complaints(), QByteArray());
    QCOMPARE(before.readable().count("/Subtype /Link"), 4);
    const QByteArray readable = after.readable();
    QCOMPARE(readable.count("/Subtype /Link"), 1);
    for (const char *rest : {"example.com", "mailto", "hostname", "/URI"})
        QVERIFY2(!readable.contains(rest), rest);
    QCOMPARE(after.text(), before.text());
    QVERIFY(after.structure().contains("Span"));
    QVERIFY(readable.contains("/Outlines"));
}

void TestBrowserPdf::makesTenPhotographsSmall()
{
    SKIP_STRESS();
    QByteArray html = "<!doctype html><title>Photographs</title>";
    unsigned grain = 1;
    for (int i = 0; i < 10; ++i) {
        QImage image(1200, 800, QImage::Format_RGB32);
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                grain = grain * 1664525 + 1013904223;
                const int noise = static_cast<int>(grain >> 27U);
                image.setPixel(x, y,
                               qRgb(x * 200 / 1200 + noise, (y + 40 * i) % 220 + noise, 20 * i + noise));
            }
        }
        const QString name = QStringLiteral("photograph%1.jpg").arg(i);
        QVERIFY(image.save(m_engine.path(name), "JPG", 88));
        html += "<img width=330 src=" + name.toLatin1() + "> ";
    }
    const JudgedPdf normal(converted(html));
    const JudgedPdf small(converted(html, {low}));
    const JudgedPdf smallGray(converted(html, {low, gray}));
    QVERIFY(normal.size() > 100000);
    QVERIFY2(small.size() * 5 <= normal.size(), QByteArray::number(small.size()).constData());
    QVERIFY(smallGray.size() < small.size());
    QVERIFY(smallGray.isGray());
    QCOMPARE(small.images().size(), 10);
    for (const QStringList &row : small.images())
        QVERIFY2(row[12].toInt() <= 96 && row[13].toInt() <= 96, qPrintable(row.join(QLatin1Char(' '))));
    const Difference found = difference(normal.picture(72), small.picture(72));
    QVERIFY2(found.average < 4, QByteArray::number(found.average).constData());
    qInfo("ten photographs: %lld bytes normal, %lld low quality, %lld low quality in gray", normal.size(),
          small.size(), smallGray.size());
}

void TestBrowserPdf::lowQualityStaysLegible()
{
    const QByteArray html = article + painted("image/png", true) +
                            "<div style='width:200px;height:90px;background:orange;filter:blur(3px)'>x</div>"
                            "<p style='font-size:30px'>&#x1F600;</p>";
    const JudgedPdf normal(converted(html));
    const JudgedPdf small(converted(html, {low}));
    QCOMPARE(small.complaints(), QByteArray());
    QVERIFY(small.size() < normal.size());
    QCOMPARE(small.text(), normal.text());
    QVERIFY(!small.structure().contains("H1"));
    const QByteArray readable = small.readable();
    for (const char *rest : {"StructTreeRoot", "StructParent", "MarkInfo", "/MCID"})
        QVERIFY2(!readable.contains(rest), rest);
    QVERIFY(readable.contains("(https://example.com/)"));
    for (int page = 1; page <= normal.pages(); ++page) {
        const Difference found = difference(normal.picture(96, page), small.picture(96, page));
        QVERIFY2(found.average < 2, QByteArray::number(found.average).constData());
        QVERIFY2(found.worst < 60, QByteArray::number(found.worst).constData());
    }
}

void TestBrowserPdf::allTogether()
{
    const QByteArray html = article + painted("image/jpeg", false);
    const JudgedPdf all(
        converted(html, {gray, low, noLinks, QStringLiteral("--copies"), QStringLiteral("2")}));
    QCOMPARE(all.complaints(), QByteArray());
    QVERIFY(all.isGray());
    QCOMPARE(all.pages(), 4);
    QVERIFY(!all.readable().contains("/URI"));
    QCOMPARE(all.readable().count("/Subtype /Link"), 2);
}

void TestBrowserPdf::cleanupTestCase()
{
    QCOMPARE(m_engine.leftBehind(), QString());
}

QTEST_GUILESS_MAIN(TestBrowserPdf)
#include "tst_browserpdf.moc"
