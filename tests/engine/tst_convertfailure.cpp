#include "tests/support/engine.h"
#include "tests/support/silentserver.h"

#include <QDir>
#include <QFile>
#include <QTest>
#include <QUrl>

#include <sys/stat.h>

#include <unistd.h>

using namespace Qt::StringLiterals;

/// Every way to fail: its exit code, its one line, its line in the log, and an output left as it was.
class ConvertFailureTest : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void helpAndVersion();
    void badArguments_data();
    void badArguments();
    void namesThatAreNoText_data();
    void namesThatAreNoText();
    void noBrowser_data();
    void noBrowser();
    void anIncompleteInstallation_data();
    void anIncompleteInstallation();
    void rootNeedsLeave();
    void notLoaded_data();
    void notLoaded();
    void anAnswerThatBreaksOff();
    void tooFewDescriptors();
    void outOfTime_data();
    void outOfTime();
    void tooMuchMemory_data();
    void tooMuchMemory();
    void tooLargeAPdf();
    void notWritten_data();
    void notWritten();
    void whatIsNoFileIsNotReplaced();
    void theOutputIsLookedAtBeforeThePage();
    void anOlderOutputStaysWhenTheJobFails();
    void theLogHasOneLineAJob();
    void theLogHasTheReasonAfterLongNames();
    void theLogHoldsNoSecrets();
    void theLogCannotBeForged();
    void theExitCodeHoldsWithoutADescriptorForTheMessage();
    void cleanup();

private:
    std::unique_ptr<Engine> m_engine;
};

void ConvertFailureTest::init()
{
    m_engine = std::make_unique<Engine>();
}

void ConvertFailureTest::cleanup()
{
    QCOMPARE(m_engine->leftBehind(), QString());
}

void ConvertFailureTest::helpAndVersion()
{
    const ProgramResult help = m_engine->run({u"--help"_s});
    QCOMPARE(help.exitCode, 0);
    QVERIFY(help.output.startsWith("Usage: quirelle "));
    QVERIFY(help.errors.isEmpty());
    const ProgramResult version = m_engine->run({u"--version"_s});
    QCOMPARE(version.exitCode, 0);
    QVERIFY(QRegularExpression(u"^quirelle \\d+\\.\\d+\\.\\d+\\n$"_s)
                .match(QString::fromUtf8(version.output))
                .hasMatch());
    QVERIFY(version.errors.isEmpty());
}

void ConvertFailureTest::badArguments_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("none") << QStringList();
    QTest::newRow("an unknown option") << QStringList{u"--margin"_s, u"in.html"_s, u"out.pdf"_s};
    QTest::newRow("a missing value") << QStringList{u"in.html"_s, u"out.pdf"_s, u"--copies"_s};
    QTest::newRow("a bad number") << QStringList{u"--copies"_s, u"two"_s, u"in.html"_s, u"out.pdf"_s};
    QTest::newRow("one name") << QStringList{u"in.html"_s};
    QTest::newRow("a list without an output") << QStringList{u"--input-list"_s, u"list"_s};
}

void ConvertFailureTest::badArguments()
{
    QFETCH(QStringList, arguments);
    m_engine->write(u"in.html"_s, "x");
    // Starting a browser would fail, as this one does not exist.
    m_engine->setVariable(u"QUIRELLE_BROWSER"_s, u"/no/such/browser"_s);
    const Conversion conversion{m_engine->run(arguments), m_engine->path(u"out.pdf"_s)};
    VERIFY_FAILED(conversion, 1);
    QVERIFY(!QFile::exists(conversion.output));
    QCOMPARE(m_engine->logLines().size(), 1);
}

void ConvertFailureTest::namesThatAreNoText_data()
{
    QTest::addColumn<QString>("arguments"); // of a shell
    QTest::newRow("input") << uR"~("$(printf 'caf\351.html')" out.pdf)~"_s;
    QTest::newRow("output") << uR"~(in.html "$(printf 'caf\351.pdf')")~"_s;
    QTest::newRow("title") << uR"~(--title "$(printf 'caf\351')" in.html out.pdf)~"_s;
}

void ConvertFailureTest::namesThatAreNoText()
{
    QFETCH(QString, arguments);
    m_engine->write(u"in.html"_s, "<p>x");
    QProcess shell;
    shell.setProcessEnvironment(m_engine->environment());
    shell.setWorkingDirectory(m_engine->documents());
    shell.start(u"sh"_s, {u"-c"_s, u"exec \"$0\" "_s + arguments, Engine::program()});
    QVERIFY(shell.waitForFinished());
    QCOMPARE(shell.exitCode(), 1);
    QVERIFY(shell.readAllStandardError().contains(" is not text in UTF-8"));
    QCOMPARE(QDir(m_engine->documents()).entryList(QDir::Files), QStringList{u"in.html"_s});
}

void ConvertFailureTest::noBrowser_data()
{
    QTest::addColumn<QString>("browser");
    QTest::addColumn<QString>("named");
    QTest::newRow("nothing there") << u"/no/such/browser"_s << u"/no/such/browser"_s;
    QTest::newRow("a program that ends at once") << u"/bin/false"_s << u"cannot start"_s;
    QTest::newRow("a program that complains") << u"complains"_s << u"no good reason"_s;
    QTest::newRow("no program format") << u"nonsense"_s << u"cannot start"_s;
    QTest::newRow("none on the path") << QString() << u"chromium-headless-shell"_s;
}

void ConvertFailureTest::noBrowser()
{
    QFETCH(QString, browser);
    QFETCH(QString, named);
    const auto program = [&](const char *name, const QByteArray &content) {
        const QString path = m_engine->write(QLatin1String(name), content);
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    };
    program("complains", "#!/bin/sh\necho first >&2\necho no good reason >&2\nexit 1\n");
    program("nonsense", "\x7f"
                        "ELF nonsense");
    if (browser.isNull())
        m_engine->setVariable(u"PATH"_s, m_engine->documents());
    else if (!browser.startsWith(u'/'))
        browser = m_engine->path(browser);
    m_engine->setVariable(u"QUIRELLE_BROWSER"_s, browser);
    const Conversion conversion = m_engine->convertText("x", {u"--timeout"_s, u"20"_s});
    VERIFY_FAILED(conversion, 2);
    QVERIFY2(conversion.run.errors.contains(named.toUtf8()), conversion.run.errors.constData());
    QVERIFY(!QFile::exists(conversion.output));
}

void ConvertFailureTest::anIncompleteInstallation_data()
{
    QTest::addColumn<QStringList>("there");
    QTest::addColumn<QByteArray>("missing");
    QTest::newRow("the program alone") << QStringList() << QByteArray("quirelle-engine");
    QTest::newRow("no module for PDFs") << QStringList{u"quirelle-engine.so"_s} << QByteArray("quirelle-pdf");
}

void ConvertFailureTest::anIncompleteInstallation()
{
    QFETCH(QStringList, there);
    QFETCH(QByteArray, missing);
    const QString alone = m_engine->path(u"alone"_s);
    QVERIFY(QFile::copy(Engine::program(), alone));
    for (const QString &module : there)
        QVERIFY(QFile::copy(QFileInfo(Engine::program()).path() + u'/' + module, m_engine->path(module)));
    ProgramOptions options;
    options.environment = m_engine->environment();
    const QString output = m_engine->freshOutput();
    const ProgramResult result = runProgram(alone, {m_engine->write(u"page.html"_s, "x"), output}, options);
    QCOMPARE(result.exitCode, 6);
    QVERIFY2(result.errors.contains("the installation is incomplete"), result.errors.constData());
    QVERIFY2(result.errors.contains(missing), result.errors.constData());
    QVERIFY(!QFile::exists(output));
}

void ConvertFailureTest::rootNeedsLeave()
{
    if (::geteuid() != 0)
        QSKIP("needs root");
    m_engine->setVariable(u"QUIRELLE_NO_SANDBOX"_s, {});
    const Conversion conversion = m_engine->convertText("x");
    VERIFY_FAILED(conversion, 2);
    QVERIFY(conversion.run.errors.contains("QUIRELLE_NO_SANDBOX=1"));
}

void ConvertFailureTest::notLoaded_data()
{
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("named");
    QTest::newRow("a missing file") << u"/no/such/file.html"_s << u"no file"_s;
    QTest::newRow("a missing file by its address") << u"file:///no/such/file.html"_s << u"no such file"_s;
    QTest::newRow("neither file nor host") << u"no-such-file.html"_s << u"no such file"_s;
    QTest::newRow("a folder") << u"folder"_s << u"folder"_s;
    QTest::newRow("a folder by its address") << u"file:"_s << u"folder"_s;
    QTest::newRow("an archive") << u"archive.zip"_s << u"download"_s;
    QTest::newRow("a PDF") << u"document.pdf"_s << u"download"_s;
    QTest::newRow("a script address") << u"javascript:alert(1)"_s << u"http, https and file"_s;
    QTest::newRow("the browser's own page") << u"chrome://version"_s << u"http, https and file"_s;
    QTest::newRow("no host") << u"http://"_s << u"not a valid address"_s;
    QTest::newRow("a blank") << u" "_s << u""_s;
    QTest::newRow("a bad port") << u"http://127.0.0.1:99999/"_s << u"not a valid address"_s;
    QTest::newRow("a host that does not exist") << u"http://host.invalid/"_s << u"host"_s;
    QTest::newRow("nobody listening") << u"refused"_s << u"refused"_s;
    QTest::newRow("no web server") << u"garbage"_s << u"ERR_"_s;
    QTest::newRow("a port for something else") << u"http://127.0.0.1:6000/"_s << u"port"_s;
}

void ConvertFailureTest::notLoaded()
{
    QFETCH(QString, input);
    QFETCH(QString, named);
    m_engine->write(u"archive.zip"_s, QByteArray("PK\x05\x06").leftJustified(22, '\0'));
    m_engine->write(u"document.pdf"_s, "%PDF-1.4\n%%EOF\n");
    m_engine->write(u"folder/index.html"_s, "x");
    std::unique_ptr<QProcess> process;
    SilentServer server;
    if (input == u"file:"_s)
        input = QUrl::fromLocalFile(m_engine->path(u"folder"_s)).toString() + u'/';
    if (input == u"refused"_s)
        input = u"http://127.0.0.1:%1/"_s.arg(freePort());
    Conversion conversion{{}, m_engine->freshOutput()};
    if (input == u"garbage"_s) {
        input = server.address();
        process = m_engine->start({input, conversion.output});
        QVERIFY(!server.awaitRequest().isNull());
        server.answer("220 mail.example ESMTP\r\n");
        server.hangUp();
        QVERIFY(process->waitForFinished(40000));
        conversion.run.exitCode = process->exitCode();
        conversion.run.errors = process->readAllStandardError();
        // Before HTTP 1.0 an answer had no head: the browser may take it as a page only on the usual port.
    } else {
        conversion.run = m_engine->run({input, conversion.output});
    }
    VERIFY_FAILED(conversion, 3);
    QVERIFY2(conversion.run.errors.contains(named.toUtf8()), conversion.run.errors.constData());
    QVERIFY(!QFile::exists(conversion.output));
    QCOMPARE(m_engine->logLines().size(), 1);
    QVERIFY(m_engine->logLines()[0].contains(u" 3 "_s));
}

void ConvertFailureTest::anAnswerThatBreaksOff()
{
    SilentServer server;
    const QString output = m_engine->freshOutput();
    const auto job = m_engine->start({server.address(), output});
    QVERIFY(!server.awaitRequest().isNull());
    server.answer("HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nContent-Length: 5000\r\n\r\n<p>begun");
    server.hangUp();
    QVERIFY(job->waitForFinished(20000));
    const Conversion conversion{{job->exitCode(), false, {}, job->readAllStandardError(), {}}, output};
    VERIFY_FAILED(conversion, 3);
    QVERIFY2(conversion.run.errors.contains("less than it announced"), conversion.run.errors.constData());
    QVERIFY(!QFile::exists(output));
}

void ConvertFailureTest::tooFewDescriptors()
{
    const QString page = m_engine->write(u"page.html"_s, "x");
    const QString output = m_engine->freshOutput();
    const auto limited = [&](const QString &limit) {
        return Conversion{runProgram(u"/bin/sh"_s,
                                     {u"-c"_s, u"ulimit %1; exec \"$@\""_s.arg(limit), u"sh"_s,
                                      Engine::program(), page, output},
                                     {m_engine->environment(), m_engine->documents()}),
                          output};
    };
    const Conversion refused = limited(u"-n 64"_s);
    VERIFY_FAILED(refused, 2);
    QVERIFY2(refused.run.errors.contains("file descriptors"), refused.run.errors.constData());
    // One that can be raised is.
    VERIFY_WRITTEN(limited(u"-S -n 64"_s));
    // The limit must not apply to other jobs of a server.
    VERIFY_WRITTEN(m_engine->convertText("x"));
}

void ConvertFailureTest::outOfTime_data()
{
    QTest::addColumn<QString>("kind");
    for (const char *kind : {"a server that does not answer", "a server that stops in the middle",
                             "a script without end", "a browser that says nothing", "hardly any time"})
        QTest::newRow(kind) << QString(QLatin1String(kind));
}

void ConvertFailureTest::outOfTime()
{
    QFETCH(QString, kind);
    const SilentServer server;
    QString input = server.address();
    QString seconds = u"1"_s;
    if (kind == u"a script without end"_s) {
        input = m_engine->write(u"endless.html"_s, "<script>while(true);</script>");
    } else if (kind == u"a server that stops in the middle"_s) {
        input = m_engine->write(u"waiting.html"_s, "<img src='" + server.address().toLatin1() + "'>");
    } else if (kind == u"a browser that says nothing"_s) {
        const QString path = m_engine->write(u"mute"_s, "#!/bin/sh\nexec sleep 1000\n");
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        m_engine->setVariable(u"QUIRELLE_BROWSER"_s, path);
    } else if (kind == u"hardly any time"_s) {
        seconds = u"0.001"_s;
    }
    const QString output = m_engine->freshOutput();
    const Conversion conversion{m_engine->run({u"--timeout"_s, seconds, input, output}), output};
    VERIFY_FAILED(conversion, 4);
    QVERIFY2(conversion.run.errors.contains("time"), conversion.run.errors.constData());
    // Its bound and what it takes to clear up on a busy machine; far less than the half minute for pages.
    QVERIFY2(conversion.run.time < std::chrono::seconds(14),
             qPrintable(QString::number(conversion.run.time.count())));
    QVERIFY(!QFile::exists(output));
}

void ConvertFailureTest::tooMuchMemory_data()
{
    QTest::addColumn<QByteArray>("html");
    QTest::newRow("bit by bit") << QByteArray(
        "<script>window.a=[];setInterval(()=>{a.push(new Uint8Array(9<<20).fill(1))},1)</script>");
    QTest::newRow("at once") << QByteArray(
        "<script>window.a=[];for(;;)a.push(new Uint8Array(9<<20).fill(1))</script>");
    QTest::newRow("in a frame") << QByteArray(
        "<iframe srcdoc='<script>window.a=[];for(;;)"
        "a.push(new Array(9999).fill(a.length+.5))</script>'></iframe>");
}

void ConvertFailureTest::tooMuchMemory()
{
    QFETCH(QByteArray, html);
    const Conversion conversion = m_engine->convertText(html, {u"--max-memory"_s, u"300"_s});
    VERIFY_FAILED(conversion, 6);
    QVERIFY2(conversion.run.errors.contains("300 MiB") && conversion.run.errors.contains("--max-memory"),
             conversion.run.errors.constData());
    QVERIFY(!QFile::exists(conversion.output));
    // The bound is for each job alone.
    VERIFY_WRITTEN(m_engine->convertText("<script>new Uint8Array(330<<20).fill(1)</script>x"));
}

void ConvertFailureTest::tooLargeAPdf()
{
    // Noise cannot be compressed: 4 bytes a dot are drawn, 3 are kept.
    const QByteArray html =
        "<canvas id=c width=1000 height=600></canvas><script>const g=c.getContext('2d'),"
        "d=g.createImageData(1000,600),w=new Uint32Array(d.data.buffer);let x=1;"
        "for(let i=0;i<w.length;i++){x=Math.imul(x,1664525)+1013904223;w[i]=x>>>8|255<<24}"
        "g.putImageData(d,0,0)</script>";
    const Conversion refused = m_engine->convertText(html, {u"--max-output"_s, u"1"_s});
    VERIFY_FAILED(refused, 5);
    QVERIFY2(refused.run.errors.contains("larger than 1 MiB") && refused.run.errors.contains("--max-output"),
             refused.run.errors.constData());
    QVERIFY(!QFile::exists(refused.output));
    const Conversion written = m_engine->convertText(html, {u"--max-output"_s, u"2"_s});
    VERIFY_WRITTEN(written);
    QVERIFY2(written.pdf().size() > 1 << 20, qPrintable(QString::number(written.pdf().size())));
}

void ConvertFailureTest::notWritten_data()
{
    QTest::addColumn<QString>("output");
    QTest::newRow("a missing folder") << u"missing/out.pdf"_s;
    QTest::newRow("a folder") << u"folder"_s;
    QTest::newRow("a folder to be") << u"new/"_s;
    QTest::newRow("below a file") << u"in.html/out.pdf"_s;
    QTest::newRow("too long a name") << QString(QString(300, u'n') + u".pdf"_s);
    QTest::newRow("a folder of the system") << u"/proc/out.pdf"_s;
}

void ConvertFailureTest::notWritten()
{
    QFETCH(QString, output);
    m_engine->makeFolder(u"folder"_s);
    m_engine->write(u"in.html"_s, "x");
    const QStringList before = QDir(m_engine->documents()).entryList();
    const Conversion conversion{m_engine->run({u"in.html"_s, output}), output};
    VERIFY_FAILED(conversion, 5);
    QVERIFY2(conversion.run.errors.contains("cannot be written"), conversion.run.errors.constData());
    QVERIFY2(!conversion.run.errors.contains("Unknown error"), conversion.run.errors.constData());
    QCOMPARE(QDir(m_engine->documents()).entryList(), before);
}

void ConvertFailureTest::whatIsNoFileIsNotReplaced()
{
    // Stands for every special file: as root, /dev/null as well.
    const QByteArray path = QFile::encodeName(m_engine->path(u"pipe"_s));
    QCOMPARE(::mkfifo(path.constData(), 0600), 0);
    const QString page = m_engine->write(u"in.html"_s, "x");
    const Conversion conversion{m_engine->run({page, m_engine->path(u"pipe"_s)}), m_engine->path(u"pipe"_s)};
    struct stat info {
    };
    QCOMPARE(::lstat(path.constData(), &info), 0);
    QVERIFY(S_ISFIFO(info.st_mode));
    VERIFY_FAILED(conversion, 5);
}

void ConvertFailureTest::theOutputIsLookedAtBeforeThePage()
{
    SilentServer server;
    const Conversion conversion{m_engine->run({server.address(), u"missing/out.pdf"_s}),
                                u"missing/out.pdf"_s};
    VERIFY_FAILED(conversion, 5);
    QVERIFY(!server.isConnectedTo());
}

void ConvertFailureTest::anOlderOutputStaysWhenTheJobFails()
{
    const QString output = m_engine->write(u"older.pdf"_s, "older");
    const QString page = m_engine->write(u"in.html"_s, "x");
    const SilentServer server;
    for (const QStringList &options :
         {QStringList{u"--copies"_s, u"none"_s, page}, QStringList{u"/no/such/file.html"_s},
          QStringList{u"--timeout"_s, u"1"_s, server.address()},
          QStringList{u"http://127.0.0.1:%1/"_s.arg(freePort())}}) {
        QVERIFY(m_engine->run(options + QStringList{output}).exitCode > 0);
        QCOMPARE(contentOf(output), QByteArray("older"));
    }
    const ProgramResult result = m_engine->run({page, output});
    QCOMPARE(result.exitCode, 0);
    QVERIFY(contentOf(output).startsWith("%PDF"));
}

void ConvertFailureTest::theLogHasOneLineAJob()
{
    const Conversion written = m_engine->convertText("x");
    VERIFY_WRITTEN(written);
    m_engine->convert(u"/no/such/file.html"_s);
    m_engine->run({u"--nonsense"_s});
    m_engine->run({u"--help"_s});
    m_engine->run({u"--version"_s});
    const QStringList lines = m_engine->logLines();
    QCOMPARE(lines.size(), 3);
    QVERIFY2(lines[0].contains(u" 0 "_s) && lines[0].contains(written.output) &&
                 lines[0].contains(u"%1 bytes"_s.arg(written.pdf().size())),
             qPrintable(lines[0]));
    QVERIFY2(lines[1].contains(u" 3 "_s) && lines[1].contains(u"/no/such/file.html"_s), qPrintable(lines[1]));
    QVERIFY2(lines[2].contains(u" 1 "_s) && lines[2].contains(u"--nonsense"_s), qPrintable(lines[2]));
}

void ConvertFailureTest::theLogHasTheReasonAfterLongNames()
{
    m_engine->run({u"http://127.0.0.1:%1/"_s.arg(freePort()) + QString(900, u'x'), m_engine->freshOutput()});
    const QStringList lines = m_engine->logLines();
    QCOMPARE(lines.size(), 1);
    QVERIFY2(lines[0].contains(u"ERR_CONNECTION_REFUSED"_s), qPrintable(lines[0]));
    QVERIFY(lines[0].size() < 2100);
}

void ConvertFailureTest::theLogHoldsNoSecrets()
{
    const QString host = u"127.0.0.1:%1"_s.arg(freePort());
    const QString output = m_engine->freshOutput();
    const QList<QStringList> commands{
        {u"http://user:hunter2@"_s + host + u"/page"_s, output},
        {u"user:hunter2@"_s + host, output},
        {u"http://hunter2@"_s + host, output},
        {u"--username"_s, u"hunter2"_s, u"--password"_s, u"hunter2"_s, u"http://"_s + host, output},
        {u"-p"_s, u"http://user:hunter2@"_s + host, u"http://host.invalid/"_s, output},
        {u"-p"_s, u"user:hunter2@"_s + host, u"http://host.invalid/"_s, output},
        {u"--password"_s, u"hunter2"_s, u"--copies"_s, u"x"_s, u"in"_s, output},
        {u"in"_s, output, u"--password"_s},
    };
    QByteArray said;
    for (const QStringList &command : commands) {
        const ProgramResult result = m_engine->run(QStringList{u"--timeout"_s, u"20"_s} + command);
        QVERIFY(result.exitCode > 0);
        said += result.output + result.errors;
    }
    QCOMPARE(m_engine->logLines().size(), commands.size());
    QVERIFY2(!said.contains("hunter2"), said.constData());
    QVERIFY2(!contentOf(m_engine->logPath()).contains("hunter2"), contentOf(m_engine->logPath()).constData());
    struct stat info {
    };
    QCOMPARE(::stat(QFile::encodeName(m_engine->logPath()).constData(), &info), 0);
    QCOMPARE(info.st_mode & 077, 0U);
}

void ConvertFailureTest::theLogCannotBeForged()
{
    const QString forged = u"\n2026-01-01T00:00:00.000 0 forged"_s;
    const QString page = m_engine->write(u"in\n0 forged.html"_s, "x");
    m_engine->run({u"http://127.0.0.1:%1/%2"_s.arg(freePort()).arg(forged), m_engine->freshOutput()});
    m_engine->run({u"/no/such"_s + forged, m_engine->freshOutput()});
    m_engine->run({page, m_engine->freshOutput()});
    m_engine->run({page, m_engine->path(u"missing"_s + forged + u"/out.pdf"_s)});
    m_engine->run({u"--title"_s, forged, page, m_engine->freshOutput()});
    m_engine->run({u"--copies"_s, forged, page, m_engine->freshOutput()});
    const QStringList lines = m_engine->logLines();
    QCOMPARE(lines.size(), 6);
    for (const QString &line : lines)
        QVERIFY2(!line.startsWith(u"2026-01-01"_s) && !line.startsWith(u"0 "_s), qPrintable(line));
}

void ConvertFailureTest::theExitCodeHoldsWithoutADescriptorForTheMessage()
{
    const QString page = m_engine->write(u"in.html"_s, "x");
    const QString output = m_engine->freshOutput();
    ProgramOptions options;
    options.environment = m_engine->environment();
    // Without any of the three usual descriptors, as some callers leave it.
    const ProgramResult closed = runProgram(
        u"/bin/sh"_s, {u"-c"_s, u"exec \"$@\" <&- >&- 2>&-"_s, u"sh"_s, Engine::program(), page, output},
        options);
    QCOMPARE(closed.exitCode, 0);
    QCOMPARE(PdfFile(output).complaint(), QString());
    QCOMPARE(PdfFile(output).text(), u"x"_s);
    const ProgramResult full =
        runProgram(u"/bin/sh"_s,
                   {u"-c"_s, u"exec \"$@\" >/dev/full"_s, u"sh"_s, Engine::program(), u"--help"_s}, options);
    QCOMPARE(full.exitCode, 5);
}

QTEST_GUILESS_MAIN(ConvertFailureTest)
#include "tst_convertfailure.moc"
