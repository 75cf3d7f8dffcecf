// The window's run under faults of engines, pages and users.

#include "tests/conversion/runfixture.h"
#include "tests/support/engine.h"
#include "tests/support/silentserver.h"
#include "tests/support/stress.h"
#include "tests/support/waiting.h"
#include "tests/support/webserver.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QRandomGenerator>

using namespace Qt::StringLiterals;

namespace
{

/// What an engine may do instead of its work, for rows whose name ends with this word; and what the row must
/// say then.
struct Fault {
    const char *name;
    const char *script;
    const char *information;
};

constexpr Fault faults[] = {
    {"exit1", "exit 1", "Failed"},
    {"exit2", "exit 2", "Failed"},
    {"exit3", "exit 3", "Failed"},
    {"exit4", "exit 4", "Failed"},
    {"exit5", "exit 5", "Failed"},
    {"exit6", "exit 6", "Failed"},
    {"killed", "kill -KILL $$", "Failed"},
    {"crashed", "kill -SEGV $$", "Failed"},
    {"aborted", "kill -ABRT $$", "Failed"},
    {"idle", "exit 0", "Failed"},
    {"empty", ": > \"$output\"", "Failed"},
    {"talkative", "head -c 5000000 /dev/zero; head -c 5000000 /dev/zero >&2; exit 3", "Failed"},
    {"removing", "rm \"$output\"", "Failed"},
    {"folder", "mkdir \"$output\"", "Failed"},
    {"dangling", "ln -s /nonexistent/file \"$output\"", "Failed"},
    {"unstartable", "exec /dev/null", "Failed"},
    {"orphaning", "sleep 1 & exit 3", "Failed"},
    {"written-exit6", "echo x > \"$output\"; exit 6", "Success"},
    {"written-crashed", "echo x > \"$output\"; kill -SEGV $$", "Success"},
    {"older", "exit 1", "Success"},
};

/// Every fault is met by the name of its rows; all other rows are written.
QString faultyEngine()
{
    QString script = u"case $input in\n"_s;
    for (const Fault &fault : faults)
        script += u"*/%1.html) %2 ;;\n"_s.arg(QLatin1String(fault.name), QLatin1String(fault.script));
    return script + u"*) echo x > \"$output\" ;;\nesac"_s;
}

void writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s", qPrintable(path));
}

/// Writes the random seed to the log, so that a failure can be repeated with the same moments.
QRandomGenerator seededGenerator()
{
    bool given = false;
    quint32 seed = qEnvironmentVariable("QUIRELLE_TEST_SEED").toUInt(&given);
    if (!given)
        seed = QRandomGenerator::system()->generate();
    qInfo("repeat with QUIRELLE_TEST_SEED=%u", seed);
    return QRandomGenerator(seed);
}

/// Lets the window work until a random moment.
void workAWhile(QRandomGenerator &random, int maximumMicroseconds)
{
    const QDeadlineTimer end(std::chrono::microseconds(random.bounded(maximumMicroseconds)),
                             Qt::PreciseTimer);
    while (!end.hasExpired())
        QCoreApplication::processEvents();
}

/// The engines that this program has started and that still run.
qsizetype runningEngines()
{
    return runningOf(descendantsOf(QCoreApplication::applicationPid()));
}

/// What is untrue in the rows of a run that has been stopped, each with a name of its own: first come rows
/// that are judged, each as its file is; then rows that no engine has been started for. Empty if nothing is.
QString untruth(const RunFixture &f)
{
    bool blanksHaveBegun = false;
    for (int row = 0; row < f.table.rowCount(); ++row) {
        const QString information = f.information(row);
        const QFileInfo pdf(f.pdf(QFileInfo(f.text(row, InputColumn)).completeBaseName()));
        const bool isWritten = pdf.isFile() && pdf.size() > 0;
        blanksHaveBegun = blanksHaveBegun || information.isEmpty();
        const QString wanted = blanksHaveBegun ? QString() : isWritten ? u"Success"_s : u"Failed"_s;
        if (information != wanted || (blanksHaveBegun && pdf.exists()))
            return u"row %1: \"%2\", a file of %3 bytes"_s.arg(row).arg(information).arg(pdf.size());
        const QString size = information == "Success"_L1
                                 ? QString::asprintf("%14.3fKb", static_cast<double>(pdf.size()) / 1000.0)
                                 : QString();
        if (f.text(row, SizeColumn) != size)
            return u"row %1: size \"%2\", a file of %3 bytes"_s.arg(row)
                .arg(f.text(row, SizeColumn))
                .arg(pdf.size());
    }
    return QString();
}

/// What is no whole PDF in a folder.
QStringList flawsIn(const QString &folder)
{
    QStringList flaws;
    const QFileInfoList entries =
        QDir(folder).entryInfoList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    for (const QFileInfo &entry : entries) {
        if (const QString complaint = PdfFile(entry.filePath()).complaint(); !complaint.isEmpty())
            flaws << entry.fileName() + u": "_s + complaint;
    }
    return flaws;
}

/// The script of an engine that is the real one, in the surroundings of `engine`.
QString realEngine(const Engine &engine, const QString &options = {})
{
    QString script;
    for (const char *variable :
         {"TMPDIR", "HOME", "XDG_STATE_HOME", "XDG_RUNTIME_DIR", "QUIRELLE_IDLE_SECONDS"}) {
        const QString name = QLatin1String(variable);
        script += u"export %1='%2'\n"_s.arg(name, engine.environment().value(name));
    }
    return script + u"exec '%1' %2 \"$@\""_s.arg(Engine::program(), options);
}

/// Measures the longest time during which the event loop was blocked.
class LongestGap
{
public:
    LongestGap()
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.callOnTimeout([this] { m_longest = std::max(m_longest, m_clock.restart()); });
        m_timer.start(5);
        m_clock.start();
    }

    qint64 milliseconds() const { return m_longest; }

private:
    QTimer m_timer;
    QElapsedTimer m_clock;
    qint64 m_longest = 0;
};

} // namespace

class tst_RunFaults : public QObject
{
    Q_OBJECT

private:
    void useEngine(const QString &script) const { installEngine(script, m_log->path()); }
    QString logged(const QString &name) const { return m_log->filePath(name); }

    std::unique_ptr<QTemporaryDir> m_log;

private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(u"QProcess|QObject"_s));
        m_log = std::make_unique<QTemporaryDir>();
        QFile::remove(settingsFilePath());
        QFile::remove(enginePlace());
    }

    void cleanupTestCase()
    {
        QFile::remove(settingsFilePath());
        QFile::remove(enginePlace());
    }

    void everyFaultIsTheMatterOfItsRowAlone()
    {
        useEngine(faultyEngine());
        RunFixture f;
        QStringList wanted;
        for (const Fault &fault : faults) {
            for (int good = 0; good < 4; ++good) {
                f.addRow(u"/a/%1.html"_s.arg(wanted.size()));
                wanted << u"Success"_s;
            }
            f.addRow(u"/a/%1.html"_s.arg(QLatin1String(fault.name)));
            wanted << QLatin1String(fault.information);
        }
        QCOMPARE(wanted.size(), 100);
        writeFile(f.pdf(u"removing"_s), "older");
        writeFile(f.pdf(u"older"_s), "older");
        f.start();
        QTRY_VERIFY_WITH_TIMEOUT(!f.isRunning(), 60000);
        for (int row = 0; row < wanted.size(); ++row) {
            QVERIFY2(f.information(row) == wanted[row], qPrintable(f.text(row, InputColumn)));
            QCOMPARE(f.text(row, SizeColumn).isEmpty(), wanted[row] == "Failed"_L1);
        }
        QCOMPARE(f.progress.value(), 0);
        QCOMPARE(runningEngines(), 0);
    }

    void anEngineThatHangsIsEndedByStop_data()
    {
        QTest::addColumn<QString>("script");
        QTest::newRow("asleep") << u"exec sleep 1000"_s;
        QTest::newRow("held by a signal") << u"kill -STOP $$"_s;
        QTest::newRow("busy and deaf") << u"trap '' TERM INT HUP; while :; do :; done"_s;
        QTest::newRow("printing for ever") << u"exec yes"_s;
        QTest::newRow("reading for ever") << u"exec cat"_s;
    }

    void anEngineThatHangsIsEndedByStop()
    {
        QFETCH(QString, script);
        useEngine(u"case $input in */hangs.html) : > \"$log/hangs\"; "_s + script +
                  u";; esac; echo x > \"$output\""_s);
        RunFixture f;
        for (const char *name : {"first", "hangs", "last"})
            f.addRow(u"/a/%1.html"_s.arg(QLatin1String(name)));
        f.start();
        QTRY_VERIFY(QFile::exists(logged(u"hangs"_s)));
        QCOMPARE(f.information(1), u"Converting..."_s);
        f.start();
        QVERIFY(!f.isRunning());
        QCOMPARE(untruth(f), QString());
        QCOMPARE(f.information(1), u"Failed"_s);
        QCOMPARE(runningEngines(), 0);
    }

    void stopAtAnyMomentLeavesTheWindowIdle()
    {
        useEngine(u"case $input in\n"
                  "*/[05].html) echo x > \"$output\" ;;\n"
                  "*/[16].html) printf part > \"$output\"; sleep 0.01; echo x > \"$output\" ;;\n"
                  "*/[27].html) sleep 0.005; echo x > \"$output\" ;;\n"
                  "*/[38].html) : > \"$output\"; sleep 0.005 ;;\n"
                  "*/[49].html) kill -SEGV $$ ;;\n"
                  "*) sleep 1000 ;;\n"
                  "esac"_s);
        QRandomGenerator random = seededGenerator();
        RunFixture f;
        for (int row = 0; row < 11; ++row)
            f.addRow(u"/a/%1.html"_s.arg(row));
        QSet<int> rowsStopped;
        for (int time = 0; time < (isStressWanted() ? 100 : 30); ++time) {
            QVERIFY(QDir(f.out.path()).removeRecursively() && QDir().mkpath(f.out.path()));
            f.start();
            workAWhile(random, 60000);
            QVERIFY(f.isRunning());
            rowsStopped.insert(f.progress.value());
            f.start();
            QCOMPARE(f.startButton.text(), u"Start"_s);
            QCOMPARE(f.progress.value(), 0);
            QCOMPARE(runningEngines(), 0);
            const QString flaw = untruth(f);
            QVERIFY2(flaw.isEmpty(), qPrintable(u"stop %1, %2"_s.arg(time).arg(flaw)));
        }
        // Otherwise no fault has occurred.
        QVERIFY(rowsStopped.size() > 3);
    }

    void dropsAndSettingsInMidRunCountFromTheNextJobOn()
    {
        useEngine(
            u"title=; for argument; do [ \"$word\" = --title ] && title=$argument; word=$argument; done\n"
            "echo \"$title\" >> \"$log/titles\"; echo x > \"$output\""_s);
        QRandomGenerator random = seededGenerator();
        RunFixture f;
        for (int row = 0; row < 20; ++row)
            f.addRow(u"/a/%1.html"_s.arg(row));
        storeSetting(SettingKey::Title, u"0"_s);
        f.start();
        int title = 0;
        while (f.table.rowCount() < 100) {
            workAWhile(random, 4000);
            if (random.bounded(2) == 0) {
                storeSetting(SettingKey::Title, QString::number(++title));
                continue;
            }
            QStringList dropped;
            for (int count = random.bounded(1, 4); count > 0; --count) {
                dropped << m_log->filePath(u"dropped-%1-%2.html"_s.arg(f.table.rowCount()).arg(count));
                writeFile(dropped.last(), "<p>dropped");
            }
            f.drop(dropped);
            // One that ends before all is dropped is started anew, from the first row on.
            if (!f.isRunning()) {
                QFile::remove(logged(u"titles"_s));
                f.start();
            }
        }
        QTRY_VERIFY_WITH_TIMEOUT(!f.isRunning(), 60000);
        for (int row = 0; row < f.table.rowCount(); ++row)
            QCOMPARE(f.information(row), u"Success"_s);
        QCOMPARE(untruth(f), QString());
        const QStringList titles = lines(logged(u"titles"_s));
        QCOMPARE(titles.size(), f.table.rowCount());
        const auto isEarlier = [](const QString &left, const QString &right) {
            return left.toInt() < right.toInt();
        };
        QVERIFY(std::is_sorted(titles.begin(), titles.end(), isEarlier));
        QCOMPARE(titles.last().toInt(), title);
    }

    void pagesThatFailAreTheMatterOfTheirRowsAlone()
    {
        const WebServer server("location /circle { return 302 /circle; }\n"
                               "location /nothing { return 204; }\n"
                               "location /busy { return 503; }\n"
                               "location /closed { auth_basic realm; auth_basic_user_file /nonexistent; }\n"
                               "location /file { default_type application/zip; return 200 PK; }\n");
        server.write(u"page.html"_s, "<!DOCTYPE html><p>from the web");
        Engine engine;
        // As users have it.
        engine.setIdleSeconds(60);
        // Only the page that never ends is not waited for.
        useEngine(u"case $input in */endless.html) seconds=3 ;; *) seconds=60 ;; esac\n"_s +
                  realEngine(engine, u"--timeout $seconds"_s));
        RunFixture f;
        QStringList wanted;
        const auto add = [&](const QString &input, const char16_t *source, const QString &information) {
            f.addRow(input, source);
            wanted << information;
        };
        const auto addPage = [&](const QString &name, const QByteArray &html, const QString &information) {
            add(engine.write(name + u".html"_s, html), JobSource::LocalFile, information);
        };
        const QString success = u"Success"_s;
        const QString failed = u"Failed"_s;

        addPage(u"plain"_s, "<!DOCTYPE html><p>plain", success);
        addPage(u"empty"_s, "", success);
        addPage(u"garbage"_s, QByteArrayLiteral("\x00\xff<\x80>&#0;<table><frameset>"), success);
        addPage(u"throwing"_s, "<p>x<script>throw new Error</script>", success);
        addPage(u"asking"_s, "<p>x<script>alert(1); confirm(2); prompt(3); print()</script>", success);
        addPage(u"closing"_s, "<p>x<script>close(); open('about:blank')</script>", success);
        addPage(u"endless"_s, "<p>x<script>for(;;);</script>", failed);
        addPage(u"occupied"_s, "<p>x", failed);
        addPage(u"quo\"ted"_s, "<p>x", success);
        addPage(u"\" \"--title\" \"x"_s, "<p>x", success);
        add(engine.path(u"missing.html"_s), JobSource::LocalFile, failed);
        add(engine.makeFolder(u"folder.html"_s), JobSource::LocalFile, failed);
        for (const char *path : {"/missing", "/circle", "/nothing", "/busy", "/closed", "/file"})
            add(server.address(QLatin1String(path)), JobSource::OnlineFile, failed);
        add(u"http://127.0.0.1:%1/refused"_s.arg(freePort()), JobSource::OnlineFile, failed);
        add(u"http://no-such-host.invalid/"_s, JobSource::OnlineFile, failed);
        add(u"ftp://127.0.0.1/file"_s, JobSource::OnlineFile, failed);
        add(u"www."_s, JobSource::OnlineFile, failed);
        add(server.address(u"/page.html"_s), JobSource::OnlineFile, success);
        addPage(u"last"_s, "<!DOCTYPE html><p>last", success);

        QVERIFY(QDir(f.out.path()).mkdir(u"occupied.pdf"_s));
        f.start();
        QTRY_VERIFY_WITH_TIMEOUT(!f.isRunning(), 200000);
        for (int row = 0; row < wanted.size(); ++row)
            QVERIFY2(f.information(row) == wanted[row],
                     qPrintable(f.text(row, InputColumn) + u": "_s + f.information(row)));
        QVERIFY(QDir(f.out.path()).rmdir(u"occupied.pdf"_s));
        QCOMPARE(flawsIn(f.out.path()), QStringList());
        QCOMPARE(QDir(f.out.path()).entryList(QDir::Files).size(), wanted.count(success));
        QCOMPARE(engine.leftBehind(), QString());
    }

    void stopAtAnyMomentLeavesNothingOfTheEngine_data()
    {
        QTest::addColumn<int>("idleSeconds");
        QTest::newRow("cold") << 0;
        QTest::newRow("warm") << 60;
    }

    void stopAtAnyMomentLeavesNothingOfTheEngine()
    {
        QFETCH(int, idleSeconds);
        QRandomGenerator random = seededGenerator();
        Engine engine;
        engine.setIdleSeconds(idleSeconds);
        useEngine(realEngine(engine));
        RunFixture f;
        for (int row = 0; row < 30; ++row)
            f.addRow(engine.write(u"%1.html"_s.arg(row), "<!DOCTYPE html><h1>One of many</h1>"));
        for (int time = 0; time < 10; ++time) {
            QVERIFY(QDir(f.out.path()).removeRecursively() && QDir().mkpath(f.out.path()));
            f.start();
            workAWhile(random, 700000);
            QVERIFY(f.isRunning());
            f.start();
            QCOMPARE(f.startButton.text(), u"Start"_s);
            QCOMPARE(untruth(f), QString());
            QCOMPARE(flawsIn(f.out.path()), QStringList());
        }
        // A window that is closed in mid-run.
        f.start();
        workAWhile(random, 700000);
        QVERIFY(f.isRunning());
        QVERIFY(f.window.close());
        QVERIFY(!f.isRunning());
        QCOMPARE(flawsIn(f.out.path()), QStringList());

        QVERIFY(engine.endServers());
        // The guards of killed engines end a moment later.
        waitUntil([&engine] { return engine.leftBehind().isEmpty(); });
        QCOMPARE(engine.leftBehind(), QString());
    }

    void manyRowsKeepTheMemoryFlatAndTheWindowAnswering()
    {
        SKIP_STRESS();
        const int many = std::max(qEnvironmentVariableIntValue("QUIRELLE_TEST_ROWS"), 300);
        useEngine(u"echo x > \"$output\""_s);
        RunFixture f;
        QList<Job> jobs;
        for (int row = 0; row < many; ++row)
            jobs.append({u"/a/%1.html"_s.arg(row), QString::fromUtf16(JobSource::LocalFile)});
        appendJobs(f.table, jobs);
        QElapsedTimer timer;
        timer.start();
        f.start();
        QTRY_COMPARE_WITH_TIMEOUT(f.information(many / 6), u"Success"_s, many * 100);
        const qint64 before = residentMemory();
        const int descriptors = openDescriptors();
        const LongestGap gap;
        // Not QTRY_VERIFY, which looks too seldom.
        QVERIFY(QTest::qWaitFor([&f] { return !f.isRunning(); }, many * 200));
        const qint64 grown = residentMemory() - before;
        qInfo("%d rows: %lld ms, %lld kB more than after a sixth of them, longest gap %lld ms", many,
              static_cast<long long>(timer.elapsed()), static_cast<long long>(grown),
              static_cast<long long>(gap.milliseconds()));
        for (int row = 0; row < many; ++row)
            QCOMPARE(f.information(row), u"Success"_s);
        QVERIFY(openDescriptors() <= descriptors);
        QCOMPARE(runningEngines(), 0);
        QVERIFY(gap.milliseconds() < 2000);
#ifdef __SANITIZE_ADDRESS__
        // The address sanitizer keeps freed memory for a while.
        QVERIFY(grown < 250000);
#else
        QVERIFY(grown < 500 + many * 3 / 10);
#endif
    }
};

QTEST_MAIN(tst_RunFaults)
#include "tst_runfaults.moc"
