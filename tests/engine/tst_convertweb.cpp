#include "tests/support/engine.h"
#include "tests/support/pictures.h"
#include "tests/support/silentserver.h"
#include "tests/support/webserver.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

constexpr const char *locations = R"(
location /moved { return 301 /target.html; }
location /found { return 302 /moved; }
location /kept { return 307 /target.html; }
location /elsewhere { return 302 http://localhost:$server_port/target.html; }
location /circle { return 302 /circle; }
location /there { return 302 /and-back; }
location /and-back { return 302 /there; }
location /to-file { return 302 file:///etc/hostname; }
location /to-nowhere { return 302 http://127.0.0.1:1/; }
location /to-404 { return 302 /status/404; }
location /status/401 { return 401 "refused page"; }
location /status/403 { return 403 "refused page"; }
location /status/404 { return 404 "refused page"; }
location /status/410 { return 410; }
location /status/418 { return 418 "refused page"; }
location /status/500 { return 500 "refused page"; }
location /status/503 { return 503 "refused page"; }
location /status/204 { return 204; }
location /status/444 { return 444; }
location /attachment { add_header Content-Disposition "attachment; filename=a.html"; default_type text/html; return 200 "<p>x"; }
location /inline { add_header Content-Disposition "inline; filename=a.html"; default_type text/html; return 200 "<p>inline"; }
location /octets { default_type application/octet-stream; return 200 "<p>x"; }
location /plain { default_type text/plain; return 200 "<p>plain"; }
location /untyped { default_type ""; types {} return 200 "<!DOCTYPE html><p>untyped"; }
location /xhtml { default_type application/xhtml+xml; return 200 "<html xmlns='http://www.w3.org/1999/xhtml'><p>xhtml</p></html>"; }
location /agent { default_type text/html; return 200 "<p>agent $http_user_agent"; }
location /query { default_type text/html; return 200 "<p>query $args"; }
location /cookie { default_type text/html; add_header Set-Cookie "seen=yes"; return 200 "<p>cookie=$http_cookie."; }
location /none { default_type text/html; return 200 ""; }
location /events { default_type text/event-stream; limit_rate 1; }
location /slow/ { limit_rate 2000; }
location /endless/ { limit_rate 1; }
)";

} // namespace

/// Pages from a real web server.
class ConvertWebTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void aPageWithAllItsParts();
    void anAddressWithoutAScheme();
    void redirectsAreFollowed_data();
    void redirectsAreFollowed();
    void kindsOfContent_data();
    void kindsOfContent();
    void notLoaded_data();
    void notLoaded();
    void brokenPartsDoNotBreakThePage();
    void slowAnswersAreWaitedFor();
    void partsThatComeLateAreWaitedFor();
    void fetchesAfterLoadAreWaitedFor();
    void anEventStreamIsNotWaitedFor();
    void theScriptOfASharedWorkerIsNotWaitedFor();
    void aFontThatOnlyPaperUsesIsLoaded();
    void picturesFarDownAreLoaded();
    void jobsShareNoCookies();
    void theFragmentAndQueryArePassedOn();
    void theServerIsAskedOnce();
    void aRefreshLeadsOn();
    void cleanupTestCase();

private:
    Engine m_engine;
    std::unique_ptr<WebServer> m_server;
};

void ConvertWebTest::initTestCase()
{
    m_server = std::make_unique<WebServer>(locations);
    m_server->write(u"target.html"_s, "<!DOCTYPE html><title>Target</title><p>the target");
    m_server->write(u"red.png"_s, plainPicture(Qt::red));
    m_server->write(u"blue.png"_s, plainPicture(Qt::blue));
}

void ConvertWebTest::aPageWithAllItsParts()
{
    m_server->write(u"page/style.css"_s, "p{color:#0a0;font-size:60px;font-weight:bold}@import 'none.css';");
    m_server->write(u"page/script.js"_s, "document.body.append('scripted ')");
    m_server->write(u"page/module.js"_s, "import {word} from './word.js'; document.body.append(word)");
    m_server->write(u"page/word.js"_s, "export const word = 'moduled ';");
    m_server->write(u"page/frame.html"_s, "<p>framed<img src=../blue.png>");
    m_server->write(u"page/index.html"_s,
                    "<!DOCTYPE html><title>Page</title><link rel=stylesheet "
                    "href=style.css><body><p>IIIIII<img src=/red.png>"
                    "<iframe src=frame.html></iframe><script src=script.js></script><script type=module "
                    "src=module.js></script>");
    const Conversion conversion = m_engine.convert(m_server->address(u"/page/index.html"_s));
    VERIFY_WRITTEN(conversion);
    const QString text = conversion.pdf().text();
    for (const char *word : {"scripted", "moduled", "framed"})
        QVERIFY2(text.contains(QLatin1String(word)), word);
    const QImage page = conversion.pdf().picture();
    for (const QColor &colour : {QColor(Qt::red), QColor(Qt::blue), QColor(0, 170, 0)})
        QVERIFY2(shows(colour, page), qPrintable(colour.name()));
    QCOMPARE(conversion.pdf().documentTitle(), u"Page"_s);
}

void ConvertWebTest::anAddressWithoutAScheme()
{
    const Conversion conversion = m_engine.convert(u"127.0.0.1:%1/target.html"_s.arg(m_server->port()));
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().text(), u"the target"_s);
    const Conversion named = m_engine.convert(u"localhost:%1/target.html"_s.arg(m_server->port()));
    VERIFY_WRITTEN(named);
}

void ConvertWebTest::redirectsAreFollowed_data()
{
    QTest::addColumn<QString>("path");
    for (const char *path : {"/moved", "/found", "/kept", "/elsewhere"})
        QTest::newRow(path) << QString(QLatin1String(path));
}

void ConvertWebTest::redirectsAreFollowed()
{
    QFETCH(QString, path);
    const Conversion conversion = m_engine.convert(m_server->address(path));
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().text(), u"the target"_s);
}

void ConvertWebTest::kindsOfContent_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("text");
    QTest::newRow("to be shown") << u"/inline"_s << u"inline"_s;
    QTest::newRow("plain text") << u"/plain"_s << u"<p>plain"_s;
    QTest::newRow("no type") << u"/untyped"_s << u"untyped"_s;
    QTest::newRow("XHTML") << u"/xhtml"_s << u"xhtml"_s;
    QTest::newRow("a picture") << u"/red.png"_s << QString();
    QTest::newRow("nothing") << u"/none"_s << QString();
}

void ConvertWebTest::kindsOfContent()
{
    QFETCH(QString, path);
    QFETCH(QString, text);
    const Conversion conversion = m_engine.convert(m_server->address(path));
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().text(), text);
}

void ConvertWebTest::notLoaded_data()
{
    QTest::addColumn<QString>("path");
    // What the reason must name.
    QTest::addColumn<QString>("named");
    for (const char *status : {"401", "403", "404", "410", "418", "500", "503"}) {
        QTest::addRow("status %s", status)
            << QString(QLatin1String("/status/") + QLatin1String(status)) << QString(QLatin1String(status));
    }
    QTest::newRow("no content") << u"/status/204"_s << u"nothing at all"_s;
    QTest::newRow("no answer") << u"/status/444"_s << u"nothing"_s;
    QTest::newRow("a circle") << u"/circle"_s << u"circles"_s;
    QTest::newRow("a larger circle") << u"/there"_s << u"circles"_s;
    QTest::newRow("on to a missing page") << u"/to-404"_s << u"404"_s;
    QTest::newRow("on to a server that is not there") << u"/to-nowhere"_s << u"ERR_"_s;
    QTest::newRow("on to a file") << u"/to-file"_s << u"not allowed"_s;
    QTest::newRow("an attachment") << u"/attachment"_s << u"download"_s;
    QTest::newRow("octets") << u"/octets"_s << u"download"_s;
    QTest::newRow("an archive") << u"/archive.zip"_s << u"download"_s;
    QTest::newRow("a PDF") << u"/document.pdf"_s << u"download"_s;
    QTest::newRow("by script on to a missing page") << u"/script-to-404.html"_s << u"404"_s;
    QTest::newRow("by script on to a server that is not there")
        << u"/script-to-nowhere.html"_s << u"127.0.0.1:1"_s;
}

void ConvertWebTest::notLoaded()
{
    QFETCH(QString, path);
    QFETCH(QString, named);
    m_server->write(u"archive.zip"_s, QByteArray("PK\x05\x06").leftJustified(22, '\0'));
    m_server->write(u"document.pdf"_s, "%PDF-1.4\n%%EOF\n");
    m_server->write(u"script-to-404.html"_s, "<p>first<script>location='/status/404'</script>");
    m_server->write(u"script-to-nowhere.html"_s, "<p>first<script>location='http://127.0.0.1:1/'</script>");
    const Conversion conversion = m_engine.convert(m_server->address(path));
    VERIFY_FAILED(conversion, 3);
    QVERIFY2(conversion.run.errors.contains(named.toUtf8()), conversion.run.errors.constData());
    QVERIFY2(conversion.run.errors.contains(m_server->address(path).toUtf8()),
             conversion.run.errors.constData());
    QVERIFY(!QFile::exists(conversion.output));
}

void ConvertWebTest::brokenPartsDoNotBreakThePage()
{
    m_server->write(
        u"broken.html"_s,
        "<!DOCTYPE html><link rel=stylesheet href=/status/404><script src=/status/500></script><p>whole"
        "<img src=/status/404><img src=http://127.0.0.1:1/x.png><iframe src=/status/404></iframe>"
        "<iframe src=/circle></iframe><iframe src=/attachment></iframe><iframe "
        "src=http://127.0.0.1:1/></iframe>"
        "<script>fetch('/status/500');fetch('http://127.0.0.1:1/').catch(()=>{});import('/none.js')</script>"
        "<object data=/octets></object><video src=/status/404></video>");
    const Conversion conversion = m_engine.convert(m_server->address(u"/broken.html"_s));
    VERIFY_WRITTEN(conversion);
    QVERIFY(conversion.pdf().text().contains(u"whole"_s));
}

void ConvertWebTest::slowAnswersAreWaitedFor()
{
    m_server->write(u"slow/page.html"_s, "<!DOCTYPE html><p>begin<!--" + QByteArray(3000, '.') + "--><p>end");
    const Conversion conversion = m_engine.convert(m_server->address(u"/slow/page.html"_s));
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().text(), u"begin end"_s);
}

void ConvertWebTest::partsThatComeLateAreWaitedFor()
{
    m_server->write(u"slow/blue.png"_s, plainPicture(Qt::blue) + QByteArray(3000, '.'));
    m_server->write(u"slow/style.css"_s,
                    "/*" + QByteArray(3000, '.') +
                        "*/ @media print { p { color: #f00; font-size: 60px; font-weight: bold } }");
    m_server->write(u"slow/print.png"_s, plainPicture(QColor(0, 160, 0)) + QByteArray(3000, '.'));
    m_server->write(
        u"late.html"_s,
        "<!DOCTYPE html><style>@media print{div{height:50px;background:url(slow/print.png)}}</style>"
        "<link rel=stylesheet media=print href=slow/style.css>"
        "<p>IIIIII<div></div><script>onload=()=>setTimeout(()=>document.body.append(Object.assign("
        "new Image,{src:'slow/blue.png'})),1500)</script>");
    const Conversion conversion = m_engine.convert(m_server->address(u"/late.html"_s));
    VERIFY_WRITTEN(conversion);
    const QImage page = conversion.pdf().picture();
    QVERIFY2(shows(Qt::red, page), "the sheet for paper is missing");
    QVERIFY2(shows(QColor(0, 160, 0), page), "the picture for paper is missing");
    QVERIFY2(shows(Qt::blue, page), "the picture set by a timer is missing");
}

void ConvertWebTest::fetchesAfterLoadAreWaitedFor()
{
    for (int i = 1; i <= 5; ++i)
        m_server->write(u"slow/%1.txt"_s.arg(i), "part" + QByteArray::number(i) + QByteArray(1500, ' '));
    m_server->write(
        u"chain.html"_s,
        "<!DOCTYPE html><p id=p><script>const next=async n=>{if(n>5)return;const r=await "
        "fetch('slow/'+n+'.txt');"
        "p.append((await r.text()).trim()+' ');setTimeout(()=>next(n+1),400)};onload=()=>next(1);"
        "const x=new "
        "XMLHttpRequest;x.onload=()=>document.body.append('by-request');x.open('GET','target.html');x.send()"
        "</script>");
    const Conversion conversion = m_engine.convert(m_server->address(u"/chain.html"_s));
    VERIFY_WRITTEN(conversion);
    QVERIFY2(conversion.pdf().text().contains(u"part1 part2 part3 part4 part5"_s),
             qPrintable(conversion.pdf().text()));
    QVERIFY(conversion.pdf().text().contains(u"by-request"_s));
}

void ConvertWebTest::anEventStreamIsNotWaitedFor()
{
    m_server->write(u"events"_s, "data: first\n\n" + QByteArray(10000, ':'));
    m_server->write(u"stream.html"_s, "<!DOCTYPE html><p>whole<script>new EventSource('/events');"
                                      "setTimeout(()=>document.body.append('later'),2000)</script>");
    const Conversion conversion =
        m_engine.convert(m_server->address(u"/stream.html"_s), {u"--timeout"_s, u"25"_s});
    VERIFY_WRITTEN(conversion);
    QVERIFY2(conversion.pdf().text().contains(u"later"_s), qPrintable(conversion.pdf().text()));
}

void ConvertWebTest::theScriptOfASharedWorkerIsNotWaitedFor()
{
    m_server->write(u"shared.js"_s, "onconnect = (event) => event.ports[0].postMessage('shared');");
    m_server->write(u"shared.html"_s, "<!DOCTYPE html><p id=p>whole <script>new SharedWorker('shared.js')"
                                      ".port.onmessage=e=>p.append(e.data)</script>");
    const Conversion conversion =
        m_engine.convert(m_server->address(u"/shared.html"_s), {u"--timeout"_s, u"25"_s});
    VERIFY_WRITTEN(conversion);
    QVERIFY2(conversion.pdf().text().startsWith(u"whole"_s), qPrintable(conversion.pdf().text()));
}

void ConvertWebTest::aFontThatOnlyPaperUsesIsLoaded()
{
    m_server->copy(u"/usr/share/fonts/truetype/noto/NotoSerifDisplay-Regular.ttf"_s, u"slow.ttf"_s);
    m_server->write(u"font.html"_s, "<!DOCTYPE html><style>@font-face{font-family:Paper;src:url(slow.ttf)}"
                                    "@media print{p{font-family:Paper,monospace}}</style><p>in its font");
    const Conversion conversion = m_engine.convert(m_server->address(u"/font.html"_s));
    VERIFY_WRITTEN(conversion);
    const QString fonts = conversion.pdf().fonts().join(u' ');
    QVERIFY2(fonts.contains(u"NotoSerifDisplay"_s), qPrintable(fonts));
    QCOMPARE(conversion.pdf().text(), u"in its font"_s);
}

void ConvertWebTest::picturesFarDownAreLoaded()
{
    m_server->write(u"frame.html"_s, "framed");
    m_server->write(u"far.html"_s,
                    "<!DOCTYPE html><p>top<div style='height:30000px'></div><img loading=lazy src=blue.png>"
                    "<iframe loading=lazy src=frame.html></iframe><div id=d></div>"
                    "<script>setTimeout(()=>d.innerHTML='<img loading=lazy src=red.png>',1000)</script>");
    const Conversion conversion = m_engine.convert(m_server->address(u"/far.html"_s));
    VERIFY_WRITTEN(conversion);
    const PdfFile pdf = conversion.pdf();
    const QImage last = pdf.picture(pdf.pages());
    QVERIFY(shows(Qt::blue, last));
    QVERIFY(pdf.text(pdf.pages()).contains(u"framed"_s));
    QVERIFY2(shows(Qt::red, last), "the lazy picture set by a timer is missing");
}

void ConvertWebTest::jobsShareNoCookies()
{
    for (int i = 0; i < 2; ++i) {
        const Conversion conversion = m_engine.convert(m_server->address(u"/cookie"_s));
        VERIFY_WRITTEN(conversion);
        QCOMPARE(conversion.pdf().text(), u"cookie=."_s);
    }
}

void ConvertWebTest::theFragmentAndQueryArePassedOn()
{
    const Conversion conversion = m_engine.convert(m_server->address(u"/query?a=%20b&c=ä#fragment"_s));
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().text(), u"query a=%20b&c=%C3%A4"_s);
}

void ConvertWebTest::theServerIsAskedOnce()
{
    WebServer server("");
    server.write(u"page.html"_s, "<!DOCTYPE html><link rel=icon href=data:,><p>x");
    const Conversion conversion = m_engine.convert(server.address(u"/page.html"_s));
    VERIFY_WRITTEN(conversion);
    QCOMPARE(server.requests(), QStringList{u"GET /page.html 200"_s});
}

void ConvertWebTest::aRefreshLeadsOn()
{
    m_server->write(u"refresh.html"_s,
                    "<!DOCTYPE html><meta http-equiv=refresh content='0;url=target.html'><p>first");
    m_server->write(u"refresh-later.html"_s,
                    "<!DOCTYPE html><meta http-equiv=refresh content='3;url=target.html'><p>first");
    m_server->write(u"refresh-hours.html"_s,
                    "<!DOCTYPE html><meta http-equiv=refresh content='3600'><p>first");
    const Conversion now = m_engine.convert(m_server->address(u"/refresh.html"_s));
    VERIFY_WRITTEN(now);
    QCOMPARE(now.pdf().text(), u"the target"_s);
    const Conversion soon = m_engine.convert(m_server->address(u"/refresh-later.html"_s),
                                             {u"--title"_s, u"T"_s, u"--page-size"_s, u"A5"_s});
    VERIFY_WRITTEN(soon);
    QCOMPARE(soon.pdf().text(), u"the target"_s);
    QVERIFY(std::abs(soon.pdf().pageSizes()[0].width() - 420) < 1);
    const Conversion never = m_engine.convert(m_server->address(u"/refresh-hours.html"_s));
    VERIFY_WRITTEN(never);
    QCOMPARE(never.pdf().text(), u"first"_s);
}

void ConvertWebTest::cleanupTestCase()
{
    m_server.reset();
    QCOMPARE(m_engine.leftBehind(), QString());
}

QTEST_GUILESS_MAIN(ConvertWebTest)
#include "tst_convertweb.moc"
