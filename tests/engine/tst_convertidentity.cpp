#include "tests/support/engine.h"
#include "tests/support/processes.h"
#include "tests/support/silentserver.h"
#include "tests/support/webserver.h"

#include <QDateTime>
#include <QDirIterator>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

/// The fields of a line of WebServer::headers().
enum Field { Path, Cookies, Token, UserAgent, Language };

/// "path value" for each request whose field is not empty.
QStringList sent(const WebServer &server, Field field)
{
    QStringList lines;
    for (const QString &line : server.headers()) {
        const QStringList fields = line.split(u'|');
        if (!fields[field].isEmpty() && fields[field] != u"-"_s)
            lines += fields[Path] + u' ' + fields[field];
    }
    return lines;
}

/// The paths of these lines, each once.
QStringList pathsIn(const QStringList &lines)
{
    QStringList paths;
    for (const QString &line : lines)
        paths += line.section(u' ', 0, 0);
    paths.removeDuplicates();
    paths.sort();
    return paths;
}

/// A page with everything that loads something from `folder`, an address; what it loads is called NAME and
/// something.
QByteArray loadingPage(const QString &folder, const QString &name)
{
    return u"<link rel=stylesheet href=%1%2.css><img src=%1%2.svg><iframe src=%1%2.html></iframe>"
           "<script src=%1%2.js></script><script>"
           "fetch('%1%2.txt', {credentials: 'include', mode: 'no-cors'}).catch(() => 0);"
           "new Worker(URL.createObjectURL(new Blob([`fetch('%1%2-worker.txt', {credentials: 'include', "
           "mode: "
           "'no-cors'})`])));"
           "setTimeout(() => new Image().src = '%1%2-late.svg', 1000)</script>"_s.arg(folder, name)
               .toUtf8();
}

QStringList loadedPaths(const QString &name)
{
    QStringList paths;
    for (const char *end : {".css", ".svg", ".html", ".js", ".txt", "-worker.txt", "-late.svg"})
        paths += u'/' + name + QLatin1String(end);
    paths.sort();
    return paths;
}

void provide(const WebServer &server, const QString &name)
{
    for (const QString &path : loadedPaths(name))
        server.write(path.mid(1),
                     path.endsWith(u".svg"_s) ? "<svg xmlns='http://www.w3.org/2000/svg'/>" : "/**/");
}

/// The same address by the host's name, which is another host to browsers.
QString byName(const QString &address)
{
    return QString(address).replace(u"127.0.0.1"_s, u"localhost"_s);
}

} // namespace

/// What servers are told of the user and the browser.
class ConvertIdentityTest : public QObject
{
    Q_OBJECT

private slots:
    void headersGoToThePagesServer_data();
    void headersGoToThePagesServer();
    void headersDoNotFollowRedirects();
    void headersEverywhere();
    void headersReplaceTheBrowsersOwn();
    void headersOfAFile();
    void cookiesGoToThePagesServer();
    void cookiesDoNotFollowRedirects();
    void cookiesOfTheServerStandBesideThem();
    void cookiesOfDomainsAbove();
    void cookiesEverywhere();
    void badFiles_data();
    void badFiles();
    void theSecretsShowNowhere();
    void theLogOfThePipeHoldsNoSecrets();
    void theBrowserSaysWhatItIsTold();
    void theNextJobIsToldNothing();
    void cleanupTestCase();

private:
    Engine m_engine;
};

void ConvertIdentityTest::headersGoToThePagesServer_data()
{
    QTest::addColumn<bool>("byFile");
    QTest::newRow("as an argument") << false;
    QTest::newRow("in a file") << true;
}

void ConvertIdentityTest::headersGoToThePagesServer()
{
    QFETCH(bool, byFile);
    const WebServer named("");
    const WebServer other("");
    provide(named, u"own"_s);
    provide(other, u"far"_s);
    provide(other, u"near"_s);
    named.write(u"page.html"_s, "<!DOCTYPE html>" + loadingPage(named.address(u"/"_s), u"own"_s) +
                                    loadingPage(other.address(u"/"_s), u"near"_s) +
                                    loadingPage(byName(other.address(u"/"_s)), u"far"_s));
    const QString file = m_engine.write(u"headers.txt"_s, "\r\nX-Other: 1\r\nx-token: two: words  \r\n");
    const Conversion conversion = m_engine.convert(
        named.address(u"/page.html"_s), {u"--header"_s, byFile ? u'@' + file : u"X-Token:two: words"_s});
    VERIFY_WRITTEN(conversion);
    QCOMPARE(pathsIn(sent(named, Token)), QStringList(loadedPaths(u"own"_s) + QStringList{u"/page.html"_s}));
    for (const QString &line : sent(named, Token))
        QVERIFY2(line.endsWith(u" two: words"_s), qPrintable(line));
    QCOMPARE(sent(other, Token), QStringList());
    for (const QString &path : loadedPaths(u"near"_s) + loadedPaths(u"far"_s))
        QVERIFY2(!other.requests().filter(path).isEmpty(), qPrintable(path));
}

void ConvertIdentityTest::headersDoNotFollowRedirects()
{
    const WebServer other("");
    other.write(u"part.txt"_s, "part");
    other.write(u"page.html"_s, "<!DOCTYPE html>elsewhere");
    for (const QString &there : {other.address(u"/"_s), byName(other.address(u"/"_s))}) {
        const WebServer named("location /part { return 302 " + there.toUtf8() + "part.txt; }\n" +
                              "location /away { return 307 " + there.toUtf8() + "page.html; }\n" +
                              "location /within { return 302 /here.html; }\n");
        named.write(u"here.html"_s, "<!DOCTYPE html>here<img src=/part?1><script src=/part?2></script>");
        const Conversion within =
            m_engine.convert(named.address(u"/within"_s), {u"--header"_s, u"X-Token: secret"_s});
        VERIFY_WRITTEN(within);
        QCOMPARE(pathsIn(sent(named, Token)), (QStringList{u"/here.html"_s, u"/part"_s, u"/within"_s}));
        const Conversion away =
            m_engine.convert(named.address(u"/away"_s), {u"--header"_s, u"X-Token: secret"_s});
        VERIFY_WRITTEN(away);
        QCOMPARE(away.pdf().text(), u"elsewhere"_s);
    }
    QVERIFY(other.requests().size() >= 4);
    QCOMPARE(sent(other, Token), QStringList());
}

void ConvertIdentityTest::headersEverywhere()
{
    const WebServer named("");
    const WebServer other("");
    provide(other, u"far"_s);
    named.write(u"page.html"_s, "<!DOCTYPE html>" + loadingPage(byName(other.address(u"/"_s)), u"far"_s));
    const Conversion conversion = m_engine.convert(
        named.address(u"/page.html"_s), {u"--header"_s, u"X-Token: 1"_s, u"--header-everywhere"_s});
    VERIFY_WRITTEN(conversion);
    QCOMPARE(pathsIn(sent(named, Token)), QStringList{u"/page.html"_s});
    QCOMPARE(pathsIn(sent(other, Token)), loadedPaths(u"far"_s));
}

void ConvertIdentityTest::headersReplaceTheBrowsersOwn()
{
    const WebServer named("add_header Set-Cookie 'session=1';\n");
    named.write(u"page.html"_s, "<!DOCTYPE html>x<iframe src=frame.html></iframe>");
    named.write(u"frame.html"_s, "x");
    const Conversion conversion =
        m_engine.convert(named.address(u"/page.html"_s),
                         {u"--header"_s, u"user-agent: Mine"_s, u"--header"_s, u"Cookie: a=b; c=d"_s});
    VERIFY_WRITTEN(conversion);
    QCOMPARE(sent(named, UserAgent), (QStringList{u"/page.html Mine"_s, u"/frame.html Mine"_s}));
    QCOMPARE(sent(named, Cookies),
             (QStringList{u"/page.html a=b; c=d"_s, u"/frame.html a=b; c=d; session=1"_s}));
}

void ConvertIdentityTest::headersOfAFile()
{
    const WebServer other("");
    provide(other, u"far"_s);
    const QString page = m_engine.write(
        u"page.html"_s, "<!DOCTYPE html><img src=" + other.address(u"/far.svg"_s).toUtf8() + ">");
    const Conversion here = m_engine.convert(page, {u"--header"_s, u"X-Token: 1"_s});
    VERIFY_WRITTEN(here);
    QCOMPARE(sent(other, Token), QStringList());
    const Conversion everywhere =
        m_engine.convert(page, {u"--header"_s, u"X-Token: 1"_s, u"--header-everywhere"_s});
    VERIFY_WRITTEN(everywhere);
    QCOMPARE(sent(other, Token).join(u'\n'), u"/far.svg 1"_s);
}

void ConvertIdentityTest::cookiesGoToThePagesServer()
{
    const WebServer named("");
    const WebServer other("");
    provide(named, u"own"_s);
    provide(other, u"near"_s);
    provide(other, u"far"_s);
    named.write(u"page.html"_s,
                "<!DOCTYPE html><p id=p></p><script>p.textContent = document.cookie</script>" +
                    loadingPage(named.address(u"/"_s), u"own"_s) +
                    loadingPage(other.address(u"/"_s), u"near"_s) +
                    loadingPage(byName(other.address(u"/"_s)), u"far"_s));
    const QByteArray later = QByteArray::number(QDateTime::currentSecsSinceEpoch() + 3600);
    const QString jar = m_engine.write(
        u"cookies.txt"_s, "# Netscape HTTP Cookie File\n# https://curl.se/docs/http-cookies.html\n\n"
                          "127.0.0.1\tFALSE\t/\tFALSE\t0\tplain\tone\n"
                          "#HttpOnly_127.0.0.1\tFALSE\t/\tFALSE\t" +
                              later +
                              "\thidden\ttwo=2\n"
                              "127.0.0.1\tFALSE\t/\tFALSE\t1000\told\tthree\n"
                              "127.0.0.1\tFALSE\t/elsewhere/\tFALSE\t0\tdeep\tfour\n"
                              "127.0.0.1\tFALSE\t/\tTRUE\t0\tsafe\tfive\n"
                              "localhost\tTRUE\t/\tFALSE\t0\tfar\tsix\n"
                              "example.com\tTRUE\t/\tTRUE\t0\texample\tseven\n");
    const Conversion conversion = m_engine.convert(named.address(u"/page.html"_s), {u"--cookie-jar"_s, jar});
    VERIFY_WRITTEN(conversion);
    QVERIFY2(conversion.pdf().text().startsWith(u"plain=one"_s) &&
                 !conversion.pdf().text().contains(u"two"_s),
             qPrintable(conversion.pdf().text()));
    QCOMPARE(pathsIn(sent(named, Cookies)),
             QStringList(loadedPaths(u"own"_s) + QStringList{u"/page.html"_s}));
    // To browsers the loopback address is safe, even without encryption.
    for (const QString &line : sent(named, Cookies))
        QVERIFY2(line.endsWith(u" plain=one; hidden=two=2; safe=five"_s), qPrintable(line));
    for (const QString &path : loadedPaths(u"near"_s) + loadedPaths(u"far"_s))
        QVERIFY2(!other.requests().filter(path).isEmpty(), qPrintable(path));
    QCOMPARE(sent(other, Cookies), QStringList());
}

void ConvertIdentityTest::cookiesDoNotFollowRedirects()
{
    const WebServer other("");
    other.write(u"page.html"_s, "<!DOCTYPE html>elsewhere<script src=part.txt></script>");
    const QString jar = m_engine.write(u"cookies.txt"_s, "127.0.0.1\tTRUE\t/\tFALSE\t0\tplain\tone\n");
    for (const QString &there : {other.address(u"/"_s), byName(other.address(u"/"_s))}) {
        const WebServer named("location /away { return 302 " + there.toUtf8() + "page.html; }\n");
        const Conversion conversion = m_engine.convert(named.address(u"/away"_s), {u"--cookie-jar"_s, jar});
        VERIFY_WRITTEN(conversion);
        QCOMPARE(conversion.pdf().text(), u"elsewhere"_s);
        QCOMPARE(sent(named, Cookies), QStringList{u"/away plain=one"_s});
    }
    QCOMPARE(sent(other, Cookies), QStringList());
}

void ConvertIdentityTest::cookiesOfTheServerStandBesideThem()
{
    const WebServer named(
        "location /page.html { add_header Set-Cookie 'session=new'; add_header Set-Cookie 'more=1'; }\n");
    named.write(u"page.html"_s, "<!DOCTYPE html>x<iframe src=frame.html></iframe>");
    named.write(u"frame.html"_s, "x");
    const QString jar = m_engine.write(u"cookies.txt"_s, "127.0.0.1\tFALSE\t/\tFALSE\t0\tsession\told\n"
                                                         "127.0.0.1\tFALSE\t/\tFALSE\t0\tkept\t1");
    const Conversion conversion = m_engine.convert(named.address(u"/page.html"_s), {u"--cookie-jar"_s, jar});
    VERIFY_WRITTEN(conversion);
    const QStringList cookies = sent(named, Cookies);
    QCOMPARE(cookies.value(0), u"/page.html session=old; kept=1"_s);
    QCOMPARE(cookies.value(1), u"/frame.html kept=1; session=new; more=1"_s);
}

void ConvertIdentityTest::cookiesOfDomainsAbove()
{
    const WebServer server("");
    server.write(u"page.html"_s, "<!DOCTYPE html>x");
    const QString jar = m_engine.write(u"cookies.txt"_s, "localhost\tFALSE\t/\tFALSE\t0\tabove\t1\n"
                                                         ".localhost\tTRUE\t/\tFALSE\t0\tall\t2\n"
                                                         "b.localhost\tTRUE\t/\tFALSE\t0\tbeside\t3\n"
                                                         ".a.localhost\tTRUE\t/\tFALSE\t0\town\t4\n");
    const QString address = server.address(u"/page.html"_s).replace(u"127.0.0.1"_s, u"A.localhost"_s);
    const Conversion conversion = m_engine.convert(address, {u"--cookie-jar"_s, jar});
    VERIFY_WRITTEN(conversion);
    QCOMPARE(sent(server, Cookies).join(u'\n'), u"/page.html all=2; own=4"_s);
}

void ConvertIdentityTest::cookiesEverywhere()
{
    const WebServer named("");
    const WebServer other("");
    other.write(u"part.js"_s, "/**/");
    other.write(u"near.js"_s, "/**/");
    named.write(u"page.html"_s, "<!DOCTYPE html><script src=" + other.address(u"/near.js"_s).toUtf8() +
                                    "></script><iframe src=" + byName(other.address(u"/part.js"_s)).toUtf8() +
                                    "></iframe>");
    const QString jar = m_engine.write(u"cookies.txt"_s, "127.0.0.1\tFALSE\t/\tFALSE\t0\tplain\tone\n");
    const Conversion conversion =
        m_engine.convert(named.address(u"/page.html"_s), {u"--cookie-jar"_s, jar, u"--header-everywhere"_s});
    VERIFY_WRITTEN(conversion);
    QCOMPARE(sent(named, Cookies).join(u'\n'), u"/page.html plain=one"_s);
    QCOMPARE(sent(other, Cookies), QStringList{u"/near.js plain=one"_s});
}

void ConvertIdentityTest::badFiles_data()
{
    QTest::addColumn<QString>("option");
    QTest::addColumn<QByteArray>("content");
    const auto header = [](const char *name, const QByteArray &line) {
        QTest::newRow(name) << u"--header"_s << "X-A: 1\n" + line;
    };
    header("no header", "hunter2");
    header("a name with a blank", "X Token: hunter2");
    header("a header of the connection", "Host: hunter2");
    header("a control character", "X-Token: hunter2\x01");
    const auto jar = [](const char *name, const QByteArray &line) {
        QTest::newRow(name) << u"--cookie-jar"_s << "# Netscape HTTP Cookie File\n" + line;
    };
    jar("no cookie", "name=hunter2");
    jar("blanks for tabs", "127.0.0.1 FALSE / FALSE 0 name hunter2");
    jar("six fields", "127.0.0.1\tFALSE\t/\tFALSE\t0\thunter2");
    jar("eight fields", "127.0.0.1\tFALSE\t/\tFALSE\t0\tname\thunter2\tmore");
    jar("no truth", "127.0.0.1\tyes\t/\tFALSE\t0\tname\thunter2");
    jar("no time", "127.0.0.1\tFALSE\t/\tFALSE\tsoon\tname\thunter2");
    jar("no path", "127.0.0.1\tFALSE\t\tFALSE\t0\tname\thunter2");
    jar("two cookies in one", "127.0.0.1\tFALSE\t/\tFALSE\t0\tname\thunter2; b=c");
    jar("a carriage return", "127.0.0.1\tFALSE\t/\tFALSE\t0\tname\thunter2\rX: y");
}

void ConvertIdentityTest::badFiles()
{
    QFETCH(QString, option);
    QFETCH(QByteArray, content);
    const QString file = m_engine.write(u"bad.txt"_s, content);
    m_engine.setVariable(u"QUIRELLE_BROWSER"_s, u"/nowhere"_s);
    const Conversion conversion =
        m_engine.convert(u"http://127.0.0.1:1/"_s, {option, option == u"--header"_s ? u'@' + file : file});
    const Conversion missing = m_engine.convert(
        u"http://127.0.0.1:1/"_s, {option, option == u"--header"_s ? u"@nosuch.txt"_s : u"nosuch.txt"_s});
    m_engine.setVariable(u"QUIRELLE_BROWSER"_s, {});
    VERIFY_FAILED(conversion, 1);
    QVERIFY2(conversion.run.errors.contains("line 2 of the file"), conversion.run.errors.constData());
    QVERIFY2(!conversion.run.errors.contains("hunter2"), conversion.run.errors.constData());
    VERIFY_FAILED(missing, 1);
    QVERIFY2(missing.run.errors.contains("nosuch.txt"), missing.run.errors.constData());
}

void ConvertIdentityTest::theSecretsShowNowhere()
{
    Engine engine;
    const QString file = engine.write(u"headers.txt"_s, "X-File: secret-of-the-file\n");
    const QString jar =
        engine.write(u"cookies.txt"_s, "127.0.0.1\tFALSE\t/\tFALSE\t0\tname\tsecret-of-the-jar\n");
    SilentServer silent;
    const auto job =
        engine.start({u"--header"_s, u"X-Token: secret-of-the-call"_s, u"--header"_s, u'@' + file,
                      u"--cookie-jar"_s, jar, silent.address(u"/page.html"_s), engine.freshOutput()});
    const QByteArray request = silent.awaitRequest();
    for (const char *secret : {"secret-of-the-call", "secret-of-the-file", "secret-of-the-jar"})
        QVERIFY2(request.contains(secret), request.constData());
    silent.answer("HTTP/1.1 200 OK\r\nContent-Type: text/html\r\n\r\n<p>the beginning of a slow page");
    for (int look = 0; look < 20; ++look) {
        for (const ProcessInfo &process : processesMentioning("secret-of-the"))
            QFAIL(qPrintable(u"process %1 shows a secret"_s.arg(process.id)));
        QTest::qWait(25);
    }
    silent.hangUp();
    QVERIFY(job->waitForFinished(60000));
    QVERIFY(!job->readAllStandardError().contains("secret-of"));
    QCOMPARE(engine.logLines().size(), 1);
    QVERIFY(!engine.logLines().first().contains(u"secret-of"_s));
    for (const QString &folder : {engine.temporaryFolder(), engine.home()}) {
        QDirIterator files(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        while (files.hasNext())
            QVERIFY2(!contentOf(files.next()).contains("secret-of-the"), qPrintable(files.filePath()));
    }
}

void ConvertIdentityTest::theLogOfThePipeHoldsNoSecrets()
{
    const WebServer named("add_header Set-Cookie 'session=1';\n");
    named.write(u"page.html"_s, "<!DOCTYPE html>x<iframe src=frame.html></iframe>");
    named.write(u"frame.html"_s, "x");
    Engine engine;
    engine.setIdleSeconds(0);
    engine.setVariable(u"QT_LOGGING_RULES"_s, u"quirelle.pipe.debug=true"_s);
    const QString jar = engine.write(u"cookies.txt"_s, "127.0.0.1\tFALSE\t/\tFALSE\t0\tname\thunter2\n");
    const ProgramResult result =
        engine.run({u"--header"_s, u"X-Token: hunter3"_s, u"--header"_s, u"A: hunter4"_s, u"--cookie-jar"_s,
                    jar, named.address(u"/page.html"_s), engine.freshOutput()});
    QVERIFY2(result.ok(), result.errors.constData());
    QVERIFY(result.errors.contains("Network.setCookie") && result.errors.contains("Fetch.continueRequest"));
    const qsizetype place = result.errors.indexOf("hunter");
    QVERIFY2(place < 0, result.errors.mid(place - 400, 420).constData());
}

void ConvertIdentityTest::theBrowserSaysWhatItIsTold()
{
    const WebServer server("");
    const QByteArray tell =
        "[navigator.userAgent, navigator.language, navigator.languages, new Date(0).toLocaleString(), "
        "(1234.5).toLocaleString(), Intl.DateTimeFormat().resolvedOptions().timeZone].join('|')";
    server.write(u"page.html"_s,
                 "<!DOCTYPE html><p id=p></p><p id=w></p><iframe srcdoc=\"<script>document.write(" + tell +
                     ")</script>\"></iframe><script>p.textContent = " + tell +
                     ";new Worker(URL.createObjectURL(new Blob([`postMessage(" + tell +
                     ")`]))).onmessage = e => w.textContent = e.data</script>");
    const Conversion conversion = m_engine.convert(
        server.address(u"/page.html"_s),
        {u"--user-agent"_s, u"Mine/1"_s, u"--language"_s, u"de-AT, de"_s, u"--time-zone"_s, u"Asia/Tokyo"_s});
    VERIFY_WRITTEN(conversion);
    const QString told = conversion.pdf().text();
    const QString expected = u"Mine/1|de-AT|de-AT,de|1.1.1970, 09:00:00|1 234,5|Asia/Tokyo"_s;
    QVERIFY2(QString(told).remove(u' ').count(QString(expected).remove(u' ')) == 3, qPrintable(told));
    QCOMPARE(sent(server, UserAgent), QStringList{u"/page.html Mine/1"_s});
    QCOMPARE(sent(server, Language), QStringList{u"/page.html de-AT,de;q=0.9"_s});
}

void ConvertIdentityTest::theNextJobIsToldNothing()
{
    const WebServer server("");
    server.write(u"page.html"_s, "<!DOCTYPE html><p id=p></p><script>p.textContent = [navigator.userAgent, "
                                 "navigator.languages, Intl.DateTimeFormat().resolvedOptions().timeZone, "
                                 "document.cookie]</script>");
    const QString jar = m_engine.write(u"cookies.txt"_s, "127.0.0.1\tFALSE\t/\tFALSE\t0\tname\tcookie\n");
    const QString address = server.address(u"/page.html"_s);
    const Conversion before = m_engine.convert(address);
    const Conversion told =
        m_engine.convert(address, {u"--user-agent"_s, u"Mine/1"_s, u"--language"_s, u"sv"_s, u"--time-zone"_s,
                                   u"Asia/Tokyo"_s, u"--header"_s, u"X-Token: 1"_s, u"--cookie-jar"_s, jar});
    const Conversion after = m_engine.convert(address);
    VERIFY_WRITTEN(told);
    QCOMPARE(told.pdf().text(), u"Mine/1,sv,Asia/Tokyo,name=cookie"_s);
    QCOMPARE(after.pdf().text(), before.pdf().text());
    QCOMPARE(sent(server, Token).size(), 1);
    QCOMPARE(sent(server, Cookies).size(), 1);
}

void ConvertIdentityTest::cleanupTestCase()
{
    QCOMPARE(m_engine.leftBehind(), QString());
}

QTEST_GUILESS_MAIN(ConvertIdentityTest)
#include "tst_convertidentity.moc"
