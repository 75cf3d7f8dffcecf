#include "tests/support/engine.h"
#include "tests/support/webserver.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using namespace Qt::StringLiterals;

/// A document from standard input.
class ConvertStdinTest : public QObject
{
    Q_OBJECT

private slots:
    void theSameBytesAsFromAFile_data();
    void theSameBytesAsFromAFile();
    void withoutABaseItIsTheWorkingFolder();
    void relativeAddresses();
    void aBaseThatIsAFile();
    void aWebAddressReachesNoFiles();
    void privateAddressesAreBlocked();
    void theNamedServerGetsThePassword();
    void smallTextInPictures();
    void thePageReloadsItself();
    void aLargeDocument();
    void whatCannotBeRead_data();
    void whatCannotBeRead();
    void basesThatAreOfNoUse_data();
    void basesThatAreOfNoUse();
    void oneOfSeveralInputs();
    void aFileCanStillBeCalledDash();
    void messagesAndReportNameIt();

private:
    /// As a shell runs it with this redirection.
    Conversion redirected(const QString &redirection, const QStringList &options = {})
    {
        const QString output = m_engine.freshOutput();
        return {runProgram(u"/bin/sh"_s,
                           QStringList{u"-c"_s, u"exec \"$@\" "_s + redirection, u"sh"_s, Engine::program()} +
                               options + QStringList{u"-"_s, output},
                           {m_engine.environment(), m_engine.documents()}),
                output};
    }
    /// With this on standard input.
    Conversion given(const QByteArray &html, const QStringList &options = {})
    {
        m_engine.write(u"given"_s, html);
        return redirected(u"<given"_s, options);
    }

    Engine m_engine;
};

void ConvertStdinTest::theSameBytesAsFromAFile_data()
{
    QTest::addColumn<QString>("path");
    for (const QString &name : QDir(QLatin1String(QUIRELLE_SAMPLES)).entryList({u"*.html"_s}))
        QTest::newRow(qPrintable(name)) << QLatin1String(QUIRELLE_SAMPLES "/") + name;
    QTest::newRow("without a title") << QString();
}

void ConvertStdinTest::theSameBytesAsFromAFile()
{
    QFETCH(QString, path);
    if (path.isEmpty())
        path =
            m_engine.write(u"a.html"_s, "<p>\xc3\xbc <a href='other.html'>a</a> <a href='#b'>b</a><p id=b>b");
    m_engine.setVariable(u"SOURCE_DATE_EPOCH"_s, u"1000000000"_s);
    const Conversion file = m_engine.convert(path);
    const Conversion input = redirected(u"<\""_s + path + u'"', {u"--base-url"_s, QFileInfo(path).path()});
    VERIFY_WRITTEN(file);
    VERIFY_WRITTEN(input);
    QVERIFY(contentOf(input.output) == contentOf(file.output));
}

void ConvertStdinTest::withoutABaseItIsTheWorkingFolder()
{
    m_engine.write(u"s.css"_s, "p::after{content:'styled'}");
    const Conversion page = given("<link rel=stylesheet href=s.css><p>");
    VERIFY_WRITTEN(page);
    QCOMPARE(page.run.errors, QByteArray());
    QCOMPARE(page.pdf().text(), u"styled"_s);
}

void ConvertStdinTest::relativeAddresses()
{
    const WebServer server({});
    server.write(u"in/s.css"_s, "p::after{content:'styled'}");
    m_engine.write(u"folder/s.css"_s, "p::after{content:'from a folder'}");
    const QByteArray html = "<link rel=stylesheet href=s.css><p><a href=b.html>b</a>";
    const Conversion web = given(html, {u"--base-url"_s, server.address(u"/in/page.html"_s)});
    VERIFY_WRITTEN(web);
    QCOMPARE(web.pdf().text(), u"bstyled"_s);
    QVERIFY(web.pdf().links().value(0).endsWith(u"/in/b.html"_s));
    // The document itself is not asked for.
    QCOMPARE(server.requests(), QStringList{u"GET /in/s.css 200"_s});
    const Conversion folder = given(html, {u"--base-url"_s, u"folder"_s});
    VERIFY_WRITTEN(folder);
    QCOMPARE(folder.pdf().text(), u"bfrom a folder"_s);
    const QString address = QUrl::fromLocalFile(m_engine.path(u"folder"_s)).toString();
    const Conversion byAddress = given(html, {u"--base-url"_s, address});
    VERIFY_WRITTEN(byAddress);
    QCOMPARE(byAddress.pdf().text(), u"bfrom a folder"_s);
}

void ConvertStdinTest::aBaseThatIsAFile()
{
    m_engine.setVariable(u"SOURCE_DATE_EPOCH"_s, u"1000000000"_s);
    const QString path = m_engine.write(u"a.html"_s, "<title>A</title><a href=a.html>to itself</a>");
    const Conversion file = m_engine.convert(path);
    const Conversion input = redirected(u"<a.html"_s, {u"--base-url"_s, u"a.html"_s});
    VERIFY_WRITTEN(input);
    QVERIFY(contentOf(input.output) == contentOf(file.output));
    QCOMPARE(input.pdf().links(), QStringList());
}

void ConvertStdinTest::aWebAddressReachesNoFiles()
{
    const QString secret = m_engine.write(u"secret.html"_s, "<p>secret text");
    const QString picture = m_engine.path(u"quires.jpg"_s);
    QVERIFY(QFile::copy(QLatin1String(QUIRELLE_SAMPLES "/images/quires.jpg"), picture));
    const QByteArray address = QUrl::fromLocalFile(secret).toEncoded();
    const QByteArray html = "<p>page<iframe src='" + address + "'></iframe><object data='" + address +
                            "'></object><img src='" + QUrl::fromLocalFile(picture).toEncoded() +
                            "' onload=\"document.body.append('loaded')\"><script>fetch('" + address +
                            "').then(r=>r.text()).then(t=>document.body.append(t));open('" + address +
                            "');setTimeout(()=>location='" + address + "',50)</script>";
    const WebServer server({});
    const Conversion web = given(html, {u"--base-url"_s, server.address(u"/"_s)});
    VERIFY_WRITTEN(web);
    QCOMPARE(web.pdf().text(), u"page"_s);
    // As a file it may show them.
    const Conversion file = given("<p>page<iframe src='" + address + "'></iframe>");
    VERIFY_WRITTEN(file);
    QVERIFY(file.pdf().text().contains(u"secret text"_s));
}

void ConvertStdinTest::privateAddressesAreBlocked()
{
    const WebServer server({});
    server.write(u"a.svg"_s, "<svg xmlns='http://www.w3.org/2000/svg'/>");
    const QByteArray html = "<p>page<img src='" + server.address(u"/a.svg"_s).toUtf8() + "'>";
    const Conversion file = given(html, {u"--block-private-addresses"_s});
    VERIFY_FAILED(file, 3);
    QVERIFY2(file.run.errors.contains("--base-url"), file.run.errors.constData());
    const Conversion web =
        given(html, {u"--block-private-addresses"_s, u"--base-url"_s, u"http://203.0.113.5/"_s});
    VERIFY_WRITTEN(web);
    QCOMPARE(web.pdf().text(), u"page"_s);
    QCOMPARE(server.requests(), QStringList());
}

void ConvertStdinTest::theNamedServerGetsThePassword()
{
    const WebServer server("auth_basic realm; auth_basic_user_file users;");
    server.write(u"../users"_s, "ann:{PLAIN}secret\n");
    server.write(u"s.css"_s, "p::after{content:'styled'}");
    const Conversion page = given("<link rel=stylesheet href=s.css><p>",
                                  {u"--base-url"_s, server.address(u"/page.html"_s), u"--username"_s,
                                   u"ann"_s, u"--password"_s, u"secret"_s});
    VERIFY_WRITTEN(page);
    QCOMPARE(page.pdf().text(), u"styled"_s);
}

void ConvertStdinTest::smallTextInPictures()
{
    m_engine.write(u"a.svg"_s, "<svg xmlns='http://www.w3.org/2000/svg' width='300' height='50'>"
                               "<text y='30' font-size='5'>small</text></svg>");
    const Conversion page = given("<p>text<p><img src=a.svg>", {u"--minimum-font-size"_s, u"18"_s});
    VERIFY_WRITTEN(page);
    const QList<double> sizes = page.pdf().fontSizes();
    QVERIFY(!sizes.isEmpty() && *std::min_element(sizes.begin(), sizes.end()) > 17.5);
}

void ConvertStdinTest::thePageReloadsItself()
{
    for (const QString &base : {u"."_s, u"http://127.0.0.1:1/"_s}) {
        const Conversion page =
            given("<p><script>if(!name){name='again';setTimeout(()=>location.reload(),100)}"
                  "document.querySelector('p').append(name || 'first')</script>",
                  {u"--base-url"_s, base});
        VERIFY_WRITTEN(page);
        QCOMPARE(page.pdf().text(), u"again"_s);
    }
}

void ConvertStdinTest::aLargeDocument()
{
    const QByteArray comment = "<!--" + QByteArray(1 << 20, 'x') + "-->\n";
    const Conversion page = given("<p>large" + comment.repeated(40));
    VERIFY_WRITTEN(page);
    QCOMPARE(page.pdf().text(), u"large"_s);
}

void ConvertStdinTest::whatCannotBeRead_data()
{
    QTest::addColumn<QString>("redirection");
    QTest::addColumn<QByteArray>("reason");
    QTest::newRow("nothing") << u"</dev/null"_s << QByteArray("is empty");
    QTest::newRow("closed") << u"<&-"_s << QByteArray("is empty");
    QTest::newRow("a folder") << u"<."_s << QByteArray("Is a directory");
    QTest::newRow("open for writing") << u"0>written"_s << QByteArray("cannot be read: Bad file descriptor");
    QTest::newRow("without end") << u"</dev/zero"_s << QByteArray("more than 64 MiB");
}

void ConvertStdinTest::whatCannotBeRead()
{
    QFETCH(QString, redirection);
    QFETCH(QByteArray, reason);
    const Conversion failed = redirected(redirection);
    VERIFY_FAILED(failed, 3);
    QVERIFY2(failed.run.errors.contains(reason), failed.run.errors.constData());
    QVERIFY(!QFile::exists(failed.output));
}

void ConvertStdinTest::basesThatAreOfNoUse_data()
{
    QTest::addColumn<QString>("base");
    QTest::newRow("a folder that is not there") << u"/nosuch/"_s;
    QTest::newRow("another scheme") << u"ftp://host/"_s;
    QTest::newRow("another machine's file") << u"file://host/a/"_s;
}

void ConvertStdinTest::basesThatAreOfNoUse()
{
    QFETCH(QString, base);
    const Conversion failed = given("<p>a", {u"--base-url"_s, base});
    VERIFY_FAILED(failed, 3);
    QVERIFY2(failed.run.errors.contains(base.toUtf8()), failed.run.errors.constData());
}

void ConvertStdinTest::oneOfSeveralInputs()
{
    m_engine.write(u"a.html"_s, "<title>A</title><h1>a</h1><a href='http://host/given#x'>to it</a>");
    m_engine.write(u"given"_s, "<title>Given</title><h1 id=x>given</h1>");
    const QString output = m_engine.freshOutput();
    const Conversion all{runProgram(u"/bin/sh"_s,
                                    {u"-c"_s, u"exec \"$@\" <given"_s, u"sh"_s, Engine::program(),
                                     u"--base-url"_s, u"http://host/given"_s, u"a.html"_s, u"-"_s, output},
                                    {m_engine.environment(), m_engine.documents()}),
                         output};
    VERIFY_WRITTEN(all);
    QCOMPARE(all.pdf().outline(), (QStringList{u"A"_s, u"-a"_s, u"Given"_s, u"-given"_s}));
    QCOMPARE(all.pdf().links(), QStringList());
    const Conversion twice{m_engine.run({u"-"_s, u"-"_s, output}), output};
    VERIFY_FAILED(twice, 1);
}

void ConvertStdinTest::aFileCanStillBeCalledDash()
{
    m_engine.write(u"-"_s, "a file");
    const Conversion file = m_engine.convert(u"./-"_s);
    VERIFY_WRITTEN(file);
    QCOMPARE(file.pdf().text(), u"a file"_s);
    const Conversion input = given("<p>no file");
    VERIFY_WRITTEN(input);
    QCOMPARE(input.pdf().text(), u"no file"_s);
}

void ConvertStdinTest::messagesAndReportNameIt()
{
    const Conversion page = given("<p>a<img src=none.png>", {u"--report"_s, u"report.json"_s});
    VERIFY_WRITTEN(page);
    QCOMPARE(page.warnings().size(), 1);
    const QJsonObject report = QJsonDocument::fromJson(contentOf(m_engine.path(u"report.json"_s))).object();
    QCOMPARE(report["input"_L1].toString(), u"-"_s);
    const Conversion late = given("<script>for(;;);</script>", {u"--timeout"_s, u"1"_s});
    VERIFY_FAILED(late, 4);
    QVERIFY2(late.run.errors.contains("standard input"), late.run.errors.constData());
}

QTEST_GUILESS_MAIN(ConvertStdinTest)
#include "tst_convertstdin.moc"
