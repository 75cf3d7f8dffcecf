#include "engine/server/message.h"

#include <QCborArray>
#include <QCborMap>
#include <QCborValue>
#include <QTest>

#include <cmath>
#include <limits>
#include <stdexcept>
#include <tuple>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace
{

constexpr qsizetype headerSize = 5;

Order ordinaryOrder()
{
    return {Job(), Address{u"http://host.test/"_s, u"host.test"_s, false, {}, {}}, Deadline::in(10s)};
}

/// An order with every field away from its default.
Order fullOrder()
{
    Order order{Job(), Address{u"file:///töp/páge.html"_s, u"/töp/páge.html"_s, true, u"in"_s, u"thé key"_s},
                Deadline::in(1h)};
    Job &job = order.job;
    job.paper = QSizeF(419.5, 595.25);
    job.orientation = PaperOrientation::Landscape;
    job.copies = 1000;
    job.minimumFontSize = 1000;
    job.title = u"Título \u0000 with a null"_s;
    job.userName = u"user"_s;
    job.password = u"pässwörd 密"_s;
    job.proxy = Proxy{u"http://proxy.test:3128"_s, u"porter"_s, u"word"_s};
    job.blockPrivateAddresses = true;
    job.externalLinks = false;
    job.grayscale = true;
    job.javaScript = false;
    job.images = false;
    job.background = false;
    job.lowQuality = true;
    job.maximumMemory = 1 << 20;
    job.maximumOutput = 4095;
    return order;
}

bool sameOrder(const Order &one, const Order &other)
{
    const auto fields = [](const Order &order) {
        const Job &job = order.job;
        const Address &address = order.address;
        const Proxy proxy = job.proxy.value_or(Proxy());
        return std::make_tuple(address.url, address.shown, address.isFile, address.userName, address.password,
                               job.paper, job.orientation, job.copies, job.minimumFontSize, job.title,
                               job.userName, job.password, job.proxy.has_value(), proxy.server,
                               proxy.userName, proxy.password, job.blockPrivateAddresses, job.externalLinks, job.grayscale,
                               job.javaScript, job.images, job.background, job.lowQuality, job.maximumMemory,
                               job.maximumOutput);
    };
    return fields(one) == fields(other);
}

/// The body of an order with one of its values changed.
QByteArray changedBody(const QString &name, const QCborValue &value)
{
    QCborMap map = QCborValue::fromCbor(orderBody(fullOrder())).toMap();
    if (map.contains(name)) {
        map[name] = value;
    } else {
        QCborMap job = map[u"job"_s].toMap();
        job[name] = value;
        map[u"job"_s] = job;
    }
    return QCborValue(map).toCbor();
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
    void thePdfsThatMayBeOrderedFit();
    void anOrderArrivesAsItWas_data();
    void anOrderArrivesAsItWas();
    void theTimeLeftArrives();
    void anOrderWhoseTimeIsOverIsRefused();
    void anOrderCutAnywhereIsRefused();
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

void MessageTest::thePdfsThatMayBeOrderedFit()
{
    for (const qsizetype size : {2047LL << 20, 2049LL << 20, 4095LL << 20}) {
        QByteArray bytes = frameHeader(FrameKind::Pdf, size);
        QCOMPARE(bytes.size(), headerSize);
        QVERIFY(!takeFrame(bytes, maximumBody));
        QVERIFY_THROWS_EXCEPTION(std::runtime_error, takeFrame(bytes, size - 1));
    }
}

void MessageTest::anOrderArrivesAsItWas_data()
{
    QTest::addColumn<bool>("full");
    QTest::newRow("nothing asked for") << false;
    QTest::newRow("everything asked for") << true;
}

void MessageTest::anOrderArrivesAsItWas()
{
    QFETCH(bool, full);
    const Order order = full ? fullOrder() : ordinaryOrder();
    QVERIFY(sameOrder(orderFrom(orderBody(order)), order));
    QVERIFY(!sameOrder(orderFrom(orderBody(order)), full ? ordinaryOrder() : fullOrder()));
}

void MessageTest::theTimeLeftArrives()
{
    Order order = ordinaryOrder();
    const Order arrived = orderFrom(orderBody(order));
    const auto difference = arrived.deadline.time() - order.deadline.time();
    QVERIFY(std::chrono::abs(difference) < 1s);
}

void MessageTest::anOrderWhoseTimeIsOverIsRefused()
{
    Order order = ordinaryOrder();
    order.deadline = Deadline::in(std::chrono::seconds(-1));
    QVERIFY_THROWS_EXCEPTION(std::runtime_error, orderFrom(orderBody(order)));
}

void MessageTest::anOrderCutAnywhereIsRefused()
{
    const QByteArray whole = orderBody(fullOrder());
    for (qsizetype size = 0; size < whole.size(); ++size)
        QVERIFY_THROWS_EXCEPTION(std::runtime_error, orderFrom(whole.left(size)));
}

void MessageTest::whatIsNoOrderIsRefused_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("text") << QByteArray("GET / HTTP/1.1\r\n\r\n");
    QTest::newRow("a number") << QCborValue(7).toCbor();
    QTest::newRow("an empty map") << QCborValue(QCborMap()).toCbor();
    QTest::newRow("a deep nest") << QByteArray(100000, '\x81');
    QTest::newRow("no copies") << changedBody(u"copies"_s, 0);
    QTest::newRow("too many copies") << changedBody(u"copies"_s, 1001);
    QTest::newRow("copies in words") << changedBody(u"copies"_s, u"two"_s);
    QTest::newRow("copies with a point") << changedBody(u"copies"_s, 2.0);
    QTest::newRow("copies beyond all numbers") << changedBody(u"copies"_s, -1e300);
    QTest::newRow("copies beyond an int") << changedBody(u"copies"_s, (1LL << 32) + 1);
    QTest::newRow("a negative font size") << changedBody(u"minimumFontSize"_s, -1);
    QTest::newRow("a huge font size") << changedBody(u"minimumFontSize"_s, 1001);
    QTest::newRow("an empty paper") << changedBody(u"paper"_s, QCborArray{0, 100});
    QTest::newRow("a huge paper") << changedBody(u"paper"_s, QCborArray{100, 1e6});
    QTest::newRow("a paper without a number") << changedBody(u"paper"_s, QCborArray{100, std::nan("")});
    QTest::newRow("a paper with one side") << changedBody(u"paper"_s, QCborArray{100});
    QTest::newRow("no memory") << changedBody(u"maximumMemory"_s, 0);
    QTest::newRow("endless memory") << changedBody(u"maximumMemory"_s, 1 << 21);
    QTest::newRow("no output") << changedBody(u"maximumOutput"_s, 0);
    QTest::newRow("an output beyond a frame") << changedBody(u"maximumOutput"_s, 4096);
    QTest::newRow("a negative time") << changedBody(u"milliseconds"_s, -1);
    QTest::newRow("an endless time") << changedBody(u"milliseconds"_s, std::numeric_limits<qint64>::max());
}

void MessageTest::whatIsNoOrderIsRefused()
{
    QFETCH(QByteArray, body);
    QVERIFY_THROWS_EXCEPTION(std::runtime_error, orderFrom(body));
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
