#include "tests/support/engine.h"
#include "tests/support/webserver.h"

#include <QTest>

using namespace Qt::StringLiterals;

/// The conditions that a user gives to be waited for.
class ConvertWaitTest : public QObject
{
    Q_OBJECT

private slots:
    void whatIsAwaitedIsThere();
    void conditionsThatDoNotComeTrue();

private:
    Engine m_engine;
};

/// All at once, because each takes as long as the page.
void ConvertWaitTest::whatIsAwaitedIsThere()
{
    // The server takes 3 s of real time for its first event, and such a connection may stay silent for ever.
    const WebServer server("location /slow/ { limit_rate 1000; default_type text/event-stream; }");
    server.write(u"slow/events"_s, ':' + QByteArray(3500, ' ') + "\ndata: x\n\n" + QByteArray(9000, '\n'));
    server.write(
        u"page.html"_s,
        "<!DOCTYPE html><p id=late hidden>whole<script>new EventSource('slow/events').onmessage=()=>{"
        "late.hidden=false;late.title='{\"done\":1}';window.done=1}</script>");
    const QString page = server.address(u"/page.html"_s);
    const QList<Task> tasks{
        {page, {}},
        {page, {u"--wait-for"_s, u"#late"_s}},
        {page, {u"--wait-for-expression"_s, u"window.done"_s}},
        // Invalid at first.
        {page, {u"--wait-for-expression"_s, u"JSON.parse(late.title).done"_s}},
        {page, {u"--wait-for-expression"_s, u"new Promise(d => setTimeout(d, 4000, 1)) // so long"_s}},
        {page, {u"--wait"_s, u"4"_s}},
    };
    const std::vector<Conversion> conversions = m_engine.convertAll(tasks);
    for (size_t i = 0; i < conversions.size(); ++i) {
        const QStringList &options = tasks[qsizetype(i)].options;
        VERIFY_WRITTEN(conversions[i]);
        QVERIFY2(conversions[i].pdf().text().contains(u"whole"_s) == !options.isEmpty(),
                 qPrintable(options.join(u' ')));
    }
}

/// All at once, because each takes as long as its timeout.
void ConvertWaitTest::conditionsThatDoNotComeTrue()
{
    struct Condition {
        const char *option;
        const char *value;
        int exitCode;
        const char *message;
    };
    constexpr Condition conditions[] = {
        {"--wait-for", "#none", 4, "\"#none\""},
        {"--wait-for", "#hidden", 4, "\"#hidden\""},
        {"--wait-for-expression", "0", 4, "\"0\""},
        {"--wait-for-expression", "nope.nope", 4, "\"nope.nope\""},
        {"--wait", "20", 4, "--wait"},
        {"--wait-for", "[[", 1, "--wait-for takes"},
        {"--wait-for-expression", "1 +", 1, "--wait-for-expression takes"},
    };
    const QString page = m_engine.write(u"page.html"_s, "<p>x<p id=hidden hidden>y");
    QList<Task> tasks;
    for (const Condition &condition : conditions)
        tasks +=
            {page, {QLatin1String(condition.option), QLatin1String(condition.value), u"--timeout"_s, u"5"_s}};
    const std::vector<Conversion> conversions = m_engine.convertAll(tasks);
    for (size_t i = 0; i < conversions.size(); ++i) {
        VERIFY_FAILED(conversions[i], conditions[i].exitCode);
        QVERIFY2(conversions[i].run.errors.contains(conditions[i].message),
                 conversions[i].run.errors.constData());
    }
}

QTEST_GUILESS_MAIN(ConvertWaitTest)
#include "tst_convertwait.moc"
