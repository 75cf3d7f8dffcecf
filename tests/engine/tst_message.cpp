#include "engine/client/message.h"
#include "tests/support/invocation.h"

#include <QTest>

#include <algorithm>
#include <stdexcept>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace
{

constexpr size_t headerSize = 5;

Invocation ordinaryInvocation()
{
    return invocationOf({u"page.html"_s, u"page.pdf"_s});
}

/// With texts of every kind.
Invocation oddInvocation()
{
    Invocation invocation = invocationOf(
        {u""_s, u" "_s, u"--title"_s, u"--"_s, u"pässwörd 密"_s, u"a\nb"_s, QString(100000, u'x'), u""_s});
    invocation.arguments.emplace_back("\xff\xc3");
    invocation.folder = "/töp/a\xff b";
    invocation.isPart = true;
    invocation.document = std::string("<p>\0\xff", 5);
    invocation.variables = {{"QUIRELLE_PASSWORD", "a\nb"}, {"QUIRELLE_PROXY", ""}};
    return invocation;
}

bool same(const Invocation &one, const Invocation &other)
{
    return one.arguments == other.arguments && one.variables == other.variables &&
           one.folder == other.folder && one.isPart == other.isPart && one.document == other.document;
}

} // namespace

/// The messages between client and server, byte by byte.
class MessageTest : public QObject
{
    Q_OBJECT

private slots:
    void framesComeOneByOne();
    void aFrameCutAnywhereIsAwaited();
    void aKindThatDoesNotExistIsRefused();
    void aBodyThatIsTooLongIsRefusedByItsHeader();
    void thePdfsThatMayBeOrderedFit();
    void anOrderArrivesAsItWas();
    void theTimeThatHasPassedArrives();
    void anOrderCutWithinATextIsRefused();
    void whatIsNoOrderIsRefused_data();
    void whatIsNoOrderIsRefused();
    void anAcceptanceArrivesAsItWas();
    void findingsArriveAsTheyWere();
    void aFailureArrivesAsItWas();
    void whatIsNoFailureIsRefused_data();
    void whatIsNoFailureIsRefused();
};

void MessageTest::framesComeOneByOne()
{
    const std::string large(100000, 'x');
    std::string bytes = frameBytes(FrameKind::Alive) + frameBytes(FrameKind::Pdf, large) +
                        frameBytes(FrameKind::Refusal) + "o";
    auto frame = takeFrame(bytes, large.size());
    QVERIFY(frame && frame->kind == FrameKind::Alive && frame->body.empty());
    frame = takeFrame(bytes, large.size());
    QVERIFY(frame && frame->kind == FrameKind::Pdf);
    QVERIFY(frame->body == large);
    frame = takeFrame(bytes, large.size());
    QVERIFY(frame && frame->kind == FrameKind::Refusal && frame->body.empty());
    QVERIFY(!takeFrame(bytes, large.size()));
    QVERIFY(bytes == "o");
}

void MessageTest::aFrameCutAnywhereIsAwaited()
{
    const std::string whole = frameBytes(FrameKind::Order, "body");
    for (size_t size = 0; size < whole.size(); ++size) {
        std::string part = whole.substr(0, size);
        QVERIFY2(!takeFrame(part, 100), qPrintable(QString::number(size)));
        QVERIFY(part == whole.substr(0, size));
    }
}

void MessageTest::aKindThatDoesNotExistIsRefused()
{
    for (int kind = 0; kind < 256; ++kind) {
        std::string bytes = frameBytes(static_cast<FrameKind>(kind), "body");
        if (kind != 0 && QByteArray("onyawfp").contains(static_cast<char>(kind)))
            QVERIFY(takeFrame(bytes, 4));
        else
            QVERIFY_THROWS_EXCEPTION(std::runtime_error, takeFrame(bytes, 4));
    }
}

void MessageTest::aBodyThatIsTooLongIsRefusedByItsHeader()
{
    std::string fitting = frameHeader(FrameKind::Order, 100);
    QVERIFY(!takeFrame(fitting, 100));
    std::string tooLong = frameHeader(FrameKind::Order, 101);
    QVERIFY_THROWS_EXCEPTION(std::runtime_error, takeFrame(tooLong, 100));
    std::string longest("\xff\xff\xff\xffo", headerSize);
    QVERIFY_THROWS_EXCEPTION(std::runtime_error, takeFrame(longest, maximumOrder));
}

void MessageTest::thePdfsThatMayBeOrderedFit()
{
    for (const size_t size : {size_t(2047) << 20, size_t(2049) << 20, size_t(4095) << 20}) {
        std::string bytes = frameHeader(FrameKind::Pdf, size);
        QCOMPARE(bytes.size(), headerSize);
        QVERIFY(!takeFrame(bytes, maximumBody));
        QVERIFY_THROWS_EXCEPTION(std::runtime_error, takeFrame(bytes, size - 1));
    }
}

void MessageTest::anOrderArrivesAsItWas()
{
    for (const Invocation &invocation : {ordinaryInvocation(), oddInvocation(), invocationOf({})})
        QVERIFY(same(invocationFrom(orderBody(invocation)), invocation));
    QVERIFY(!same(invocationFrom(orderBody(ordinaryInvocation())), oddInvocation()));
}

void MessageTest::theTimeThatHasPassedArrives()
{
    Invocation invocation = ordinaryInvocation();
    invocation.begun -= 1h;
    const auto difference = invocationFrom(orderBody(invocation)).begun - invocation.begun;
    QVERIFY(std::chrono::abs(difference) < 1s);
}

void MessageTest::anOrderCutWithinATextIsRefused()
{
    const std::string whole = orderBody(ordinaryInvocation());
    for (size_t size = 0; size < whole.size(); ++size) {
        const std::string part = whole.substr(0, size);
        if (!part.ends_with('\0') || std::count(part.begin(), part.end(), '\0') < 5)
            QVERIFY_THROWS_EXCEPTION(std::runtime_error, invocationFrom(part));
    }
}

void MessageTest::whatIsNoOrderIsRefused_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("text") << QByteArray("GET / HTTP/1.1\r\n\r\n");
    QTest::newRow("a null character") << QByteArray(1, '\0');
    QTest::newRow("null characters") << QByteArray(100, '\0');
    QTest::newRow("no folder") << QByteArray("1\0", 2);
    // Texts with a line end for each null character.
    const auto row = [](const char *name, QByteArray lines) {
        QTest::newRow(name) << lines.replace('\n', '\0');
    };
    row("no time", "\n/\n0\n0\n0\na\n");
    row("time in words", "soon\n/\n0\n0\n0\na\n");
    row("negative time", "-1\n/\n0\n0\n0\na\n");
    row("endless time", "9223372036854775807\n/\n0\n0\n0\na\n");
    row("time beyond all numbers", QByteArray(100, '9') + "\n/\n0\n0\n0\na\n");
    row("neither a part nor none", "1\n/\n2\n0\n0\na\n");
    row("a document shorter than said", "1\n/\n0\n1\n20\n<p>\n0\na\n");
    row("a document too large", "1\n/\n0\n1\n" + QByteArray::number(maximumDocument + 1) + "\n0\na\n");
    row("no number of variables", "1\n/\n0\n0\na\n");
    row("fewer variables than said", "1\n/\n0\n0\n2\na\nb\n");
    row("endless variables", "1\n/\n0\n0\n99999999\na\nb\n");
}

void MessageTest::whatIsNoOrderIsRefused()
{
    QFETCH(QByteArray, body);
    QVERIFY_THROWS_EXCEPTION(std::runtime_error, invocationFrom(body.toStdString()));
}

void MessageTest::anAcceptanceArrivesAsItWas()
{
    const Acceptance acceptance{1234ms, "töp/a\nb.pdf", "page -> page.pdf", "report.json", true};
    const std::string body = acceptanceBody(acceptance);
    const Acceptance arrived = acceptanceFrom(body);
    QVERIFY(arrived.left == acceptance.left && arrived.output == acceptance.output &&
            arrived.name == acceptance.name && arrived.report == acceptance.report &&
            arrived.isQuiet == acceptance.isQuiet);
    for (size_t size = 0; size < body.size(); ++size)
        QVERIFY_THROWS_EXCEPTION(std::runtime_error, acceptanceFrom(body.substr(0, size)));
}

void MessageTest::findingsArriveAsTheyWere()
{
    const Findings findings{{"töp is missing", "", "b"}, "file:///a%20b", R"("pages":3)"};
    const std::string body = findingsBody(findings);
    const Findings arrived = findingsFrom(body);
    QVERIFY(arrived.warnings == findings.warnings && arrived.report == findings.report &&
            arrived.address == findings.address);
    QVERIFY(findingsFrom(findingsBody({})).warnings.empty());
    QVERIFY_THROWS_EXCEPTION(std::runtime_error, findingsFrom(body.substr(0, body.size() - 1)));
    QVERIFY_THROWS_EXCEPTION(std::runtime_error, findingsFrom(""));
}

void MessageTest::aFailureArrivesAsItWas()
{
    for (int code = 1; code <= 7; ++code) {
        const FailureReply failure{static_cast<ExitCode>(code), code == 6, "Grund: läßt sich nicht laden"};
        const FailureReply arrived = failureFrom(failureBody(failure));
        QVERIFY(arrived.code == failure.code && arrived.isFinal == failure.isFinal &&
                arrived.message == failure.message);
    }
}

void MessageTest::whatIsNoFailureIsRefused_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("text") << QByteArray("failure");
    for (const int code : {-1, 0, 8, 1 << 20})
        QTest::addRow("code %d", code) << QByteArray::number(code) + QByteArray("\0"
                                                                                "0\0x\0",
                                                                                5);
    QTest::newRow("no message") << QByteArray("3\0"
                                              "0\0",
                                              4);
    QTest::newRow("neither final nor not") << QByteArray("3\0"
                                                         "2\0x\0",
                                                         6);
}

void MessageTest::whatIsNoFailureIsRefused()
{
    QFETCH(QByteArray, body);
    QVERIFY_THROWS_EXCEPTION(std::runtime_error, failureFrom(body.toStdString()));
}

QTEST_GUILESS_MAIN(MessageTest)
#include "tst_message.moc"
