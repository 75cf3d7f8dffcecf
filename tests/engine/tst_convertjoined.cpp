#include "tests/support/engine.h"
#include "tests/support/silentserver.h"
#include "tests/support/stress.h"
#include "tests/support/waiting.h"
#include "tests/support/webserver.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTest>

#include <csignal>

using namespace Qt::StringLiterals;

/// Several inputs, one PDF.
class ConvertJoinedTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_engine = std::make_unique<Engine>(); }
    void cleanup() { QCOMPARE(m_engine->leftBehind(), QString()); }

    void documentsStandInOrderWithTheirBookmarks();
    void linksBetweenFilesAndTheWeb();
    void scriptsDoNotNotice();
    void tagsAndLanguagesStay();
    void papersAndUntaggedDocuments();
    void optionsHoldForEachAndForTheWhole();
    void theSameInputTwice();
    void aListOfInputs();
    void aListFromStandardInput();
    void listsThatAreOfNoUse_data();
    void listsThatAreOfNoUse();
    void manyInputs();
    void anInputThatFailsIsNamed();
    void anInputThatFailsEndsTheOthers();
    void warningsNameTheirInput();
    void strictHoldsForEach();
    void theReportHasEveryInput();
    void theLogHasOneLine();
    void eachInputHasItsOwnTime();
    void anInputIsNotOverwritten();
    void aPdfThatIsTooLarge();
    void nothingIsLeftWhenTheEngineIsStopped_data();
    void nothingIsLeftWhenTheEngineIsStopped();
    void theSameBytesAtTheSameTime();
    void toStandardOutput();

private:
    Conversion join(const QStringList &inputs, const QStringList &options = {})
    {
        const QString output = m_engine->freshOutput();
        return {m_engine->run(options + inputs + QStringList{output}), output};
    }
    QStringList pages(int count, const QByteArray &content = {});
    /// The engine as a shell runs it with this redirection.
    ProgramResult redirected(const QString &redirection, const QStringList &arguments) const
    {
        return runProgram(u"/bin/sh"_s,
                          QStringList{u"-c"_s, u"exec \"$@\" "_s + redirection, u"sh"_s, Engine::program()} +
                              arguments,
                          {m_engine->environment(), m_engine->documents()});
    }

    std::unique_ptr<Engine> m_engine;
};

namespace
{

QByteArray document(const QByteArray &title, const QByteArray &body, const QByteArray &language = "en")
{
    return "<!DOCTYPE html><html lang=" + language + "><meta charset=utf-8><title>" + title + "</title>" +
           body;
}

/// "1: x%20y" for a destination on the first page, in the order of pages.
QStringList destinations(const QString &pdf)
{
    const ProgramResult listed = runProgram(u"pdfinfo"_s, {u"-dests"_s, pdf});
    static const QRegularExpression line(u"^ *(\\d+) \\[.*\\] \"(?:\\d+):(.*)\"$"_s);
    QStringList found;
    for (const QString &text : QString::fromUtf8(listed.output).split(u'\n')) {
        if (const auto match = line.match(text); match.hasMatch())
            found += match.captured(1) + u": "_s + match.captured(2);
    }
    return found;
}

} // namespace

QStringList ConvertJoinedTest::pages(int count, const QByteArray &content)
{
    QStringList names;
    for (int i = 1; i <= count; ++i) {
        names += u"page-%1.html"_s.arg(i);
        m_engine->write(names.last(), document("Page " + QByteArray::number(i),
                                               "<h1>Heading " + QByteArray::number(i) + "</h1>" + content));
    }
    return names;
}

void ConvertJoinedTest::documentsStandInOrderWithTheirBookmarks()
{
    m_engine->write(u"one.html"_s, document("Eins (1)", "<h1>A</h1>a<h2>B</h2>b", "de"));
    m_engine->write(u"two.html"_s, "<p>no title");
    m_engine->write(u"three.html"_s, document("三", "<h1>Γ</h1>c"));
    m_engine->write(u"picture.svg"_s, "<svg xmlns='http://www.w3.org/2000/svg' width='9' height='9'/>");
    const Conversion all = join({u"one.html"_s, u"two.html"_s, u"three.html"_s, u"picture.svg"_s});
    VERIFY_WRITTEN(all);
    QCOMPARE(all.pdf().pages(), 4);
    QCOMPARE(all.pdf().outline(), (QStringList{u"Eins (1)"_s, u"-A"_s, u"--B"_s, u"two.html"_s, u"三"_s,
                                               u"-Γ"_s, u"picture.svg"_s}));
    QCOMPARE(all.pdf().text(1), u"A a B b"_s);
    QCOMPARE(all.pdf().text(2), u"no title"_s);
    // What one document has.
    QCOMPARE(all.pdf().documentTitle(), u"Eins (1)"_s);
    QCOMPARE(all.pdf().metadataTitle(), u"Eins (1)"_s);
    QCOMPARE(all.pdf().catalogue()["/Lang"_L1].toString(), u"u:de"_s);
    QVERIFY(all.pdf().catalogue()["/ViewerPreferences"_L1]["/DisplayDocTitle"_L1].toBool());
    QVERIFY(all.pdf().usesObjectStreams());
}

void ConvertJoinedTest::linksBetweenFilesAndTheWeb()
{
    const WebServer server("location = /old.html { return 301 /web.html; }");
    server.write(u"web.html"_s,
                 document("Web", "<h1>W</h1><a href='#part'>in</a> <a href='/none.html'>out</a>"
                                 "<p style='break-before:page' id=part>part</p>"));
    m_engine->write(u"a.html"_s, document("A", "<a href='b.html#far away'>to b</a> <a href='" +
                                                   server.address(u"/old.html#part"_s).toUtf8() +
                                                   "'>to the web</a> <a href='other.html'>out</a>"));
    m_engine->write(u"b.html"_s, document("B", "<a href='a.html'>to a</a> <a href='a.html#none'>to a</a>"
                                               "<p id='far away' style='break-before:page'>far</p>"));
    const Conversion all = join({u"a.html"_s, u"b.html"_s, server.address(u"/old.html"_s)});
    VERIFY_WRITTEN(all);
    QCOMPARE(all.pdf().pages(), 5);
    QCOMPARE(destinations(all.output),
             (QStringList{u"1: "_s, u"1: none"_s, u"3: far%20away"_s, u"5: part"_s}));
    const QStringList links = all.pdf().links();
    QCOMPARE(links.size(), 2);
    QVERIFY2(links.join(u' ').contains(u"none.html"_s) && links.join(u' ').contains(u"other.html"_s),
             qPrintable(links.join(u' ')));
    // Also when links out of the whole are not wanted.
    const Conversion inner =
        join({u"a.html"_s, u"b.html"_s, server.address(u"/old.html"_s)}, {u"--disable-external-links"_s});
    VERIFY_WRITTEN(inner);
    QCOMPARE(destinations(inner.output), destinations(all.output));
    QCOMPARE(inner.pdf().links(), QStringList());
}

void ConvertJoinedTest::scriptsDoNotNotice()
{
    // The page is changed by whatever changes it, but for its own handler of the print.
    m_engine->write(u"a.html"_s,
                    document("A", "<p id=x>text</p><script>"
                                  "new MutationObserver(()=>{document.body.textContent='changed'})"
                                  ".observe(document,{childList:true,subtree:true});"
                                  "addEventListener('beforeprint',()=>{document.querySelector('p')"
                                  ".firstChild.data='printed'})</script>"));
    m_engine->write(u"b.html"_s, document("B", "<a href=a.html#x>to a</a>"));
    const Conversion alone = join({u"a.html"_s});
    const Conversion all = join({u"a.html"_s, u"b.html"_s});
    VERIFY_WRITTEN(alone);
    VERIFY_WRITTEN(all);
    QCOMPARE(alone.pdf().text(), u"printed"_s);
    QCOMPARE(all.pdf().text(1), u"printed"_s);
    QCOMPARE(destinations(all.output), QStringList{u"1: x"_s});
}

void ConvertJoinedTest::tagsAndLanguagesStay()
{
    const QByteArray table = "<table><tr><th>a<th>b<tr><td>1<td>2</table>";
    m_engine->write(u"a.html"_s, document("A", "<h1>A</h1>" + table, "fr"));
    m_engine->write(u"b.html"_s, document("B", "<h1>B</h1>" + table + "<p><em>e</em>", "ja"));
    const Conversion all = join({u"a.html"_s, u"b.html"_s});
    VERIFY_WRITTEN(all);
    const ProgramResult text = runProgram(u"pdfinfo"_s, {u"-struct-text"_s, all.output});
    QCOMPARE(text.errors, QByteArray());
    for (const char *part : {"\"A\"", "\"B\"", "\"a\"", "\"1\"", "\"2\"", "\"e\""})
        QVERIFY2(text.output.contains(part), part);
    QCOMPARE(text.output.count("Table (block)"), 2);
    QCOMPARE(text.output.count("Document"), 3);
    QCOMPARE(all.pdf().info()[u"Tagged"_s], u"yes"_s);
    QVERIFY(all.pdf().catalogue()["/StructTreeRoot"_L1].toObject().contains("/RoleMap"_L1));
    const ProgramResult json = runProgram(u"qpdf"_s, {u"--json=2"_s, all.output});
    QVERIFY(json.output.contains("\"u:fr\"") && json.output.contains("\"u:ja\""));
}

void ConvertJoinedTest::papersAndUntaggedDocuments()
{
    m_engine->write(u"a.html"_s, document("A", "<style>@page{size:A3 landscape}</style>a"));
    m_engine->write(u"b.html"_s, document("B", "<style>@page{size:100pt 200pt}</style>b"));
    QByteArray many = "<h1>M</h1>";
    for (int i = 0; i < 30100; ++i)
        many += "<b>x</b>";
    m_engine->write(u"many.html"_s, document("M", many));
    const Conversion all = join({u"a.html"_s, u"many.html"_s, u"b.html"_s});
    VERIFY_WRITTEN(all);
    QCOMPARE(all.warnings().size(), 1);
    const QList<QSizeF> sizes = all.pdf().pageSizes();
    QCOMPARE(sizes.first().toSize(), QSize(1191, 842));
    QCOMPARE(sizes.last().toSize(), QSize(100, 200));
    QCOMPARE(all.pdf().info()[u"Tagged"_s], u"yes"_s);
    QCOMPARE(all.pdf().outline().first(), u"A"_s);
    QCOMPARE(all.pdf().outline().last(), u"B"_s);
}

void ConvertJoinedTest::optionsHoldForEachAndForTheWhole()
{
    const QStringList names = pages(2, "<p style='color:red;background:blue'>text <a href=page-2.html>2</a>");
    const Conversion all = join(names, {u"--title"_s, u"Whole"_s, u"--copies"_s, u"3"_s, u"--grayscale"_s,
                                        u"--page-size"_s, u"A5"_s});
    VERIFY_WRITTEN(all);
    QCOMPARE(all.pdf().pages(), 6);
    QCOMPARE(all.pdf().documentTitle(), u"Whole"_s);
    QCOMPARE(all.pdf().outline(), (QStringList{u"Page 1"_s, u"-Heading 1"_s, u"Page 2"_s, u"-Heading 2"_s}));
    QVERIFY(all.pdf().text(1).startsWith(u"Heading 1"_s) && all.pdf().text(2).startsWith(u"Heading 2"_s) &&
            all.pdf().text(5).startsWith(u"Heading 1"_s));
    QVERIFY(all.pdf().picture(1).allGray());
    QCOMPARE(all.pdf().pageSizes().last().toSize(), QSize(420, 595));
    const Conversion small = join(names, {u"--lowquality"_s});
    VERIFY_WRITTEN(small);
    QCOMPARE(small.pdf().structure(), QString());
    QCOMPARE(small.pdf().outline(), (QStringList{u"Page 1"_s, u"Page 2"_s}));
}

void ConvertJoinedTest::theSameInputTwice()
{
    QFile::copy(QLatin1String(QUIRELLE_SAMPLES "/images/quires.jpg"), m_engine->path(u"quires.jpg"_s));
    m_engine->write(u"a.html"_s, document("A", "<h1>A</h1><img src=quires.jpg>text <a href=a.html>self</a>"));
    m_engine->write(u"b.html"_s, document("B", "<h1>B</h1><img src=quires.jpg>"));
    const Conversion one = join({u"a.html"_s});
    const Conversion all = join({u"a.html"_s, u"b.html"_s, u"a.html"_s});
    VERIFY_WRITTEN(one);
    VERIFY_WRITTEN(all);
    QCOMPARE(all.pdf().outline(), (QStringList{u"A"_s, u"-A"_s, u"B"_s, u"-B"_s, u"A"_s, u"-A"_s}));
    // Image and fonts are there once.
    QVERIFY2(all.pdf().size() < one.pdf().size() + 20000, qPrintable(QString::number(all.pdf().size())));
    // A link to itself stays in its part.
    QCOMPARE(destinations(all.output), (QStringList{u"1: "_s, u"3: "_s}));
}

void ConvertJoinedTest::aListOfInputs()
{
    pages(3);
    m_engine->write(u"list.txt"_s, "# chapters\r\n\r\n  page-2.html \r\n\tpage-1.html");
    const Conversion all = join({u"page-3.html"_s}, {u"--input-list"_s, u"list.txt"_s});
    VERIFY_WRITTEN(all);
    QCOMPARE(all.pdf().text(), u"Heading 3 Heading 2 Heading 1"_s);
    // One input of a list has a bookmark, too.
    m_engine->write(u"list.txt"_s, "page-1.html\n");
    const Conversion one = join({}, {u"--input-list"_s, m_engine->path(u"list.txt"_s)});
    VERIFY_WRITTEN(one);
    QCOMPARE(one.pdf().outline(), (QStringList{u"Page 1"_s, u"-Heading 1"_s}));
}

void ConvertJoinedTest::aListFromStandardInput()
{
    pages(2);
    m_engine->write(u"list.txt"_s, "page-2.html\npage-1.html\n");
    const QString output = m_engine->freshOutput();
    const Conversion all{redirected(u"<list.txt"_s, {u"--input-list"_s, u"-"_s, output}), output};
    VERIFY_WRITTEN(all);
    QCOMPARE(all.pdf().text(), u"Heading 2 Heading 1"_s);
}

void ConvertJoinedTest::listsThatAreOfNoUse_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QByteArray>("reason");
    QTest::newRow("not there") << QByteArray() << QByteArray("cannot be read");
    QTest::newRow("empty") << QByteArray("") << QByteArray("names none");
    QTest::newRow("comments") << QByteArray("#a\n \n") << QByteArray("names none");
    QTest::newRow("not UTF-8") << QByteArray("a\xff\n") << QByteArray("UTF-8");
    QTest::newRow("a null character") << QByteArray("a\0b\n", 4) << QByteArray("UTF-8");
}

void ConvertJoinedTest::listsThatAreOfNoUse()
{
    QFETCH(QByteArray, content);
    QFETCH(QByteArray, reason);
    if (!content.isNull())
        m_engine->write(u"list.txt"_s, content);
    const Conversion refused = join({}, {u"--input-list"_s, u"list.txt"_s});
    VERIFY_FAILED(refused, 1);
    QVERIFY2(refused.run.errors.contains(reason), refused.run.errors.constData());
}

void ConvertJoinedTest::manyInputs()
{
    const int count = isStressWanted() ? 50 : 15;
    const QString last = QString::number(count);
    const QStringList names = pages(count, "<a href=page-" + last.toLatin1() + ".html>last</a>");
    const Conversion all = join(names);
    VERIFY_WRITTEN(all);
    QCOMPARE(all.pdf().pages(), count);
    QCOMPARE(all.pdf().outline().size(), 2 * count);
    QCOMPARE(all.pdf().outline()[2 * count - 2], u"Page "_s + last);
    QVERIFY(all.pdf().text(11).startsWith(u"Heading 11"_s));
    QCOMPARE(destinations(all.output), QStringList{last + u": "_s});
}

void ConvertJoinedTest::anInputThatFailsIsNamed()
{
    const WebServer server({});
    pages(3);
    m_engine->write(u"older.pdf"_s, "%PDF-older");
    const QString missing = server.address(u"/missing.html"_s);
    for (const QString &bad : {missing, u"/nosuch.html"_s, u"ftp://host/"_s}) {
        const Conversion failed{m_engine->run({u"page-1.html"_s, bad, u"page-2.html"_s, u"older.pdf"_s}), {}};
        VERIFY_FAILED(failed, 3);
        QVERIFY2(failed.run.errors.contains(bad.toUtf8()), failed.run.errors.constData());
        QFile older(m_engine->path(u"older.pdf"_s));
        QVERIFY(older.open(QFile::ReadOnly));
        QCOMPARE(older.readAll(), QByteArray("%PDF-older"));
    }
}

void ConvertJoinedTest::anInputThatFailsEndsTheOthers()
{
    const SilentServer silent;
    const Conversion failed =
        join({silent.address(), m_engine->path(u"nosuch.html"_s)}, {u"--timeout"_s, u"60"_s});
    VERIFY_FAILED(failed, 3);
    const WebServer server({});
    const Conversion later = join({silent.address(), server.address(u"/nosuch.html"_s), silent.address()},
                                  {u"--timeout"_s, u"60"_s});
    VERIFY_FAILED(later, 3);
    QVERIFY2(later.run.time < std::chrono::seconds(30), "the others are waited for");
}

void ConvertJoinedTest::warningsNameTheirInput()
{
    pages(1);
    m_engine->write(u"bad.html"_s, document("Bad", "<img src=none.png>"));
    const Conversion all = join({u"page-1.html"_s, u"bad.html"_s});
    VERIFY_WRITTEN(all);
    QCOMPARE(all.warnings().size(), 1);
    QVERIFY2(all.warnings()[0].startsWith("quirelle: warning: bad.html: ") &&
                 all.warnings()[0].contains("none.png"),
             all.warnings()[0].constData());
    QCOMPARE(join({u"page-1.html"_s, u"bad.html"_s}, {u"--quiet"_s}).run.errors, QByteArray());
}

void ConvertJoinedTest::strictHoldsForEach()
{
    pages(1);
    m_engine->write(u"bad.html"_s, document("Bad", "<img src=none.png>"));
    const Conversion all = join({u"page-1.html"_s, u"bad.html"_s}, {u"--strict"_s});
    QCOMPARE(all.run.exitCode, 7);
    QVERIFY2(all.run.errors.contains("quirelle: bad.html: not written"), all.run.errors.constData());
    QVERIFY(!QFile::exists(all.output));
}

void ConvertJoinedTest::theReportHasEveryInput()
{
    pages(2);
    m_engine->write(u"bad.html"_s, document("Bad", "<img src=none.png>"));
    const QString report = m_engine->path(u"report.json"_s);
    const Conversion all = join({u"page-1.html"_s, u"bad.html"_s, u"page-2.html"_s},
                                {u"--report"_s, report, u"--copies"_s, u"2"_s});
    VERIFY_WRITTEN(all);
    QFile file(report);
    QVERIFY(file.open(QFile::ReadOnly));
    const QJsonObject whole = QJsonDocument::fromJson(file.readAll()).object();
    QCOMPARE(whole["status"_L1].toString(), u"written"_s);
    QCOMPARE(whole["pages"_L1].toInt(), 6);
    QCOMPARE(whole["bytes"_L1].toInteger(), all.pdf().size());
    QCOMPARE(whole["warnings"_L1].toArray().size(), 1);
    QVERIFY(whole["warnings"_L1][0].toString().startsWith("bad.html: "_L1));
    QCOMPARE(whole["requests"_L1]["failed"_L1].toInt(), 1);
    const QJsonArray inputs = whole["inputs"_L1].toArray();
    QCOMPARE(inputs.size(), 3);
    QCOMPARE(inputs[1]["input"_L1].toString(), u"bad.html"_s);
    QCOMPARE(inputs[2]["pages"_L1].toInt(), 1);
    const ProgramResult judge = runProgram(
        u"python3"_s, {u"-m"_s, u"jsonschema"_s, u"-i"_s, report, QLatin1String(QUIRELLE_REPORT_SCHEMA)});
    QVERIFY2(judge.ok(), judge.errors.constData());
}

void ConvertJoinedTest::theLogHasOneLine()
{
    const QStringList names = pages(3);
    const Conversion all = join(names);
    VERIFY_WRITTEN(all);
    QCOMPARE(m_engine->logLines().size(), 1);
    QVERIFY2(m_engine->logLines()[0].contains(u" 0 page-1.html and 2 more -> "_s),
             qPrintable(m_engine->logLines()[0]));
}

void ConvertJoinedTest::eachInputHasItsOwnTime()
{
    // Longer together than one may take.
    const QStringList names = pages(6);
    const Conversion all = join(names, {u"--wait"_s, u"1"_s, u"--timeout"_s, u"5"_s});
    VERIFY_WRITTEN(all);
    QVERIFY(all.run.time > std::chrono::milliseconds(1000));
    const SilentServer silent;
    const Conversion late = join({names[0], silent.address(), names[1]}, {u"--timeout"_s, u"3"_s});
    VERIFY_FAILED(late, 4);
    QVERIFY2(late.run.errors.contains(silent.address().toUtf8()), late.run.errors.constData());
}

void ConvertJoinedTest::anInputIsNotOverwritten()
{
    const QStringList names = pages(3);
    const ProgramResult run = m_engine->run(names);
    QCOMPARE(run.exitCode, 1);
    QVERIFY2(run.errors.contains("page-3.html"), run.errors.constData());
    QFile last(m_engine->path(names.last()));
    QVERIFY(last.open(QFile::ReadOnly));
    QVERIFY(last.readAll().contains("Heading 3"));
    // An empty file that a script has made is replaced, and an older PDF.
    m_engine->write(u"made.pdf"_s, "");
    for (int i = 0; i < 2; ++i) {
        const Conversion all{m_engine->run({names[0], names[1], u"made.pdf"_s}),
                             m_engine->path(u"made.pdf"_s)};
        VERIFY_WRITTEN(all);
    }
}

void ConvertJoinedTest::aPdfThatIsTooLarge()
{
    QByteArray noise(1500 * 1500 * 3, '\0');
    quint32 state = 1;
    for (char &byte : noise)
        byte = static_cast<char>((state = state * 1664525 + 1013904223) >> 24U);
    m_engine->write(u"a.ppm"_s, "P6 1500 1500 255\n" + noise);
    const QImage image(m_engine->path(u"a.ppm"_s));
    QVERIFY(image.save(m_engine->path(u"a.png"_s)) && image.mirrored().save(m_engine->path(u"b.png"_s)));
    m_engine->write(u"a.html"_s, document("A", "<img src=a.png>"));
    m_engine->write(u"b.html"_s, document("B", "<img src=b.png>"));
    const Conversion same = join({u"a.html"_s, u"a.html"_s}, {u"--max-output"_s, u"8"_s});
    VERIFY_WRITTEN(same);
    const Conversion both = join({u"a.html"_s, u"b.html"_s}, {u"--max-output"_s, u"8"_s});
    VERIFY_FAILED(both, 5);
    QVERIFY2(both.run.errors.contains("--max-output"), both.run.errors.constData());
}

void ConvertJoinedTest::nothingIsLeftWhenTheEngineIsStopped_data()
{
    QTest::addColumn<int>("signal");
    QTest::newRow("interrupted") << SIGINT;
    QTest::newRow("terminated") << SIGTERM;
    QTest::newRow("killed") << SIGKILL;
}

void ConvertJoinedTest::nothingIsLeftWhenTheEngineIsStopped()
{
    QFETCH(int, signal);
    SilentServer silent;
    const QStringList names = pages(3);
    const QString output = m_engine->freshOutput();
    const std::unique_ptr<QProcess> process =
        m_engine->start({names[0], names[1], silent.address(), names[2], output});
    QVERIFY(!silent.awaitRequest().isNull());
    ::kill(static_cast<pid_t>(process->processId()), signal);
    QVERIFY(process->waitForFinished(20000));
    QVERIFY(!QFile::exists(output));
    QVERIFY(waitUntil([&] { return m_engine->leftBehind().isEmpty(); }));
}

void ConvertJoinedTest::theSameBytesAtTheSameTime()
{
    m_engine->setVariable(u"SOURCE_DATE_EPOCH"_s, u"1000000000"_s);
    const QStringList names =
        pages(4, "<table><tr><th>a<tr><td>1</table><a href=page-3.html#x>3</a><p id=x>x");
    const Conversion one = join(names);
    const Conversion other = join(names);
    VERIFY_WRITTEN(one);
    QFile first(one.output);
    QFile second(other.output);
    QVERIFY(first.open(QFile::ReadOnly) && second.open(QFile::ReadOnly));
    QVERIFY(first.readAll() == second.readAll());
}

void ConvertJoinedTest::toStandardOutput()
{
    const QStringList names = pages(2);
    const QString output = m_engine->freshOutput();
    const Conversion all{redirected(u">\""_s + output + u'"', names + QStringList{u"-"_s}), output};
    VERIFY_WRITTEN(all);
    QCOMPARE(all.pdf().pages(), 2);
    const ProgramResult failed = redirected(u"| cat"_s, QStringList{names[0], u"/nosuch.html"_s, u"-"_s});
    QCOMPARE(failed.output, QByteArray());
}

QTEST_GUILESS_MAIN(ConvertJoinedTest)
#include "tst_convertjoined.moc"
