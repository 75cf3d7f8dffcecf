#include "tests/support/engine.h"
#include "tests/support/webserver.h"

#include <QTest>

using namespace Qt::StringLiterals;

/// The conditions that a user gives to be waited for.
class ConvertWaitTest : public QObject
{
    Q_OBJECT

private slots:
    void whatIsAwaitedIsThere_data();
    void whatIsAwaitedIsThere();
    void conditionsThatDoNotComeTrue_data();
    void conditionsThatDoNotComeTrue();

private:
    Engine m_engine;
};

void ConvertWaitTest::whatIsAwaitedIsThere_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<bool>("comes");
    QTest::newRow("nothing") << QStringList() << false;
    QTest::newRow("a selector") << QStringList{u"--wait-for"_s, u"#late"_s} << true;
    QTest::newRow("an expression") << QStringList{u"--wait-for-expression"_s, u"window.done"_s} << true;
    QTest::newRow("an expression that is invalid at first")
        << QStringList{u"--wait-for-expression"_s, u"JSON.parse(late.title).done"_s} << true;
    QTest::newRow("a promise") << QStringList{u"--wait-for-expression"_s,
                                              u"new Promise(d => setTimeout(d, 4000, 1)) // so long"_s}
                               << true;
    QTest::newRow("a time") << QStringList{u"--wait"_s, u"4"_s} << true;
}

void ConvertWaitTest::whatIsAwaitedIsThere()
{
    QFETCH(QStringList, options);
    QFETCH(bool, comes);
    // The server takes 3 s of real time for its first event, and such a connection may stay silent for ever.
    const WebServer server("location /slow/ { limit_rate 1000; default_type text/event-stream; }");
    server.write(u"slow/events"_s, ':' + QByteArray(3500, ' ') + "\ndata: x\n\n" + QByteArray(9000, '\n'));
    server.write(
        u"page.html"_s,
        "<!DOCTYPE html><p id=late hidden>whole<script>new EventSource('slow/events').onmessage=()=>{"
        "late.hidden=false;late.title='{\"done\":1}';window.done=1}</script>");
    const Conversion conversion = m_engine.convert(server.address(u"/page.html"_s), options);
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().text().contains(u"whole"_s), comes);
}

void ConvertWaitTest::conditionsThatDoNotComeTrue_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QByteArray>("part");
    QTest::newRow("an element that is missing")
        << QStringList{u"--wait-for"_s, u"#none"_s} << 4 << QByteArray("\"#none\"");
    QTest::newRow("one that cannot be seen")
        << QStringList{u"--wait-for"_s, u"#hidden"_s} << 4 << QByteArray("\"#hidden\"");
    QTest::newRow("an expression") << QStringList{u"--wait-for-expression"_s, u"0"_s} << 4
                                   << QByteArray("\"0\"");
    QTest::newRow("one that throws") << QStringList{u"--wait-for-expression"_s, u"nope.nope"_s} << 4
                                     << QByteArray("\"nope.nope\"");
    QTest::newRow("a time") << QStringList{u"--wait"_s, u"20"_s} << 4 << QByteArray("--wait");
    QTest::newRow("no selector") << QStringList{u"--wait-for"_s, u"[["_s} << 1
                                 << QByteArray("--wait-for takes");
    QTest::newRow("no expression") << QStringList{u"--wait-for-expression"_s, u"1 +"_s} << 1
                                   << QByteArray("--wait-for-expression takes");
}

void ConvertWaitTest::conditionsThatDoNotComeTrue()
{
    QFETCH(QStringList, options);
    QFETCH(int, exitCode);
    QFETCH(QByteArray, part);
    const Conversion conversion =
        m_engine.convertText("<p>x<p id=hidden hidden>y", options + QStringList{u"--timeout"_s, u"3"_s});
    VERIFY_FAILED(conversion, exitCode);
    QVERIFY2(conversion.run.errors.contains(part), conversion.run.errors.constData());
}

QTEST_GUILESS_MAIN(ConvertWaitTest)
#include "tst_convertwait.moc"
