#include "engine/server/message.h"
#include "tests/support/invocation.h"

#include <QCborMap>
#include <QCborValue>
#include <QTest>

#include <stdexcept>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace
{

constexpr qsizetype headerSize = 5;

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
    return invocation;
}

bool same(const Invocation &one, const Invocation &other)
{
    return one.arguments == other.arguments && one.folder == other.folder;
}

} // namespace

/// What client and server say to each other, byte by byte.
class MessageTest : public QObject
{
    Q_OBJECT

private slots:
    void framesComeOneByOne();
    void aFrameCutAnywhereIsAwaited();
    void aKindThatDoesNotExistIsRefused();
    void aBodyThatIsTooLongIsRefusedByItsHeader();
    void anOrderArrivesAsItWas();
    void theTimeThatHasPassedArrives();
    void anOrderCutWithinATextIsRefused();
    void whatIsNoOrderIsRefused_data();
    void whatIsNoOrderIsRefused();
    void aFailureArrivesAsItWas();
    void whatIsNoFailureIsRefused_data();
    void whatIsNoFailureIsRefused();
};

void MessageTest::framesComeOneByOne()
{
    const QByteArray large(100000, 'x');
    QByteArray bytes = frameBytes(FrameKind::Alive) + frameBytes(FrameKind::Pdf, large) +
                       frameBytes(FrameKind::Refusal) + "o";
    auto frame = takeFrame(bytes, large.size());
    QVERIFY(frame && frame->kind == FrameKind::Alive && frame->body.isEmpty());
    frame = takeFrame(bytes, large.size());
    QVERIFY(frame && frame->kind == FrameKind::Pdf);
    QCOMPARE(frame->body, large);
    frame = takeFrame(bytes, large.size());
    QVERIFY(frame && frame->kind == FrameKind::Refusal && frame->body.isEmpty());
    QVERIFY(!takeFrame(bytes, large.size()));
    QCOMPARE(bytes, QByteArray("o"));
}

void MessageTest::aFrameCutAnywhereIsAwaited()
{
    const QByteArray whole = frameBytes(FrameKind::Order, "body");
    for (qsizetype size = 0; size < whole.size(); ++size) {
        QByteArray part = whole.left(size);
        QVERIFY2(!takeFrame(part, 100), qPrintable(QString::number(size)));
        QCOMPARE(part, whole.left(size));
    }
}

void MessageTest::aKindThatDoesNotExistIsRefused()
{
    for (int kind = 0; kind < 256; ++kind) {
        QByteArray bytes = frameBytes(static_cast<FrameKind>(kind), "body");
        if (kind != 0 && QByteArray("oanfp").contains(static_cast<char>(kind)))
            QVERIFY(takeFrame(bytes, 4));
        else
            QVERIFY_THROWS_EXCEPTION(std::runtime_error, takeFrame(bytes, 4));
    }
}

void MessageTest::aBodyThatIsTooLongIsRefusedByItsHeader()
{
    QByteArray fitting = frameBytes(FrameKind::Order, QByteArray(100, 'x')).left(headerSize);
    QVERIFY(!takeFrame(fitting, 100));
    QByteArray tooLong = frameBytes(FrameKind::Order, QByteArray(101, 'x')).left(headerSize);
    QVERIFY_THROWS_EXCEPTION(std::runtime_error, takeFrame(tooLong, 100));
    QByteArray longest("\xff\xff\xff\xffo", headerSize);
    QVERIFY_THROWS_EXCEPTION(std::runtime_error, takeFrame(longest, maximumOrder));
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
    const QByteArray whole = orderBody(ordinaryInvocation());
    for (qsizetype size = 0; size < whole.size(); ++size) {
        if (!whole.left(size).endsWith('\0') || whole.left(size).count('\0') < 2)
            QVERIFY_THROWS_EXCEPTION(std::runtime_error, invocationFrom(whole.left(size)));
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
    QTest::newRow("no time") << QByteArray("\0/\0a\0", 5);
    QTest::newRow("time in words") << QByteArray("soon\0/\0a\0", 9);
    QTest::newRow("negative time") << QByteArray("-1\0/\0a\0", 7);
    QTest::newRow("endless time") << QByteArray("9223372036854775807\0/\0a\0", 24);
    QTest::newRow("time beyond all numbers") << QByteArray(100, '9') + QByteArray("\0/\0a\0", 5);
}

void MessageTest::whatIsNoOrderIsRefused()
{
    QFETCH(QByteArray, body);
    QVERIFY_THROWS_EXCEPTION(std::runtime_error, invocationFrom(body));
}

void MessageTest::aFailureArrivesAsItWas()
{
    for (int code = 1; code <= 6; ++code) {
        const Failure failure(static_cast<ExitCode>(code), u"Grund %1: läßt sich nicht laden"_s.arg(code));
        const Failure arrived = failureFrom(failureBody(failure));
        QCOMPARE(arrived.code(), failure.code());
        QCOMPARE(arrived.message(), failure.message());
        QVERIFY(!arrived.isFinal());
    }
    const Failure final(ExitCode::Crashed, u"x"_s, Failure::Retry::IsInVain);
    QVERIFY(failureFrom(failureBody(final)).isFinal());
}

void MessageTest::whatIsNoFailureIsRefused_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("text") << QByteArray("failure");
    QTest::newRow("an empty map") << QCborValue(QCborMap()).toCbor();
    for (const int code : {-1, 0, 7, 1 << 20})
        QTest::addRow("code %d", code)
            << QCborValue(QCborMap{{u"code"_s, code}, {u"message"_s, u"x"_s}}).toCbor();
}

void MessageTest::whatIsNoFailureIsRefused()
{
    QFETCH(QByteArray, body);
    QVERIFY_THROWS_EXCEPTION(std::runtime_error, failureFrom(body));
}

QTEST_GUILESS_MAIN(MessageTest)
#include "tst_message.moc"
