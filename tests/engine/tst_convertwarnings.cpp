#include "tests/support/engine.h"
#include "tests/support/stress.h"
#include "tests/support/webserver.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using namespace Qt::StringLiterals;

/// What the engine says of a PDF that lacks something of its page: warnings, --strict and --report.
class ConvertWarningsTest : public QObject
{
    Q_OBJECT

private slots:
    void nothingIsSaidOfASoundPage_data();
    void nothingIsSaidOfASoundPage();
    void whatIsMissingIsSaid_data();
    void whatIsMissingIsSaid();
    void whatWasGoingOnIsSaid_data();
    void whatWasGoingOnIsSaid();
    void aPageFullOfFaultsDoesNotFlood();
    void aPageOfManyElementsHasNoTags();
    void quietKeepsThemToTheLog();
    void strictWritesNothing();
    void strictIgnoresAHost();
    void theReportOfASuccess();
    void theReportOfAFailure();
    void theReportGoesToStandardError();
    void aReportThatCannotBeWritten();

private:
    QJsonObject reportIn(const QByteArray &text);

    Engine m_engine;
};

namespace
{

/// By a judge that is not ours; empty if it is sound.
QByteArray schemaComplaint(const QByteArray &report, const QString &path)
{
    QFile file(path);
    if (!file.open(QFile::WriteOnly) || file.write(report) != report.size())
        return "cannot be written";
    file.close();
    const ProgramResult judge = runProgram(
        u"python3"_s, {u"-m"_s, u"jsonschema"_s, u"-i"_s, path, QStringLiteral(QUIRELLE_REPORT_SCHEMA)});
    return judge.ok() ? QByteArray() : judge.errors + judge.output;
}

} // namespace

QJsonObject ConvertWarningsTest::reportIn(const QByteArray &text)
{
    const QByteArray complaint = schemaComplaint(text, m_engine.path(u"checked.json"_s));
    if (!complaint.isEmpty())
        QTest::qFail(complaint.constData(), __FILE__, __LINE__);
    return QJsonDocument::fromJson(text).object();
}

void ConvertWarningsTest::nothingIsSaidOfASoundPage_data()
{
    QTest::addColumn<QByteArray>("html");
    QTest::newRow("text") << QByteArray("<p>text");
    QTest::newRow("an empty page") << QByteArray();
    QTest::newRow("a caught error") << QByteArray("<script>try{nope()}catch{}</script>");
    QTest::newRow("a handled promise") << QByteArray("<script>Promise.reject(1).catch(()=>0)</script>");
    QTest::newRow("a cancelled request")
        << QByteArray("<script>const a=new "
                      "AbortController();fetch('data:,x',{signal:a.signal}).catch(()=>0);a.abort()</script>");
    QTest::newRow("a timer for ever") << QByteArray("<script>setInterval(()=>0,100)</script>");
    QTest::newRow("a request for later") << QByteArray("<link rel=prefetch href=none.html><p>x");
    QTest::newRow("a ping") << QByteArray("<script>navigator.sendBeacon('http://127.0.0.1:2/')</script>");
    QTest::newRow("a box that clips")
        << QByteArray("<div style='overflow:hidden;height:1em'>a<br>b<br>c</div>");
    QTest::newRow("a scrolling box that shows all")
        << QByteArray("<div style='overflow:auto;height:9em'>a<br>b<br>c</div>");
    QTest::newRow("a wide table") << QByteArray("<table><tr><td style='min-width:1500px'>a<td>b</table>");
    QTest::newRow("a logged error") << QByteArray("<script>console.error('x')</script>");
}

void ConvertWarningsTest::nothingIsSaidOfASoundPage()
{
    QFETCH(QByteArray, html);
    const Conversion conversion = m_engine.convertText("<!DOCTYPE html>" + html);
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.run.errors, QByteArray());
}

void ConvertWarningsTest::whatIsMissingIsSaid_data()
{
    QTest::addColumn<QByteArray>("html");
    QTest::addColumn<QByteArray>("part");
    QTest::newRow("a picture") << QByteArray("<img src=none.png>") << QByteArray("none.png is missing");
    QTest::newRow("a background") << QByteArray("<p style='background:url(none.png)'>x")
                                  << QByteArray("none.png is missing");
    QTest::newRow("a style sheet") << QByteArray("<link rel=stylesheet href=none.css>")
                                   << QByteArray("none.css is missing");
    QTest::newRow("an imported sheet")
        << QByteArray("<style>@import 'none.css';</style>") << QByteArray("none.css is missing");
    QTest::newRow("a font")
        << QByteArray("<style>@font-face{font-family:f;src:url(none.woff)}p{font-family:f}</style><p>x")
        << QByteArray("none.woff is missing");
    QTest::newRow("a script") << QByteArray("<script src=none.js></script>")
                              << QByteArray("none.js is missing");
    QTest::newRow("a module") << QByteArray("<script type=module>import './none.js'</script>")
                              << QByteArray("none.js");
    QTest::newRow("a frame") << QByteArray("<iframe src=none.html></iframe>")
                             << QByteArray("none.html is missing");
    QTest::newRow("a server") << QByteArray("<img src=http://127.0.0.1:2/a.png>")
                              << QByteArray("http://127.0.0.1:2/a.png is missing");
    QTest::newRow("what fetches") << QByteArray("<script>fetch('http://127.0.0.1:2/a').catch(()=>0)</script>")
                                  << QByteArray("http://127.0.0.1:2/a is missing");
    QTest::newRow("what is forbidden")
        << QByteArray("<meta http-equiv=Content-Security-Policy content=\"img-src 'none'\">"
                      "<img src=none.png>")
        << QByteArray("blocked by the browser");
    QTest::newRow("an exception") << QByteArray("<script>nope()</script>")
                                  << QByteArray("a script failed: ReferenceError: nope is not defined");
    QTest::newRow("a late exception")
        << QByteArray("<script>setTimeout(()=>{throw new Error('late')},2000)</script>")
        << QByteArray("a script failed: Error: late");
    QTest::newRow("an exception in a frame")
        << QByteArray("<iframe srcdoc='<script>nope()</script>'></iframe>")
        << QByteArray("nope is not defined");
    QTest::newRow("an exception in a worker")
        << QByteArray("<script>new Worker(URL.createObjectURL(new Blob(['nope()'])))</script>")
        << QByteArray("nope is not defined");
    QTest::newRow("a rejected promise")
        << QByteArray("<script>Promise.reject(new Error('gone'))</script>") << QByteArray("Error: gone");
    QTest::newRow("a syntax error") << QByteArray("<script>let 1</script>")
                                    << QByteArray("a script failed: Syntax");
    QTest::newRow("a scrolling box")
        << QByteArray("<div id=box style='overflow:auto;height:2em'>a<br>b<br>c<br>d<br>e</div>")
        << QByteArray("box");
    QTest::newRow("a scrolling box in a shadow tree")
        << QByteArray("<div><template shadowrootmode=open><div id=box style='overflow:auto;height:2em'>"
                      "a<br>b<br>c<br>d<br>e</div></template></div>")
        << QByteArray("#box");
    QTest::newRow("control characters") << QByteArray("<script>throw 'a\\x1b[31mb\\nc'</script>")
                                        << QByteArray("a script failed: a\\u001b[31mb");
}

void ConvertWarningsTest::whatIsMissingIsSaid()
{
    QFETCH(QByteArray, html);
    QFETCH(QByteArray, part);
    const Conversion conversion = m_engine.convertText("<!DOCTYPE html>" + html + "<p>whole");
    VERIFY_WRITTEN(conversion);
    QVERIFY2(conversion.warnings().join().contains(part), conversion.run.errors.constData());
    QVERIFY(m_engine.logLines().join(u'\n').contains(QString::fromUtf8(part)));
}

void ConvertWarningsTest::whatWasGoingOnIsSaid_data()
{
    QTest::addColumn<QByteArray>("html");
    QTest::addColumn<QByteArray>("part");
    QTest::newRow("a picture that does not come")
        << QByteArray("<img src=endless/picture.png>") << QByteArray("endless/picture.png");
    QTest::newRow("a fetch") << QByteArray("<script>fetch('endless/data.txt')</script>")
                             << QByteArray("endless/data.txt");
    QTest::newRow("a script") << QByteArray("<script>setTimeout(()=>{while(true);},100)</script>")
                              << QByteArray("scripts that keep running");
    QTest::newRow("a list without an end")
        << QByteArray(
               "<hr id=end><script>const o=new IntersectionObserver(e=>{if(!e[0].isIntersecting)return;const "
               "d=document.createElement('div');d.style.height='1500px';end.before(d)});o.observe(end)"
               "</script>")
        << QByteArray("grows when its end comes into view");
}

void ConvertWarningsTest::whatWasGoingOnIsSaid()
{
    QFETCH(QByteArray, html);
    QFETCH(QByteArray, part);
    const WebServer server("location /endless/ { limit_rate 1; }");
    server.write(u"endless/picture.png"_s, QByteArray(20000, '.'));
    server.write(u"endless/data.txt"_s, QByteArray(20000, ' '));
    server.write(u"page.html"_s, "<!DOCTYPE html><p>whole" + html);
    const Conversion conversion =
        m_engine.convert(server.address(u"/page.html"_s), {u"--max-wait"_s, u"2"_s});
    VERIFY_WRITTEN(conversion);
    const QByteArray warnings = conversion.warnings().join();
    QVERIFY2(warnings.contains("printed before it was complete") && warnings.contains(part),
             warnings.constData());
}

void ConvertWarningsTest::aPageFullOfFaultsDoesNotFlood()
{
    const Conversion conversion = m_engine.convertText(
        "<!DOCTYPE html><p>x<script>for(let i=0;i<200;++i){new Image().src='http://127.0.0.1:'+(2000+i)+'/';"
        "setTimeout(()=>{throw i},0)}</script>");
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.warnings().size(), 10);
    QVERIFY(conversion.warnings().last().contains("more warnings"));
}

void ConvertWarningsTest::aPageOfManyElementsHasNoTags()
{
    SKIP_STRESS();
    const QByteArray html = "<!DOCTYPE html><base href=http://127.0.0.1:2/><h1>Größe</h1><p>" +
                            QByteArray("<i>x</i> ").repeated(32000) +
                            "<h3 id=a>Deep</h3><h2 id='a b'>Odd</h2><h2>Second</h2><h2 id=a>Twice</h2><h2 "
                            "id=größe>Groß</h2><h2 hidden>None</h2><p role=heading aria-level=-2>Low";
    const Conversion conversion = m_engine.convertText(html);
    VERIFY_WRITTEN(conversion);
    QVERIFY2(conversion.warnings().join().contains("without tags"), conversion.run.errors.constData());
    QCOMPARE(conversion.pdf().info().value(u"Tagged"_s), u"no"_s);
    QCOMPARE(conversion.pdf().outline(), (QStringList{u"Größe"_s, u"-Deep"_s, u"-Odd"_s, u"-Second"_s,
                                                      u"-Twice"_s, u"-Groß"_s, u"Low"_s}));
    const Conversion manyHeadings = m_engine.convertText(
        "<h2>First</h2>" + QByteArray("<h3>Deep</h3>").repeated(32000) + "<h1>Second</h1>");
    VERIFY_WRITTEN(manyHeadings);
    QCOMPARE(manyHeadings.pdf().outline(), (QStringList{u"First"_s, u"Second"_s}));
    const Conversion small = m_engine.convertText(html, {u"--lowquality"_s});
    VERIFY_WRITTEN(small);
    QCOMPARE(small.warnings(), QByteArrayList());
}

void ConvertWarningsTest::quietKeepsThemToTheLog()
{
    const Conversion conversion = m_engine.convertText("<p>x<img src=none.png>", {u"--quiet"_s});
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.run.errors, QByteArray());
    QVERIFY(m_engine.logLines().join(u'\n').contains(u"none.png is missing"_s));
}

void ConvertWarningsTest::strictWritesNothing()
{
    const QString output = m_engine.freshOutput();
    const QString page = m_engine.write(u"page.html"_s, "<p>x<img src=none.png>");
    QFile older(output);
    QVERIFY(older.open(QFile::WriteOnly) && older.write("older") == 5);
    older.close();
    const ProgramResult run = m_engine.run({u"--strict"_s, page, output});
    QCOMPARE(run.exitCode, 7);
    QVERIFY(run.errors.contains("none.png is missing") && run.errors.contains("--strict"));
    QVERIFY(older.open(QFile::ReadOnly));
    QCOMPARE(older.readAll(), QByteArray("older"));
    VERIFY_WRITTEN(m_engine.convertText("<p>x", {u"--strict"_s}));
}

void ConvertWarningsTest::strictIgnoresAHost()
{
    const QByteArray html = "<p>x<img src=http://127.0.0.1:2/a.png><img src=http://localhost:2/a.png>";
    QCOMPARE(m_engine.convertText(html, {u"--strict"_s, u"--strict-ignore"_s, u"127.0.0.1"_s}).run.exitCode,
             7);
    VERIFY_WRITTEN(m_engine.convertText(
        html, {u"--strict"_s, u"--strict-ignore"_s, u"127.0.0.1"_s, u"--strict-ignore"_s, u"LOCALHOST"_s}));
}

void ConvertWarningsTest::theReportOfASuccess()
{
    const QString path = m_engine.path(u"report.json"_s);
    const Conversion conversion =
        m_engine.convertText("<p>x<p style='break-before:page'>y<img src=none.png>", {u"--report"_s, path});
    VERIFY_WRITTEN(conversion);
    QFile file(path);
    QVERIFY(file.open(QFile::ReadOnly));
    const QJsonObject report = reportIn(file.readAll());
    QCOMPARE(report[u"status"_s].toString(), u"written"_s);
    QCOMPARE(report[u"exitCode"_s].toInt(-1), 0);
    QCOMPARE(report[u"output"_s].toString(), conversion.output);
    QCOMPARE(report[u"pages"_s].toInt(), conversion.pdf().pages());
    QCOMPARE(report[u"pages"_s].toInt(), 2);
    QCOMPARE(report[u"bytes"_s].toInteger(), QFile(conversion.output).size());
    QCOMPARE(report[u"warnings"_s].toArray().size(), 1);
    QCOMPARE(report[u"requests"_s].toObject()[u"count"_s].toInt(), 2);
    QCOMPARE(report[u"requests"_s].toObject()[u"failed"_s].toInt(), 1);
    QVERIFY(report[u"address"_s].toString().startsWith(u"file:///"_s));
    QVERIFY(report[u"browser"_s].toString().contains(u'/'));
    double sum = 0;
    const QJsonObject seconds = report[u"seconds"_s].toObject();
    for (const auto &time : seconds)
        sum += time.toDouble();
    const double total = report[u"totalSeconds"_s].toDouble();
    QVERIFY2(sum > 0 && sum <= total + 0.01, qPrintable(u"%1 of %2"_s.arg(sum).arg(total)));
}

void ConvertWarningsTest::theReportOfAFailure()
{
    const WebServer server("location /away { return 302 /gone; }");
    const QString path = m_engine.path(u"report.json"_s);
    const Conversion conversion = m_engine.convert(server.address(u"/away"_s), {u"--report"_s, path});
    VERIFY_FAILED(conversion, 3);
    QFile file(path);
    QVERIFY(file.open(QFile::ReadOnly));
    const QJsonObject report = reportIn(file.readAll());
    QCOMPARE(report[u"status"_s].toString(), u"failed"_s);
    QCOMPARE(report[u"exitCode"_s].toInt(), 3);
    QVERIFY(report[u"message"_s].toString().contains(u"404"_s));
    QCOMPARE(report[u"bytes"_s].toInt(-1), 0);
}

void ConvertWarningsTest::theReportGoesToStandardError()
{
    const Conversion conversion = m_engine.convertText("<p>x", {u"--report"_s, u"-"_s});
    QCOMPARE(conversion.run.exitCode, 0);
    QCOMPARE(reportIn(conversion.run.errors)[u"status"_s].toString(), u"written"_s);
}

void ConvertWarningsTest::aReportThatCannotBeWritten()
{
    const Conversion conversion = m_engine.convertText("<p>x", {u"--report"_s, u"/nowhere/report.json"_s});
    VERIFY_FAILED(conversion, 5);
    QVERIFY(!QFile::exists(conversion.output));
}

QTEST_GUILESS_MAIN(ConvertWarningsTest)
#include "tst_convertwarnings.moc"
