#include "engine/devtools/session.h"
#include "engine/page/readiness.h"
#include "tests/support/pipepeer.h"

#include <QJsonArray>
#include <QMutex>
#include <QTest>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <csignal>
#include <thread>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace
{

/// A browser that shows one page, played over its pipe: answers every command at once.
class PlayedBrowser
{
public:
    PlayedBrowser() : m_thread([this] { answerAll(); }) {}
    PlayedBrowser(const PlayedBrowser &) = delete;
    PlayedBrowser &operator=(const PlayedBrowser &) = delete;
    ~PlayedBrowser()
    {
        m_ends = true;
        m_thread.join();
    }

    Connection &connection() { return m_peer.connection(); }

    /// In seconds, so much more at each question.
    std::atomic<double> scriptTime = 0;
    std::atomic<double> scriptTimeGrowth = 0;
    /// Of what the page does when it is shown for the first time.
    std::atomic<double> scriptTimeOfShowing = 0;

    void tell(const char *event, const QJsonObject &parameters, const QString &session = u"S"_s)
    {
        say({{u"method"_s, QLatin1String(event)}, {u"params"_s, parameters}, {u"sessionId"_s, session}});
    }
    void load(const QString &document)
    {
        tell("Page.frameNavigated",
             {{u"frame"_s, QJsonObject{{u"id"_s, u"F"_s}, {u"loaderId"_s, document}}}});
        tell("Page.lifecycleEvent",
             {{u"frameId"_s, u"F"_s}, {u"loaderId"_s, document}, {u"name"_s, u"load"_s}});
    }
    void beginRequest(const QString &id)
    {
        tell("Network.requestWillBeSent", {{u"requestId"_s, id},
                                           {u"loaderId"_s, u"L"_s},
                                           {u"frameId"_s, u"F"_s},
                                           {u"type"_s, u"Image"_s},
                                           {u"request"_s, QJsonObject{{u"url"_s, u"http://host/"_s + id}}}});
    }

    /// The commands of this name so far.
    QList<QJsonObject> commands(const QString &method) const
    {
        const QMutexLocker lock(&m_mutex);
        QList<QJsonObject> found;
        for (const QJsonObject &command : m_commands) {
            if (command[u"method"_s].toString() == method)
                found += command;
        }
        return found;
    }
    /// In milliseconds: how much of the page's time has been let pass in one go or another.
    double passedTime() const { return m_clock; }
    /// How long the page computes while a share of its time passes.
    std::atomic<std::chrono::milliseconds> computingTime = 0ms;
    /// In so many shares after it has been shown its scripts work.
    std::atomic<int> workingShares = 0;
    /// How many are drawn until it has been shown to its end, and for how long the first.
    std::atomic<int> views = 0;
    std::atomic<std::chrono::milliseconds> frameTime = 0ms;
    /// By the clock that never stops; in milliseconds.
    double present() const { return m_begin + m_clock; }
    /// Every frame shows something else than the one before.
    std::atomic<bool> moves = false;
    /// So many times an earlier share's end holds the time at the beginning of the next.
    std::atomic<int> heldShares = 0;
    /// Stopped for the first time, it is already on its way to another document, which arrives.
    std::atomic<bool> movesOn = false;

private:
    void say(const QJsonObject &message)
    {
        const QMutexLocker lock(&m_sending);
        m_peer.sayMessage(QJsonDocument(message).toJson(QJsonDocument::Compact));
    }

    QJsonObject resultOf(const QString &method, const QJsonObject &parameters)
    {
        if (method == u"Performance.getMetrics"_s) {
            scriptTime = scriptTime + scriptTimeGrowth;
            return {
                {u"metrics"_s,
                 QJsonArray{QJsonObject{{u"name"_s, u"ScriptDuration"_s}, {u"value"_s, scriptTime.load()}},
                            QJsonObject{{u"name"_s, u"Timestamp"_s}, {u"value"_s, present() / 1000}}}}};
        }
        if (method == u"Page.getFrameTree"_s)
            return {{u"frameTree"_s, QJsonObject{{u"frame"_s, QJsonObject{{u"id"_s, u"F"_s}}}}}};
        if (method == u"Page.createIsolatedWorld"_s)
            return {{u"executionContextId"_s, 7}};
        if (method == u"Runtime.evaluate"_s) {
            const bool shows = parameters[u"expression"_s].toString().contains(u"isFirst"_s);
            if (shows)
                scriptTime = scriptTime + scriptTimeOfShowing.exchange(0);
            const bool isOver = !shows || ++m_shownViews > views;
            return {{u"result"_s, QJsonObject{{u"value"_s, QJsonObject{{u"isOver"_s, isOver}}}}}};
        }
        if (method == u"HeadlessExperimental.beginFrame"_s && m_shownViews > 0)
            std::this_thread::sleep_for(frameTime.exchange(0ms));
        if (method == u"HeadlessExperimental.beginFrame"_s)
            return {{u"hasDamage"_s, moves.load()}};
        return {};
    }

    void letPass(const QJsonObject &share)
    {
        if (share[u"policy"_s].toString() != u"pauseIfNetworkFetchesPending"_s)
            return;
        std::this_thread::sleep_for(computingTime.load());
        if (m_shownViews > 0 && workingShares-- > 0)
            scriptTime = scriptTime + 0.01;
        if (heldShares > 0)
            --heldShares;
        else
            m_clock = m_clock + share[u"budget"_s].toDouble();
    }

    void answerAll()
    {
        while (!m_ends) {
            const QJsonObject command = m_peer.hear(20);
            if (command.isEmpty())
                continue;
            {
                const QMutexLocker lock(&m_mutex);
                m_commands += command;
            }
            const QString session = command[u"sessionId"_s].toString();
            const QString method = command[u"method"_s].toString();
            const QJsonObject parameters = command[u"params"_s].toObject();
            if (method == u"Page.stopLoading"_s && movesOn.exchange(false))
                load(u"M"_s);
            QJsonObject reply{{u"id"_s, command[u"id"_s]}, {u"result"_s, resultOf(method, parameters)}};
            if (!session.isEmpty())
                reply.insert(u"sessionId"_s, session);
            if (method == u"Emulation.setVirtualTimePolicy"_s && session == u"S"_s)
                letPass(parameters);
            say(reply);
            if (method == u"Emulation.setVirtualTimePolicy"_s)
                tell("Emulation.virtualTimeBudgetExpired", {}, session);
        }
    }

    PipePeer m_peer;
    mutable QMutex m_mutex;
    QMutex m_sending;
    QList<QJsonObject> m_commands;
    const double m_begin =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now().time_since_epoch())
            .count();
    std::atomic<int> m_shownViews = 0;
    std::atomic<double> m_clock = 0; ///< how much of the page's time has passed; in milliseconds
    std::atomic<bool> m_ends = false;
    std::thread m_thread;
};

/// What waits for a page of this browser.
struct Waiting {
    explicit Waiting(PlayedBrowser &browser) : session(browser.connection(), u"S"_s, Deadline::in(20s)) {}

    void awaitWhole(std::chrono::milliseconds bound = 10s)
    {
        readiness.awaitWhole(Job(), Deadline::in(bound));
    }

    Session session;
    PageEvents events{session, u"F"_s, {}};
    VirtualTime time{session};
    Preparation preparation{session, u"F"_s};
    Readiness readiness{session, u"F"_s, events, time, preparation, ThreadWatch(::getpid())};
};

/// Loads a page whose scripts have run, and waits for it.
void awaitScripted(PlayedBrowser &browser)
{
    browser.scriptTime = 0.01;
    Waiting waiting(browser);
    browser.load(u"L"_s);
    waiting.awaitWhole();
}

} // namespace

/// That the facts of a page are gathered, and what is decided is done, with a browser that is played.
class ReadinessTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { std::signal(SIGPIPE, SIG_IGN); }

    void aPageWithoutScriptsIsPreparedAndThatIsAll();
    void thePagesTimePassesForScripts_data();
    void thePagesTimePassesForScripts();
    void framesGoByThePagesTime();
    void aPageIsDrawnAsItsTimePasses_data();
    void aPageIsDrawnAsItsTimePasses();
    void whatIsDrawnSlowlyIsShownToItsEnd();
    void whatCannotBeShownToItsEndIsNamed();
    void aRequestIsWaitedFor();
    void whatPatienceEndsIsNamed();
    void whatMovesOnWhenStoppedIsStoppedAgain();
    void aScriptWithoutEndIsStopped();
    void aPageThatAsksForPrintGetsNoTime();
    void anotherDocumentBeginsAnew();
    void aWorkerSharesTheTime();
    void theEndOfAnotherPageIsNoWork();
};

void ReadinessTest::aPageWithoutScriptsIsPreparedAndThatIsAll()
{
    PlayedBrowser browser;
    Waiting waiting(browser);
    browser.load(u"L"_s);
    waiting.awaitWhole();
    QCOMPARE(browser.commands(u"Emulation.setVirtualTimePolicy"_s).size(), 0);
    QCOMPARE(browser.commands(u"Performance.getMetrics"_s).size(), 1);
    QCOMPARE(browser.commands(u"Runtime.evaluate"_s).size(), 1);
    QVERIFY(waiting.readiness.unfinished().isEmpty());
}

void ReadinessTest::thePagesTimePassesForScripts_data()
{
    QTest::addColumn<double>("scriptTimeOfShowing");
    QTest::addColumn<int>("workingShares");
    QTest::addColumn<int>("heldShares");
    QTest::addColumn<double>("leastTime");
    QTest::addColumn<double>("mostTime");
    QTest::newRow("after its load event") << 0. << 0 << 0 << 5000. << 5000.;
    QTest::newRow("after something done when it is shown") << 0.01 << 0 << 0 << 6000. << 6000.;
    // A second after the last.
    QTest::newRow("after what follows from that") << 0.01 << 3 << 0 << 7500. << 7500.;
    QTest::newRow("in all") << 0.01 << 1000 << 0 << 16000. << 17000.;
    QTest::newRow("later where it is held") << 0. << 0 << 3 << 4990. << 6000.;
}

void ReadinessTest::thePagesTimePassesForScripts()
{
    QFETCH(double, scriptTimeOfShowing);
    QFETCH(int, workingShares);
    QFETCH(int, heldShares);
    QFETCH(double, leastTime);
    QFETCH(double, mostTime);
    PlayedBrowser browser;
    browser.scriptTimeOfShowing = scriptTimeOfShowing;
    browser.workingShares = workingShares;
    browser.heldShares = heldShares;
    awaitScripted(browser);
    QCOMPARE(browser.heldShares, 0);
    const double passed = browser.passedTime();
    QVERIFY2(passed >= leastTime && passed <= mostTime, qPrintable(QString::number(passed)));
    // Prepared, and shown.
    QVERIFY(browser.commands(u"Runtime.evaluate"_s).size() >= 2);
}

void ReadinessTest::framesGoByThePagesTime()
{
    PlayedBrowser browser;
    browser.computingTime = 30ms;
    browser.views = 5;
    browser.moves = true;
    const double before = browser.present();
    const auto begin = std::chrono::steady_clock::now();
    awaitScripted(browser);
    const std::chrono::duration<double, std::milli> realTime = std::chrono::steady_clock::now() - begin;
    const double end = before + browser.passedTime() + realTime.count();
    const QList<QJsonObject> frames = browser.commands(u"HeadlessExperimental.beginFrame"_s);
    QVERIFY(frames.size() > 5);
    double last = 0;
    for (const QJsonObject &frame : frames) {
        const double time = frame[u"params"_s].toObject()[u"frameTimeTicks"_s].toDouble();
        QVERIFY(time <= end);
        // In whole microseconds as well, however they are rounded.
        QVERIFY2(time - last > 0.005, qPrintable(QString::number(time - last)));
        last = time;
    }
}

void ReadinessTest::aPageIsDrawnAsItsTimePasses_data()
{
    QTest::addColumn<bool>("moves");
    QTest::addColumn<double>("longestInterval");
    QTest::newRow("while it moves") << true << 1250.;
    QTest::newRow("at the end, standing still") << false << 4750.;
}

void ReadinessTest::aPageIsDrawnAsItsTimePasses()
{
    QFETCH(bool, moves);
    QFETCH(double, longestInterval);
    PlayedBrowser browser;
    browser.moves = moves;
    awaitScripted(browser);
    const QList<QJsonObject> frames = browser.commands(u"HeadlessExperimental.beginFrame"_s);
    double last = 0;
    double longest = 0;
    for (const QJsonObject &frame : frames) {
        const double time = frame[u"params"_s].toObject()[u"frameTimeTicks"_s].toDouble();
        longest = std::max(longest, last > 0 ? time - last : 0);
        last = time;
    }
    QVERIFY2(std::abs(longest - longestInterval) < 50, qPrintable(QString::number(longest)));
    QVERIFY(last >= browser.present() - 50);
}

void ReadinessTest::whatIsDrawnSlowlyIsShownToItsEnd()
{
    PlayedBrowser browser;
    browser.scriptTime = 0.01;
    browser.views = 2;
    browser.frameTime = 1500ms;
    Waiting waiting(browser);
    browser.load(u"L"_s);
    waiting.awaitWhole(5s);
    QVERIFY(waiting.readiness.unfinished().isEmpty());
    // Prepared, and shown.
    QCOMPARE(browser.commands(u"Runtime.evaluate"_s).size(), 4);
}

void ReadinessTest::whatCannotBeShownToItsEndIsNamed()
{
    PlayedBrowser browser;
    browser.scriptTime = 0.01;
    browser.views = 1'000'000;
    Waiting waiting(browser);
    browser.load(u"L"_s);
    waiting.awaitWhole(500ms);
    QCOMPARE(waiting.readiness.unfinished(),
             QStringList{u"a document that takes long to be shown to its end"_s});
}

void ReadinessTest::aRequestIsWaitedFor()
{
    PlayedBrowser browser;
    Waiting waiting(browser);
    browser.load(u"L"_s);
    browser.beginRequest(u"a.png"_s);
    std::atomic<bool> hasEnded = false;
    std::thread server([&] {
        std::this_thread::sleep_for(150ms);
        hasEnded = true;
        browser.tell("Network.loadingFinished", {{u"requestId"_s, u"a.png"_s}});
    });
    waiting.awaitWhole();
    const bool waited = hasEnded;
    server.join();
    QVERIFY(waited);
    QVERIFY(waiting.readiness.unfinished().isEmpty());
}

void ReadinessTest::whatPatienceEndsIsNamed()
{
    PlayedBrowser browser;
    Waiting waiting(browser);
    browser.load(u"L"_s);
    browser.beginRequest(u"a.png"_s);
    waiting.awaitWhole(200ms);
    QCOMPARE(waiting.readiness.unfinished(), QStringList{u"a request to http://host/a.png"_s});
    QCOMPARE(browser.commands(u"Page.stopLoading"_s).size(), 1);
}

void ReadinessTest::whatMovesOnWhenStoppedIsStoppedAgain()
{
    PlayedBrowser browser;
    browser.movesOn = true;
    Waiting waiting(browser);
    browser.load(u"L"_s);
    browser.beginRequest(u"a.png"_s);
    waiting.awaitWhole(200ms);
    QCOMPARE(browser.commands(u"Page.stopLoading"_s).size(), 2);
}

void ReadinessTest::aScriptWithoutEndIsStopped()
{
    PlayedBrowser browser;
    browser.scriptTimeGrowth = 0.01;
    Waiting waiting(browser);
    browser.load(u"L"_s);
    waiting.awaitWhole(600ms);
    QCOMPARE(waiting.readiness.unfinished(), QStringList{u"scripts that keep running"_s});
    QVERIFY(!browser.commands(u"Runtime.terminateExecution"_s).isEmpty());
}

void ReadinessTest::aPageThatAsksForPrintGetsNoTime()
{
    PlayedBrowser browser;
    browser.scriptTime = 0.01;
    Waiting waiting(browser);
    browser.load(u"L"_s);
    browser.tell("Runtime.bindingCalled", {});
    waiting.awaitWhole();
    QCOMPARE(browser.passedTime(), 0.);
}

void ReadinessTest::anotherDocumentBeginsAnew()
{
    PlayedBrowser browser;
    Waiting waiting(browser);
    browser.load(u"L"_s);
    browser.beginRequest(u"a.png"_s);
    std::thread page([&] {
        std::this_thread::sleep_for(100ms);
        browser.load(u"M"_s);
    });
    waiting.awaitWhole();
    page.join();
    // The request of the first went with it.
    QVERIFY(waiting.readiness.unfinished().isEmpty());
    QCOMPARE(browser.commands(u"Emulation.setEmulatedMedia"_s).size(), 2);
}

void ReadinessTest::aWorkerSharesTheTime()
{
    PlayedBrowser browser;
    browser.scriptTime = 0.01;
    Waiting waiting(browser);
    browser.tell("Target.attachedToTarget",
                 {{u"sessionId"_s, u"W"_s},
                  {u"targetInfo"_s, QJsonObject{{u"type"_s, u"worker"_s}, {u"targetId"_s, u"T"_s}}}});
    browser.load(u"L"_s);
    waiting.awaitWhole();
    QSet<QString> sessions;
    for (const QJsonObject &command : browser.commands(u"Emulation.setVirtualTimePolicy"_s))
        sessions += command[u"sessionId"_s].toString();
    QCOMPARE(sessions, QSet<QString>({u"S"_s, u"W"_s}));
}

void ReadinessTest::theEndOfAnotherPageIsNoWork()
{
    PlayedBrowser browser;
    browser.scriptTime = 0.01;
    Waiting waiting(browser);
    browser.load(u"L"_s);
    std::atomic<bool> isOver = false;
    std::thread others([&] {
        while (!isOver) {
            browser.tell("Target.detachedFromTarget", {{u"sessionId"_s, u"other"_s}}, {});
            std::this_thread::sleep_for(1ms);
        }
    });
    waiting.awaitWhole();
    isOver = true;
    others.join();
    QCOMPARE(browser.passedTime(), 5000.);
    // Prepared, and shown once.
    QCOMPARE(browser.commands(u"Runtime.evaluate"_s).size(), 2);
}

QTEST_GUILESS_MAIN(ReadinessTest)
#include "tst_readiness.moc"
