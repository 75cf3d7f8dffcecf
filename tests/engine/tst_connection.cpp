#include "engine/devtools/connection.h"
#include "engine/devtools/session.h"
#include "engine/job/failure.h"
#include "tests/support/pipepeer.h"
#include "tests/support/waiting.h"

#include <QElapsedTimer>
#include <QJsonDocument>
#include <QTest>

#include <array>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <thread>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace
{

Deadline soon()
{
    return Deadline::in(10s);
}

} // namespace

class ConnectionTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { std::signal(SIGPIPE, SIG_IGN); }

    void commandsAreNumberedNullTerminatedJson();
    void aReplyGoesToWhoAsked();
    void anEventGoesToItsSession();
    void anEventGoesToEveryMailboxOfItsSession();
    void aDetachedMailboxGetsNothing();
    void messagesInPiecesAreJoined();
    void severalMessagesInOnePieceAreParted();
    void aLargeMessageComesWhole_data();
    void aLargeMessageComesWhole();
    void aReplyThatIsTooLargeIsNotKept();
    void nonsenseIsPassedOver_data();
    void nonsenseIsPassedOver();
    void theEndClosesMailboxesAfterTheirMessages();
    void aMailboxAttachedAfterTheEndIsClosed();
    void aHalfMessageAtTheEndIsDropped();
    void lastErrorsAreKeptAndBounded();
    void aBrowserThatTakesNothingEndsTheSend();
    void aCommandIsNeverTorn();
    void noSenderWaitsForTheTimeOfAnother();
    void commandsToAGoneBrowserAreDropped();
    void manyThreadsMaySend();
    void takingWaitsNoLongerThanItsDeadline();
    void sessionsTellARefusalFromAResult();
    void sessionsEndAtTheirDeadlineNamingTheActivity();
    void sessionsTellACrashFromABrowserThatNeverStarted();
    void sessionsHandOutEventsWhileTheyWait();
    void aSessionHearsEverythingOnce();
    void aSessionIsNotReleasedFromItself();
    void aFloodOfEventsDoesNotOutlastTheDeadline();
    void aFailureInAHandlerEndsTheWait();
    void cancellingIsNoFailure();
};

void ConnectionTest::commandsAreNumberedNullTerminatedJson()
{
    PipePeer peer;
    const int first = peer.connection().send({}, u"A.b"_s, {}, soon(), nullptr);
    const int second = peer.connection().send(u"S"_s, u"C.d"_s, {{u"x"_s, u"ä\0\n"_s}}, soon(), nullptr);
    QCOMPARE(peer.hear(), (QJsonObject{{u"id"_s, first}, {u"method"_s, u"A.b"_s}}));
    QCOMPARE(peer.hear(), (QJsonObject{{u"id"_s, second},
                                       {u"method"_s, u"C.d"_s},
                                       {u"sessionId"_s, u"S"_s},
                                       {u"params"_s, QJsonObject{{u"x"_s, u"ä\0\n"_s}}}}));
    QVERIFY(second > first);
}

void ConnectionTest::aReplyGoesToWhoAsked()
{
    PipePeer peer;
    const auto one = std::make_shared<Mailbox>();
    const auto other = std::make_shared<Mailbox>();
    const int first = peer.connection().send({}, u"A.b"_s, {}, soon(), one);
    const int second = peer.connection().send({}, u"A.b"_s, {}, soon(), other);
    peer.sayMessage("{\"id\":" + QByteArray::number(second) + "}");
    peer.sayMessage("{\"id\":" + QByteArray::number(first) + "}");
    QCOMPARE(other->take(soon())->value(u"id"_s).toInt(), second);
    QCOMPARE(one->take(soon())->value(u"id"_s).toInt(), first);
    // Once only.
    peer.sayMessage("{\"id\":" + QByteArray::number(first) + "}");
    QVERIFY(!one->take(Deadline::in(50ms)));
}

void ConnectionTest::anEventGoesToItsSession()
{
    PipePeer peer;
    const auto browser = std::make_shared<Mailbox>();
    const auto page = std::make_shared<Mailbox>();
    peer.connection().attach({}, browser);
    peer.connection().attach(u"P"_s, page);
    peer.sayMessage(R"({"method":"E.page","sessionId":"P"})");
    peer.sayMessage(R"({"method":"E.none","sessionId":"Q"})");
    peer.sayMessage(R"({"method":"E.browser"})");
    QCOMPARE(page->take(soon())->value(u"method"_s).toString(), u"E.page"_s);
    QCOMPARE(browser->take(soon())->value(u"method"_s).toString(), u"E.browser"_s);
    QVERIFY(!page->take(Deadline::in(0ms)));
}

void ConnectionTest::anEventGoesToEveryMailboxOfItsSession()
{
    PipePeer peer;
    const auto one = std::make_shared<Mailbox>();
    const auto other = std::make_shared<Mailbox>();
    peer.connection().attach(u"P"_s, one);
    peer.connection().attach(u"P"_s, other);
    peer.sayMessage(R"({"method":"E","sessionId":"P"})");
    QVERIFY(one->take(soon()));
    QVERIFY(other->take(soon()));
}

void ConnectionTest::aDetachedMailboxGetsNothing()
{
    PipePeer peer;
    const auto gone = std::make_shared<Mailbox>();
    const auto staying = std::make_shared<Mailbox>();
    peer.connection().attach(u"P"_s, gone);
    peer.connection().attach(u"P"_s, staying);
    peer.connection().detach(u"P"_s, gone);
    peer.sayMessage(R"({"method":"E","sessionId":"P"})");
    QVERIFY(staying->take(soon()));
    QVERIFY(!gone->take(Deadline::in(0ms)));
}

void ConnectionTest::messagesInPiecesAreJoined()
{
    PipePeer peer;
    const auto mailbox = std::make_shared<Mailbox>();
    peer.connection().attach({}, mailbox);
    const QByteArray message = R"({"method":"E","params":{"x":"ä🌊"}})" + QByteArray(1, '\0');
    for (const char byte : message) {
        peer.say(QByteArray(1, byte));
        // The reader has the piece before the next one comes.
        std::this_thread::yield();
    }
    const auto taken = mailbox->take(soon());
    QVERIFY(taken);
    QCOMPARE(taken->value(u"params"_s)[u"x"_s].toString(), u"ä🌊"_s);
}

void ConnectionTest::severalMessagesInOnePieceAreParted()
{
    PipePeer peer;
    const auto mailbox = std::make_shared<Mailbox>();
    peer.connection().attach({}, mailbox);
    QByteArray piece;
    for (int i = 0; i < 500; ++i)
        piece += R"({"method":"E)" + QByteArray::number(i) + "\"}" + '\0';
    peer.say(piece + R"({"method":"last)");
    peer.say("\"}" + QByteArray(1, '\0'));
    for (int i = 0; i < 500; ++i)
        QCOMPARE(mailbox->take(soon())->value(u"method"_s).toString(), u"E%1"_s.arg(i));
    QCOMPARE(mailbox->take(soon())->value(u"method"_s).toString(), u"last"_s);
}

void ConnectionTest::aLargeMessageComesWhole()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, data);
    PipePeer peer;
    const auto mailbox = std::make_shared<Mailbox>();
    const int id = peer.connection().send({}, u"A.b"_s, {}, soon(), mailbox);
    std::thread writer([&] {
        peer.sayMessage("{\"id\":" + QByteArray::number(id) + R"(,"result":{"data":")" + text +
                        R"("},"sessionId":"S"})");
    });
    const auto reply = mailbox->take(soon());
    writer.join();
    QVERIFY(reply);
    QVERIFY(reply->data == data);
    QCOMPARE(reply->value(u"result"_s)[u"data"_s].toString().size(), data.isEmpty() ? text.size() : 0);
    QCOMPARE(reply->value(u"sessionId"_s).toString(), u"S"_s);
}

void ConnectionTest::aReplyThatIsTooLargeIsNotKept()
{
    PipePeer peer;
    const auto modest = std::make_shared<Mailbox>();
    modest->setMaximumReply(1 << 20);
    const auto other = std::make_shared<Mailbox>();
    const auto answer = [&](int id, qsizetype size) {
        peer.sayMessage("{\"id\":" + QByteArray::number(id) + R"(,"result":{"x":")" + QByteArray(size, 'x') +
                        "\"}}");
    };
    const int tooLarge = peer.connection().send({}, u"A.b"_s, {}, soon(), modest);
    const int fitting = peer.connection().send({}, u"A.b"_s, {}, soon(), modest);
    const int others = peer.connection().send({}, u"A.b"_s, {}, soon(), other);
    answer(tooLarge, 3 << 20);
    answer(fitting, 900000);
    answer(others, 3 << 20);
    const auto refusal = modest->take(soon());
    QVERIFY(refusal);
    QCOMPARE(refusal->value(u"id"_s).toInt(), tooLarge);
    QCOMPARE(refusal->value(u"error"_s)[u"message"_s].toString(), QLatin1String(tooLargeError));
    // Neither its rest nor what follows is mistaken for something else.
    const auto next = modest->take(soon());
    QVERIFY(next);
    QCOMPARE(next->value(u"id"_s).toInt(), fitting);
    QCOMPARE(next->value(u"result"_s)[u"x"_s].toString().size(), 900000);
    const auto last = other->take(soon());
    QVERIFY(last);
    QCOMPARE(last->value(u"result"_s)[u"x"_s].toString().size(), 3 << 20);
}

void ConnectionTest::aLargeMessageComesWhole_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("data");
    const QByteArray large = QByteArray("any bytes, such as \0\xff", 21).repeated(1 << 20);
    QTest::newRow("base64") << large.toBase64() << large;
    QTest::newRow("no base64") << QByteArray("!").repeated(1 << 20) << QByteArray();
    QTest::newRow("small") << QByteArray("abcd") << QByteArray();
}

void ConnectionTest::nonsenseIsPassedOver_data()
{
    QTest::addColumn<QByteArray>("nonsense");
    QTest::newRow("no message") << QByteArray(3, '\0');
    QTest::newRow("no JSON") << QByteArray("garbage\0", 8);
    QTest::newRow("half an object") << QByteArray("{\"method\":\0", 11);
    QTest::newRow("an array") << QByteArray("[1,2]\0", 6);
    QTest::newRow("not UTF-8") << QByteArray("{\"method\":\"\xff\xfe\"}\0", 16);
    QTest::newRow("an unknown reply") << QByteArray("{\"id\":4711}\0", 12);
    QTest::newRow("a reply to nobody") << QByteArray("{\"id\":\"one\"}\0", 13);
    QTest::newRow("an empty object") << QByteArray("{}\0", 3);
    QTest::newRow("deep") << QByteArray(3000, '[') + QByteArray(1, '\0');
}

void ConnectionTest::nonsenseIsPassedOver()
{
    QFETCH(QByteArray, nonsense);
    PipePeer peer;
    const auto mailbox = std::make_shared<Mailbox>();
    const int id = peer.connection().send({}, u"A.b"_s, {}, soon(), mailbox);
    peer.say(nonsense);
    peer.sayMessage("{\"id\":" + QByteArray::number(id) + "}");
    QCOMPARE(mailbox->take(soon())->value(u"id"_s).toInt(), id);
    QVERIFY(!mailbox->closed());
}

void ConnectionTest::theEndClosesMailboxesAfterTheirMessages()
{
    PipePeer peer;
    const auto mailbox = std::make_shared<Mailbox>();
    peer.connection().attach({}, mailbox);
    peer.sayMessage(R"({"method":"last words"})");
    peer.hangUp();
    QCOMPARE(mailbox->take(soon())->value(u"method"_s).toString(), u"last words"_s);
    QVERIFY(!mailbox->take(soon()));
    QVERIFY(mailbox->closed());
}

void ConnectionTest::aMailboxAttachedAfterTheEndIsClosed()
{
    PipePeer peer;
    const auto early = std::make_shared<Mailbox>();
    peer.connection().attach({}, early);
    peer.hangUp();
    QVERIFY(!early->take(soon()));
    const auto late = std::make_shared<Mailbox>();
    peer.connection().attach(u"P"_s, late);
    QVERIFY(late->closed());
}

void ConnectionTest::aHalfMessageAtTheEndIsDropped()
{
    PipePeer peer;
    const auto mailbox = std::make_shared<Mailbox>();
    peer.connection().attach({}, mailbox);
    peer.say(R"({"method":"E"})");
    peer.hangUp();
    QVERIFY(!mailbox->take(soon()));
    QVERIFY(mailbox->closed());
    QVERIFY(!peer.connection().hasResponded());
}

void ConnectionTest::lastErrorsAreKeptAndBounded()
{
    PipePeer peer;
    for (int i = 0; i < 100; ++i)
        peer.sayError(QByteArray(1000, 'x') + "\n");
    peer.sayError("no usable thing\n");
    QTRY_VERIFY(peer.connection().lastErrors().endsWith("no usable thing\n"));
    QVERIFY(peer.connection().lastErrors().size() <= 4096);
}

void ConnectionTest::aBrowserThatTakesNothingEndsTheSend()
{
    PipePeer peer;
    const QJsonObject large{{u"x"_s, QString(1 << 20, u'x')}};
    try {
        peer.connection().send({}, u"A.b"_s, large, Deadline::in(100ms), nullptr);
        QFAIL("sent");
    } catch (const Failure &failure) {
        QCOMPARE(failure.code(), ExitCode::OutOfTime);
    }
}

/// Neither is one of which the pipe could take nothing sent later.
void ConnectionTest::aCommandIsNeverTorn()
{
    PipePeer peer;
    const QJsonObject large{{u"x"_s, QString(1 << 20, u'x')}};
    const auto mailbox = std::make_shared<Mailbox>();
    QVERIFY_THROWS_EXCEPTION(Failure,
                             peer.connection().send({}, u"first"_s, large, Deadline::in(100ms), mailbox));
    QVERIFY_THROWS_EXCEPTION(Failure,
                             peer.connection().send({}, u"second"_s, large, Deadline::in(100ms), mailbox));
    std::thread sender([&] { peer.connection().send({}, u"third"_s, {}, soon(), mailbox); });
    const QJsonObject first = peer.hear();
    const QJsonObject third = peer.hear();
    sender.join();
    QCOMPARE(first[u"method"_s].toString(), u"first"_s);
    QCOMPARE(first[u"params"_s].toObject(), large);
    QCOMPARE(third[u"method"_s].toString(), u"third"_s);
    // The reply to a command whose sender has timed out is discarded.
    for (const QJsonObject &command : {first, third})
        peer.sayMessage("{\"id\":" + QByteArray::number(command[u"id"_s].toInt()) + "}");
    QCOMPARE(mailbox->take(soon())->value(u"id"_s), third[u"id"_s]);
}

void ConnectionTest::noSenderWaitsForTheTimeOfAnother()
{
    PipePeer peer;
    const QJsonObject large{{u"x"_s, QString(1 << 20, u'x')}};
    std::thread patient([&] { peer.connection().send({}, u"first"_s, large, soon(), nullptr); });
    // The pipe is full now, as long as nobody reads.
    QVERIFY(peer.awaitFullPipe());
    QElapsedTimer timer;
    timer.start();
    QVERIFY_THROWS_EXCEPTION(Failure,
                             peer.connection().send({}, u"second"_s, {}, Deadline::in(100ms), nullptr));
    QVERIFY2(timer.elapsed() < 5000, qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(peer.hear()[u"method"_s].toString(), u"first"_s);
    patient.join();
}

void ConnectionTest::commandsToAGoneBrowserAreDropped()
{
    PipePeer peer;
    const auto mailbox = std::make_shared<Mailbox>();
    peer.connection().attach({}, mailbox);
    peer.turnAway();
    peer.hangUp();
    peer.connection().send({}, u"A.b"_s, {{u"x"_s, QString(1 << 20, u'x')}}, soon(), mailbox);
    QVERIFY(!mailbox->take(soon()));
    QVERIFY(mailbox->closed());
}

void ConnectionTest::manyThreadsMaySend()
{
    constexpr int threadCount = 8;
    constexpr int sends = 50;
    PipePeer peer;
    std::thread answering([&] {
        for (int i = 0; i < threadCount * sends; ++i) {
            const QJsonObject command = peer.hear();
            peer.sayMessage(
                QJsonDocument(QJsonObject{{u"id"_s, command[u"id"_s]}, {u"result"_s, command[u"params"_s]}})
                    .toJson(QJsonDocument::Compact));
        }
    });
    std::atomic<int> right = 0;
    std::vector<std::thread> threads;
    threads.reserve(threadCount);
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([&, thread] {
            const auto mailbox = std::make_shared<Mailbox>();
            for (int i = 0; i < sends; ++i) {
                const QJsonObject parameters{{u"x"_s, QString(2000, QChar(u'a' + thread))}, {u"n"_s, i}};
                peer.connection().send({}, u"A.b"_s, parameters, soon(), mailbox);
                const auto reply = mailbox->take(soon());
                right += reply && reply->value(u"result"_s).toObject() == parameters ? 1 : 0;
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    answering.join();
    QCOMPARE(right.load(), threadCount * sends);
}

void ConnectionTest::takingWaitsNoLongerThanItsDeadline()
{
    Mailbox mailbox;
    QVERIFY(!mailbox.take(Deadline::in(10ms)));
    QVERIFY(!mailbox.closed());
    std::thread other([&] { mailbox.put({{{u"method"_s, u"E"_s}}, {}}); });
    QVERIFY(mailbox.take(soon()));
    other.join();
}

void ConnectionTest::sessionsTellARefusalFromAResult()
{
    PipePeer peer;
    std::thread answering([&] {
        const auto answer = [&](const QByteArray &rest) {
            peer.sayMessage("{\"id\":" + QByteArray::number(peer.hear()[u"id"_s].toInt()) + "," + rest + "}");
        };
        answer(R"("result":{"x":1})");
        answer(R"("error":{"code":-1,"message":"no such thing"})");
        answer(R"("error":{"message":"refused"})");
    });
    Session session(peer.connection(), {}, soon());
    QCOMPARE(session.ask(u"A.b"_s).result[u"x"_s].toInt(), 1);
    QCOMPARE(session.ask(u"A.b"_s).error, u"no such thing"_s);
    try {
        session.call(u"A.b"_s);
        QFAIL("not refused");
    } catch (const Failure &failure) {
        QCOMPARE(failure.code(), ExitCode::Crashed);
        QVERIFY(failure.message().contains(u"A.b"_s));
    }
    answering.join();
}

void ConnectionTest::sessionsEndAtTheirDeadlineNamingTheActivity()
{
    PipePeer peer;
    Session session(peer.connection(), {}, Deadline::in(50ms));
    session.setActivity(u"waiting in vain"_s);
    try {
        session.ask(u"A.b"_s);
        QFAIL("answered");
    } catch (const Failure &failure) {
        QCOMPARE(failure.code(), ExitCode::OutOfTime);
        QVERIFY(failure.message().contains(u"waiting in vain"_s));
    }
}

void ConnectionTest::sessionsTellACrashFromABrowserThatNeverStarted()
{
    for (const bool started : {true, false}) {
        PipePeer peer;
        Session session(peer.connection(), {}, soon());
        if (started)
            peer.sayMessage(R"({"method":"E"})");
        peer.hangUp();
        try {
            session.ask(u"A.b"_s);
            QFAIL("answered");
        } catch (const Failure &failure) {
            QCOMPARE(failure.code(), started ? ExitCode::Crashed : ExitCode::NoBrowser);
        }
    }
}

void ConnectionTest::sessionsHandOutEventsWhileTheyWait()
{
    PipePeer peer;
    Session session(peer.connection(), u"P"_s, soon());
    session.adopt(u"child"_s, true);
    QStringList seen;
    session.on(u"E"_s, [&](const QJsonObject &parameters, const QString &from) {
        seen += from + parameters[u"n"_s].toString();
    });
    peer.sayMessage(R"({"method":"E","sessionId":"P","params":{"n":"1"}})");
    peer.sayMessage(R"({"method":"other","sessionId":"P"})");
    peer.sayMessage(R"({"method":"E","sessionId":"child","params":{"n":"2"}})");
    peer.sayMessage(R"({"method":"E","sessionId":"stranger","params":{"n":"3"}})");
    QVERIFY(session.waitUntil([&] { return seen.size() == 2; }, soon()));
    QCOMPARE(seen, (QStringList{u"P1"_s, u"child2"_s}));
    QVERIFY(!session.waitUntil([&] { return seen.size() == 3; }, Deadline::in(20ms)));
}

void ConnectionTest::aSessionHearsEverythingOnce()
{
    PipePeer peer;
    Session session(peer.connection(), u"P"_s, soon());
    for (const QString &child : {u"child"_s, u"child"_s, u"P"_s})
        session.adopt(child, true);
    QCOMPARE(session.family(), (QStringList{u"P"_s, u"child"_s}));
    int seen = 0;
    session.on(u"E"_s, [&](const QJsonObject &, const QString &) { ++seen; });
    peer.sayMessage(R"({"method":"E","sessionId":"P"})");
    peer.sayMessage(R"({"method":"E","sessionId":"child"})");
    QVERIFY(!session.waitUntil([&] { return seen > 2; }, Deadline::in(50ms)));
    QCOMPARE(seen, 2);
}

void ConnectionTest::aSessionIsNotReleasedFromItself()
{
    PipePeer peer;
    Session session(peer.connection(), u"P"_s, soon());
    session.release(u"P"_s);
    peer.sayMessage(R"({"method":"E"})");
    peer.hangUp();
    try {
        session.ask(u"A.b"_s);
        QFAIL("answered");
    } catch (const Failure &failure) {
        QCOMPARE(failure.code(), ExitCode::Crashed);
    }
}

void ConnectionTest::aFloodOfEventsDoesNotOutlastTheDeadline()
{
    PipePeer peer;
    std::atomic<bool> over = false;
    std::thread flood([&] {
        while (!over)
            peer.sayMessage(R"({"method":"E"})");
    });
    Session session(peer.connection(), {}, Deadline::in(300ms));
    bool ended = false;
    try {
        session.waitUntil([] { return false; }, soon());
    } catch (const Failure &failure) {
        ended = failure.code() == ExitCode::OutOfTime;
    }
    over = true;
    flood.join();
    QVERIFY(ended);
}

void ConnectionTest::aFailureInAHandlerEndsTheWait()
{
    PipePeer peer;
    Session session(peer.connection(), {}, soon());
    session.on(u"E"_s, [&](const QJsonObject &, const QString &) {
        session.fail(Failure(ExitCode::NotLoaded, u"first"_s));
        session.fail(Failure(ExitCode::Crashed, u"second"_s));
    });
    peer.sayMessage(R"({"method":"E"})");
    try {
        session.waitUntil([] { return false; }, soon());
        QFAIL("went on");
    } catch (const Failure &failure) {
        QCOMPARE(failure.code(), ExitCode::NotLoaded);
        QCOMPARE(failure.message(), u"first"_s);
    }
}

void ConnectionTest::cancellingIsNoFailure()
{
    PipePeer peer;
    Session session(peer.connection(), {}, soon());
    session.cancel();
    QVERIFY_THROWS_EXCEPTION(Cancelled, session.ask(u"A.b"_s));
}

QTEST_GUILESS_MAIN(ConnectionTest)
#include "tst_connection.moc"
