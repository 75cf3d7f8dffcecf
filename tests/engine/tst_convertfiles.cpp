#include "tests/support/engine.h"
#include "tests/support/pictures.h"
#include "tests/support/webserver.h"

#include <QFile>
#include <QTest>

using namespace Qt::StringLiterals;

/// Style sheets and scripts of the user's.
class ConvertFilesTest : public QObject
{
    Q_OBJECT

private slots:
    void rulesComeAfterThoseOfThePage_data();
    void rulesComeAfterThoseOfThePage();
    void rulesHoldForPages();
    void theOptionsForPaperStandAboveThem();
    void everySheetCounts();
    void framesAreStyled();
    void aPageReadsNothingOfTheSheet();
    void whatASheetLoadsIsThere();
    void textOfSheetsHasTheMinimumSize();
    void sheetsHoldForTheNextDocument();
    void pathsBeginInTheFolder();
    void scriptsRunInThePage_data();
    void scriptsRunInThePage();
    void scriptsRunOnceThePageIsWhole();
    void whatAScriptSetsGoingIsAwaited();
    void aScriptMayLeadElsewhere();
    void scriptsThatFail_data();
    void scriptsThatFail();
    void aScriptThatNeverEnds();
    void filesThatCannotBeRead_data();
    void filesThatCannotBeRead();
    void cleanupTestCase();

private:
    Conversion styled(const QByteArray &html, const QByteArray &css, const QStringList &options = {});

    Engine m_engine;
};

Conversion ConvertFilesTest::styled(const QByteArray &html, const QByteArray &css, const QStringList &options)
{
    return m_engine.convertText(html,
                                QStringList{u"--stylesheet"_s, m_engine.write(u"mine.css"_s, css)} + options);
}

void ConvertFilesTest::rulesComeAfterThoseOfThePage_data()
{
    QTest::addColumn<QByteArray>("html");
    QTest::addColumn<QByteArray>("css");
    QTest::addColumn<QString>("text");
    const QByteArray page = "<nav>Menu</nav><p class=a id=b>Text</p>";
    const auto row = [&](const char *name, const QByteArray &own, const QByteArray &mine, const char *text) {
        QTest::newRow(name) << "<!DOCTYPE html>" + own + page << mine << QString::fromUtf8(text);
    };
    row("what the page says nothing of", "", "nav { display: none }", "Text");
    row("what is as specific in the page", "<style>nav { display: block }</style>", "nav { display: none }",
        "Text");
    row("what is more specific in the page", "<style>.a#b { display: block }</style>", "p { display: none }",
        "Menu Text");
    row("what is important in the page", "<style>p { display: block !important }</style>",
        "p { display: none }", "Menu Text");
    row("what is important in both", "<style>p { display: block !important }</style>",
        "p { display: none !important }", "Menu");
    row("what is important in the file", "<style>.a#b { display: block }</style>",
        "p { display: none !important }", "Menu");
    row("what a script adds later",
        "<script>setTimeout(() => document.head.append(Object.assign(document.createElement('style'), "
        "{textContent: "
        "'nav { display: block }'})), 500)</script>",
        "nav { display: none }", "Text");
    row("what a script adopts",
        "<script>const s = new CSSStyleSheet; s.replaceSync('nav { display: block }'); "
        "document.adoptedStyleSheets = [s]</script>",
        "nav { display: none }", "Text");
    row("for paper", "", "@media print { nav { display: none } } @media screen { p { display: none } }",
        "Text");
    row("a policy that forbids styles",
        "<meta http-equiv=Content-Security-Policy content=\"default-src 'none'\">",
        "nav { display: none } p::after { content: ' more' }", "Text more");
    row("words beyond ASCII", "", "nav { display: none } p::after { content: ' äöü €' }", "Text äöü €");
    row("a byte order mark", "", "\xef\xbb\xbfnav { display: none }", "Text");
    row("without scripts", "<noscript>without</noscript>", "nav { display: none }", "Text");
    row("an empty file", "", "", "Menu Text");
    row("rubbish", "", "}}} nav { display", "Menu Text");
}

void ConvertFilesTest::rulesComeAfterThoseOfThePage()
{
    QFETCH(QByteArray, html);
    QFETCH(QByteArray, css);
    QFETCH(QString, text);
    const bool withoutScripts = html.contains("noscript");
    const Conversion conversion =
        styled(html, css, withoutScripts ? QStringList{u"--disable-javascript"_s} : QStringList());
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().text(), withoutScripts ? u"without "_s + text : text);
}

void ConvertFilesTest::rulesHoldForPages()
{
    const Conversion conversion = styled(
        "<!DOCTYPE html><style>@page { size: A4; margin: 1cm }</style><h1>Title</h1><p style='break-before: "
        "page'>Second",
        "@page { size: A5; margin: 3cm; @bottom-right { content: counter(page) ' of ' counter(pages) } }"
        "@page :first { @top-left { content: 'Only here' } @bottom-right { content: '' } }");
    VERIFY_WRITTEN(conversion);
    const PdfFile pdf = conversion.pdf();
    QCOMPARE(pdf.pages(), 2);
    QCOMPARE(qRound(pdf.pageSizes().value(0).width()), 420);
    QCOMPARE(pdf.text(1), u"Only here Title"_s);
    QCOMPARE(pdf.text(2), u"Second 2 of 2"_s);
}

void ConvertFilesTest::theOptionsForPaperStandAboveThem()
{
    const Conversion conversion = styled(
        "<!DOCTYPE html><style>body { margin: 0 } div { height: 100vh; background: #f00 }</style><div></div>",
        "@page { size: A3 !important; margin: 5cm !important } @page :first { margin-left: 7cm !important }",
        {u"--page-size"_s, u"A6"_s, u"--margin"_s, u"20pt"_s});
    VERIFY_WRITTEN(conversion);
    QCOMPARE(qRound(conversion.pdf().pageSizes().value(0).width()), 298);
    const QImage page = conversion.pdf().picture();
    QCOMPARE(page.pixelColor(24, 24), QColor(Qt::red));
    QCOMPARE(page.pixelColor(16, 24), QColor(Qt::white));
}

void ConvertFilesTest::everySheetCounts()
{
    const QString first = m_engine.write(u"first.css"_s, "p::after { content: ' one' } b { display: none ");
    const QString second = m_engine.write(u"second.css"_s, "p::after { content: ' two' } /* never ended");
    const QString third = m_engine.write(u"third.css"_s, "i { display: none }");
    const Conversion conversion =
        m_engine.convertText("<!DOCTYPE html><p>text</p><b>bold</b><i>slanted</i>",
                             {u"--stylesheet"_s, first, u"--stylesheet"_s, second, u"--stylesheet"_s, third});
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().text(), u"text two"_s);
}

void ConvertFilesTest::framesAreStyled()
{
    // A frame of another host has a process of its own.
    const WebServer server("");
    server.write(u"frame.html"_s, "<nav>Menu</nav>far");
    const QString frame = server.address(u"/frame.html"_s).replace(u"127.0.0.1"_s, u"localhost"_s);
    server.write(u"page.html"_s,
                 "<!DOCTYPE html><nav>Menu</nav>page <iframe srcdoc='<nav>Menu</nav>near'></iframe>"
                 "<iframe src='" +
                     frame.toUtf8() + "'></iframe>");
    const QString sheet = m_engine.write(u"mine.css"_s, "nav { display: none }");
    const Conversion conversion =
        m_engine.convert(server.address(u"/page.html"_s), {u"--stylesheet"_s, sheet});
    VERIFY_WRITTEN(conversion);
    const QString text = conversion.pdf().text();
    QVERIFY2(text.contains(u"page"_s) && text.contains(u"near"_s) && text.contains(u"far"_s) &&
                 !text.contains(u"Menu"_s),
             qPrintable(text));
}

void ConvertFilesTest::aPageReadsNothingOfTheSheet()
{
    const Conversion conversion = styled(
        "<!DOCTYPE html><p id=p></p><script>const texts = () => [...document.styleSheets, "
        "...document.adoptedStyleSheets].map(s => { try { return s.href + [...s.cssRules].map(r => "
        "r.cssText) } catch "
        "(e) { return e } }) + performance.getEntries().map(e => e.name) + "
        "document.documentElement.outerHTML;"
        "const tell = () => p.textContent = /mine|hunter2/.test(texts().replace(/const "
        "texts[^]*?tell[^]*?\\(\\)/, "
        "'').replace(/<script>[^]*<.script>/, '')) ? 'seen' : 'unseen';"
        "setTimeout(tell, 3000); addEventListener('beforeprint', tell); setInterval(tell, 100)</script>",
        ".hunter2 { color: red }");
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().text(), u"unseen"_s);
}

void ConvertFilesTest::whatASheetLoadsIsThere()
{
    const WebServer server("location /slow/ { limit_rate 3000; }");
    QByteArray picture =
        "<svg xmlns='http://www.w3.org/2000/svg' width='40' height='40'><rect width='40' height='40' "
        "fill='red'/></svg>";
    server.write(u"slow/red.svg"_s, picture + "<!--" + QByteArray(3000, 'x') + "-->");
    server.write(u"page.html"_s, "<!DOCTYPE html><body style='margin:0'><p>x");
    const QString sheet =
        m_engine.write(u"mine.css"_s, "body::before { content: url(slow/red.svg); display: block }");
    const Conversion conversion =
        m_engine.convert(server.address(u"/page.html"_s), {u"--stylesheet"_s, sheet, u"--margin"_s, u"0"_s});
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.warnings(), QByteArrayList());
    QCOMPARE(conversion.pdf().picture().pixelColor(15, 15), QColor(Qt::red));
}

void ConvertFilesTest::textOfSheetsHasTheMinimumSize()
{
    const Conversion conversion = styled("<!DOCTYPE html><p>text</p><div>scaled</div>",
                                         "p { font-size: 3pt } p::before { content: 'before '; font-size: "
                                         "2pt } div { font-size: 6pt; zoom: 0.5 }",
                                         {u"--minimum-font-size"_s, u"12"_s});
    VERIFY_WRITTEN(conversion);
    for (const double size : conversion.pdf().fontSizes())
        QVERIFY2(size > 11.4, QByteArray::number(size).constData());
}

void ConvertFilesTest::sheetsHoldForTheNextDocument()
{
    m_engine.write(u"next.html"_s, "<!DOCTYPE html><nav>Menu</nav>next");
    const Conversion conversion = styled(
        "<!DOCTYPE html><nav>Menu</nav>first<script>setTimeout(() => location = 'next.html', 1000)</script>",
        "nav { display: none }");
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().text(), u"next"_s);
}

void ConvertFilesTest::pathsBeginInTheFolder()
{
    m_engine.write(u"sub folder/mïne.css"_s, "b { display: none }");
    m_engine.write(u"page.html"_s, "<!DOCTYPE html>text <b>bold</b>");
    const ProgramResult run =
        m_engine.run({u"--stylesheet"_s, u"sub folder/mïne.css"_s, u"page.html"_s, u"page.pdf"_s});
    QVERIFY2(run.ok(), run.errors.constData());
    QCOMPARE(PdfFile(m_engine.path(u"page.pdf"_s)).text(), u"text"_s);
}

void ConvertFilesTest::scriptsRunInThePage_data()
{
    QTest::addColumn<QByteArrayList>("scripts");
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QString>("text");
    const auto row = [](const char *name, const QByteArrayList &scripts, const char *text,
                        const QStringList &options = {}) {
        QTest::newRow(name) << scripts << options << QString::fromUtf8(text);
    };
    row("a statement", {"p.textContent = 'new'"}, "new");
    row("a function of the page", {"p.textContent = ofThePage()"}, "from the page");
    row("a promise at the end",
        {"new Promise(r => setTimeout(r, 300)).then(() => fetch('data:text/plain,x')).then(r => r.text())"
         ".then(t => p.textContent = 'fetched ' + t)"},
        "fetched x");
    row("await",
        {"const t = await new Promise(r => setTimeout(() => r('awaited'), 300));\np.textContent = t"},
        "awaited");
    row("return", {"p.textContent = 'first'; if (p) return;\np.textContent = 'second'"}, "first");
    row("several",
        {"var a = 1; p.textContent = 'a'", "await null; p.append(' b')",
         "p.append(' c' + a) // no end of line"},
        "a b c1");
    row("words beyond ASCII", {"p.textContent = 'äöü €'"}, "äöü €");
    row("a byte order mark", {"\xef\xbb\xbfp.textContent = 'new'"}, "new");
    row("an empty file", {""}, "text");
    row("with --disable-javascript", {"await null; p.textContent = 'new'"}, "new",
        {u"--disable-javascript"_s});
    row("a dialog", {"alert('x'); p.textContent = confirm('y')"}, "false");
    row("later rejections", {"Promise.reject(new Error('unheard')); p.textContent = 'new'; 0"}, "new");
}

void ConvertFilesTest::scriptsRunInThePage()
{
    QFETCH(QByteArrayList, scripts);
    QFETCH(QStringList, options);
    QFETCH(QString, text);
    for (qsizetype i = 0; i < scripts.size(); ++i)
        options += {u"--script"_s, m_engine.write(u"script%1.js"_s.arg(i), scripts[i])};
    const QByteArray body = "<p id=p>text</p>";
    const QByteArray own = "<script nonce=x>function ofThePage() { return 'from the page' }</script>";
    // The second lets no script but its own run.
    for (const QByteArray &policy :
         {QByteArray(), QByteArray("<meta http-equiv=Content-Security-Policy content=\"default-src 'none'; "
                                   "connect-src data:; script-src 'nonce-x'\">")}) {
        const Conversion conversion = m_engine.convertText("<!DOCTYPE html>" + policy + own + body, options);
        VERIFY_WRITTEN(conversion);
        QCOMPARE(conversion.pdf().text(), text);
    }
}

void ConvertFilesTest::scriptsRunOnceThePageIsWhole()
{
    const Conversion conversion = m_engine.convertText(
        "<!DOCTYPE html><p id=p>text</p><script>setTimeout(() => fetch('data:text/plain,late').then(r => "
        "r.text()).then(t => p.textContent = t), 2000); window.runs = 0</script>",
        {u"--script"_s, m_engine.write(u"once.js"_s, "p.append(' run ' + ++runs)")});
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().text(), u"late run 1"_s);
}

void ConvertFilesTest::whatAScriptSetsGoingIsAwaited()
{
    const WebServer server("location /slow/ { limit_rate 2000; }");
    server.write(u"page.html"_s, "<!DOCTYPE html><body style='margin:0'>");
    server.write(u"slow/red.svg"_s, "<svg xmlns='http://www.w3.org/2000/svg' width='40' height='40'><rect "
                                    "width='40' height='40' fill='red'/></svg><!--" +
                                        QByteArray(2000, 'x') + "-->");
    const QString script = m_engine.write(u"late.js"_s, "setTimeout(() => { document.body.innerHTML = '<img "
                                                        "src=slow/red.svg>' }, 1000); 0");
    const Conversion conversion =
        m_engine.convert(server.address(u"/page.html"_s), {u"--script"_s, script, u"--margin"_s, u"0"_s});
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().picture().pixelColor(15, 15), QColor(Qt::red));
}

void ConvertFilesTest::aScriptMayLeadElsewhere()
{
    m_engine.write(u"next.html"_s, "<!DOCTYPE html>next");
    const QString script =
        m_engine.write(u"away.js"_s, "location = 'next.html'; await new Promise(() => {})");
    const Conversion conversion = m_engine.convertText("<!DOCTYPE html>first", {u"--script"_s, script});
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().text(), u"next"_s);
}

void ConvertFilesTest::scriptsThatFail_data()
{
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<QByteArray>("reason");
    QTest::newRow("no JavaScript") << QByteArray("let a;\nlet b = ;") << QByteArray("SyntaxError");
    QTest::newRow("an exception") << QByteArray("let a;\nnosuch()")
                                  << QByteArray("ReferenceError: nosuch is not defined (line 2)");
    QTest::newRow("a rejected promise")
        << QByteArray("\n\nPromise.reject(new TypeError('bad'))") << QByteArray("TypeError: bad (line 3)");
    QTest::newRow("after await") << QByteArray("await null;\nthrow new Error('bad')")
                                 << QByteArray("Error: bad (line 2)");
    QTest::newRow("no error") << QByteArray("throw 'plain'") << QByteArray("plain");
    QTest::newRow("several lines") << QByteArray("throw 'two\\nlines'") << QByteArray("two");
}

void ConvertFilesTest::scriptsThatFail()
{
    QFETCH(QByteArray, script);
    QFETCH(QByteArray, reason);
    const Conversion conversion =
        m_engine.convertText("<!DOCTYPE html>x", {u"--script"_s, m_engine.write(u"bad.js"_s, script)});
    VERIFY_FAILED(conversion, 1);
    QVERIFY2(conversion.run.errors.contains(reason) && conversion.run.errors.contains("bad.js"),
             conversion.run.errors.constData());
}

void ConvertFilesTest::aScriptThatNeverEnds()
{
    for (const char *script : {"new Promise(() => {})", "for (;;) {}"}) {
        const Conversion conversion =
            m_engine.convertText("<!DOCTYPE html>x", {u"--script"_s, m_engine.write(u"endless.js"_s, script),
                                                      u"--timeout"_s, u"3"_s});
        VERIFY_FAILED(conversion, 4);
        QVERIFY2(conversion.run.errors.contains("endless.js"), conversion.run.errors.constData());
    }
}

void ConvertFilesTest::filesThatCannotBeRead_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("none") << u"nosuch.css"_s;
    QTest::newRow("no name") << u""_s;
    QTest::newRow("a folder") << u"."_s;
    QTest::newRow("standard input") << u"/dev/stdin"_s;
    QTest::newRow("a device") << u"/dev/zero"_s;
    QTest::newRow("of the kernel") << u"/proc/self/status"_s;
    QTest::newRow("no text") << u"latin1.css"_s;
    QTest::newRow("too large") << u"large.css"_s;
}

void ConvertFilesTest::filesThatCannotBeRead()
{
    QFETCH(QString, name);
    m_engine.write(u"page.html"_s, "x");
    m_engine.write(u"latin1.css"_s, "b::after { content: '\xe4' }");
    QFile large(m_engine.write(u"large.css"_s, {}));
    QVERIFY(large.resize(17 << 20));
    // No browser is looked for.
    m_engine.setVariable(u"QUIRELLE_BROWSER"_s, u"/nowhere"_s);
    for (const QString &option : {u"--stylesheet"_s, u"--script"_s}) {
        const ProgramResult run = m_engine.run({option, name, u"page.html"_s, u"unwritten.pdf"_s});
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.errors.count('\n'), 1);
        QVERIFY2(run.errors.contains(option.toUtf8()) && run.errors.contains(name.toUtf8()),
                 run.errors.constData());
    }
    m_engine.setVariable(u"QUIRELLE_BROWSER"_s, {});
    QVERIFY(!QFile::exists(m_engine.path(u"unwritten.pdf"_s)));
}

void ConvertFilesTest::cleanupTestCase()
{
    QCOMPARE(m_engine.leftBehind(), QString());
}

QTEST_GUILESS_MAIN(ConvertFilesTest)
#include "tst_convertfiles.moc"
