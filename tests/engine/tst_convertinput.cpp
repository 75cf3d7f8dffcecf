#include "tests/support/engine.h"
#include "tests/support/pictures.h"

#include <QDir>
#include <QFile>
#include <QTest>
#include <QUrl>

using namespace Qt::StringLiterals;

/// Files as input and the names of files, also of outputs.
class ConvertInputTest : public QObject
{
    Q_OBJECT

private slots:
    void anyFileName_data();
    void anyFileName();
    void relativeNames();
    void aFileAddress();
    void aQueryAndFragmentAfterTheName_data();
    void aQueryAndFragmentAfterTheName();
    void aLinkToAFile();
    void otherKindsOfDocument_data();
    void otherKindsOfDocument();
    void filesBesideTheDocumentAreUsed();
    void encodings_data();
    void encodings();
    void anEmptyFileIsAnEmptyPage();
    void brokenHtmlIsStillAPage();
    void aLargeFile();
    void cleanupTestCase();

private:
    Engine m_engine;
};

void ConvertInputTest::anyFileName_data()
{
    QTest::addColumn<QString>("name");
    for (const char *name :
         {"with blanks  two.html", "#1?a=b&c.html", "100%41%.html", "quote\"'`.html", "a\\b.html",
          "日本語 äöü 🌊.html", "line\nbreak.html", "http:example.html", "[x]{y};|^~.html"})
        QTest::newRow(name) << QString::fromUtf8(name);
}

void ConvertInputTest::anyFileName()
{
    QFETCH(QString, name);
    const QString input = m_engine.write(u"in/"_s + name, "<p>found");
    // The output's name is as strange.
    const QString output = m_engine.path(name + u".pdf"_s);
    const Conversion conversion{m_engine.run({input, output}), output};
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().text(), u"found"_s);
}

void ConvertInputTest::relativeNames()
{
    m_engine.write(u"sub/page.html"_s, "<p>found");
    m_engine.write(u"-page.html"_s, "<p>dashed");
    m_engine.write(u"localhost.test"_s, "<p>a file");
    const auto convert = [&](const QStringList &arguments, const QString &output) {
        return Conversion{m_engine.run(arguments), m_engine.path(output)};
    };
    const Conversion plain = convert({u"sub/page.html"_s, u"relative.pdf"_s}, u"relative.pdf"_s);
    VERIFY_WRITTEN(plain);
    QCOMPARE(plain.pdf().text(), u"found"_s);
    const Conversion up =
        convert({u"sub/../sub/./page.html"_s, u"sub/../relative-2.pdf"_s}, u"relative-2.pdf"_s);
    VERIFY_WRITTEN(up);
    const Conversion dashed = convert({u"--"_s, u"-page.html"_s, u"-out.pdf"_s}, u"-out.pdf"_s);
    VERIFY_WRITTEN(dashed);
    QCOMPARE(dashed.pdf().text(), u"dashed"_s);
    const Conversion named = convert({u"localhost.test"_s, u"relative-3.pdf"_s}, u"relative-3.pdf"_s);
    VERIFY_WRITTEN(named);
}

void ConvertInputTest::aFileAddress()
{
    const QString path = m_engine.write(u"by address ä.html"_s, "<p>found");
    const Conversion conversion = m_engine.convert(QUrl::fromLocalFile(path).toString(QUrl::FullyEncoded));
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().text(), u"found"_s);
}

void ConvertInputTest::aQueryAndFragmentAfterTheName_data()
{
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("shown");
    QTest::newRow("fragment") << u"part.html#two"_s << u"[][#two] two"_s;
    QTest::newRow("query") << u"part.html?a=1&b=%20c"_s << u"[?a=1&b=%20c][]"_s;
    QTest::newRow("both") << u"part.html?a#two"_s << u"[?a][#two] two"_s;
    QTest::newRow("in a folder with a #") << u"c# 100%/part.html?a#two"_s << u"[?a][#two] two"_s;
    QTest::newRow("a file of that very name") << u"part.html#one"_s << u"of that name"_s;
    QTest::newRow("of an address") << u"file://@/part.html?a#two"_s << u"[?a][#two] two"_s;
}

void ConvertInputTest::aQueryAndFragmentAfterTheName()
{
    QFETCH(QString, input);
    QFETCH(QString, shown);
    const QByteArray page = "<style>:target::after{content:' two'}</style><p id=two>"
                            "<script>two.textContent=`[${location.search}][${location.hash}]`</script>";
    m_engine.makeFolder(u"c# 100%"_s);
    m_engine.write(u"part.html"_s, page);
    m_engine.write(u"c# 100%/part.html"_s, page);
    m_engine.write(u"part.html#one"_s, "of that name");
    input.replace(u"@"_s, m_engine.documents());
    const Conversion relative = m_engine.convert(input);
    VERIFY_WRITTEN(relative);
    QCOMPARE(relative.pdf().text(), shown);
    if (input.startsWith(u"file:"_s))
        return;
    const Conversion absolute = m_engine.convert(m_engine.path(input));
    VERIFY_WRITTEN(absolute);
    QCOMPARE(absolute.pdf().text(), shown);
}

void ConvertInputTest::aLinkToAFile()
{
    const QString path = m_engine.write(u"target.html"_s, "<p>found");
    QVERIFY(QFile::link(path, m_engine.path(u"link.html"_s)));
    const Conversion conversion = m_engine.convert(m_engine.path(u"link.html"_s));
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().text(), u"found"_s);
}

void ConvertInputTest::otherKindsOfDocument_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("text");
    QTest::newRow("xhtml") << u"a.xhtml"_s
                           << QByteArray(
                                  "<?xml version='1.0'?><html xmlns='http://www.w3.org/1999/xhtml'><head>"
                                  "<title>T</title></head><body><p>in xhtml</p></body></html>")
                           << u"in xhtml"_s;
    QTest::newRow("htm") << u"a.HTM"_s << QByteArray("<p>in htm") << u"in htm"_s;
    QTest::newRow("svg")
        << u"a.svg"_s
        << QByteArray("<svg xmlns='http://www.w3.org/2000/svg' width='300' height='200'><rect width='300' "
                      "height='200' fill='#f00'/><text y='50'>in svg</text></svg>")
        << u"in svg"_s;
    QTest::newRow("txt") << u"a.txt"_s << QByteArray("in text <b>not markup</b>\nä second line")
                         << u"in text <b>not markup</b>"_s;
    QTest::newRow("png") << u"a.png"_s << plainPicture(Qt::red, {300, 200}) << QString();
    QTest::newRow("jpg") << u"a.jpg"_s << plainPicture(Qt::red, {300, 200}, "JPG") << QString();
    QTest::newRow("xml") << u"a.xml"_s << QByteArray("<?xml version='1.0'?><note><to>in xml</to></note>")
                         << u"in xml"_s;
    QTest::newRow("json") << u"a.json"_s << QByteArray("{\"in\": \"json\"}") << u"json"_s;
}

void ConvertInputTest::otherKindsOfDocument()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, content);
    QFETCH(QString, text);
    const Conversion conversion =
        m_engine.convert(m_engine.write(name, content), {u"--page-size"_s, u"A5"_s});
    VERIFY_WRITTEN(conversion);
    QVERIFY(std::abs(conversion.pdf().pageSizes()[0].width() - 420) < 1);
    QVERIFY2(conversion.pdf().text().contains(text), qPrintable(conversion.pdf().text()));
    if (text.isEmpty())
        QVERIFY(shareOf(Qt::red, conversion.pdf().picture()) > 0.1);
}

void ConvertInputTest::filesBesideTheDocumentAreUsed()
{
    m_engine.write(u"site/css/style.css"_s,
                   "p{color:#f00;font-size:60px;font-weight:bold}div{background:url(../img/b%20c.png)}");
    m_engine.write(u"site/img/b c.png"_s, plainPicture(Qt::blue));
    m_engine.write(u"site/js/script.js"_s, "document.body.append('scripted')");
    m_engine.write(u"site/frame.html"_s, "framed");
    const Conversion conversion = m_engine.convert(m_engine.write(
        u"site/index.html"_s,
        "<!DOCTYPE html><link rel=stylesheet href=css/style.css><body><p>IIIIII<div style='height:50px'>"
        "</div><img src='img/b c.png'><script src=js/script.js></script><iframe src=frame.html></iframe>"));
    VERIFY_WRITTEN(conversion);
    const QImage page = conversion.pdf().picture();
    QVERIFY(shows(Qt::red, page) && shows(Qt::blue, page));
    QVERIFY(conversion.pdf().text().contains(u"scripted"_s) && conversion.pdf().text().contains(u"framed"_s));
}

void ConvertInputTest::encodings_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("UTF-8") << QByteArray("<meta charset=utf-8><p>Grüße");
    QTest::newRow("UTF-8 with a mark") << QByteArray("\xef\xbb\xbf<p>Grüße");
    QTest::newRow("ISO 8859-1") << QByteArray("<meta charset=iso-8859-1><p>Gr\xfc\xdf"
                                              "e");
    QTest::newRow("undeclared") << QByteArray("<p>Gr\xfc\xdf"
                                              "e");
    const QString text = u"\ufeff<p>Grüße"_s;
    QTest::newRow("UTF-16") << QByteArray(reinterpret_cast<const char *>(text.utf16()), text.size() * 2);
}

void ConvertInputTest::encodings()
{
    QFETCH(QByteArray, content);
    const Conversion conversion = m_engine.convertText(content);
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().text(), u"Grüße"_s);
}

void ConvertInputTest::anEmptyFileIsAnEmptyPage()
{
    const Conversion conversion = m_engine.convertText("");
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().pages(), 1);
    QCOMPARE(conversion.pdf().text(), QString());
}

void ConvertInputTest::brokenHtmlIsStillAPage()
{
    const Conversion conversion = m_engine.convertText(
        QByteArray("<!DOCTYPE html><table><p>a<div></span><style>@page{size:}</style><b><i>c</b></i>"
                   "<script>throw new Error('x')</script><script>syntax error(</script>") +
        '\0' + "<p>end");
    VERIFY_WRITTEN(conversion);
    QVERIFY(conversion.pdf().text().contains(u"end"_s));
    const Conversion xml = m_engine.convert(
        m_engine.write(u"broken.xhtml"_s, "<html xmlns='http://www.w3.org/1999/xhtml'><p>a"));
    VERIFY_WRITTEN(xml);
}

void ConvertInputTest::aLargeFile()
{
    QByteArray html = "<!DOCTYPE html><style>@page{size:A5;margin:0}p{font-size:6px;margin:0}</style>";
    html += "<!--" + QByteArray((4 << 20) - (300 << 10), ' ') + "-->";
    while (html.size() < (4 << 20))
        html += "<p>" + QByteArray("words of a long document, and more of them ").repeated(20);
    html += "<p style='break-before:page'>the very end";
    const Conversion conversion = m_engine.convertText(html);
    VERIFY_WRITTEN(conversion);
    const int pages = conversion.pdf().pages();
    QVERIFY(pages > 10);
    QCOMPARE(conversion.pdf().text(pages), u"the very end"_s);
}

void ConvertInputTest::cleanupTestCase()
{
    QCOMPARE(m_engine.leftBehind(), QString());
}

QTEST_GUILESS_MAIN(ConvertInputTest)
#include "tst_convertinput.moc"
