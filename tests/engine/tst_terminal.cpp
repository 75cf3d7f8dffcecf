#include "tests/support/engine.h"
#include "tests/support/silentserver.h"
#include "tests/support/terminal.h"

#include <QFile>
#include <QRegularExpression>
#include <QTest>
#include <QThread>

#include <sys/ioctl.h>

#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

/// The engine as a user of a shell sees it.
class TerminalTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_engine = std::make_unique<Engine>(); }
    void cleanup() { QCOMPARE(m_engine->leftBehind(), QString()); }

    void helpFitsTheTerminal();
    void aRefusalIsOnePlainLine();
    void aLongJobSaysWhatItDoes();
    void severalInputsAreCounted();
    void aShortJobSaysNothing();
    void theStatusLineNeverWraps();
    void elsewhereNothingIsSaidOfALongJob_data();
    void elsewhereNothingIsSaidOfALongJob();
    void aPdfGoesToStandardOutput();
    void aPdfDoesNotGoToATerminal();
    void aFailedJobSendsNothing();
    void aFailedWriteIsAFailure_data();
    void aFailedWriteIsAFailure();
    void aReaderMayBeSlow();
    void aFileCanStillBeCalledDash();

private:
    TerminalResult atTerminal(const QStringList &arguments,
                              TerminalOutput output = TerminalOutput::ToTerminal, const char *kind = "xterm")
    {
        ProgramOptions options{m_engine->environment(), m_engine->documents()};
        options.environment.insert(u"TERM"_s, QLatin1String(kind));
        return runAtTerminal(Engine::program(), arguments, output, options);
    }
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

void TerminalTest::helpFitsTheTerminal()
{
    const TerminalResult help = atTerminal({u"--help"_s});
    QCOMPARE(help.run.exitCode, 0);
    const QList<QByteArray> lines = help.screen.split('\n');
    for (const QByteArray &line : lines)
        QVERIFY2(line.trimmed().size() <= 80, line.constData());
}

void TerminalTest::aRefusalIsOnePlainLine()
{
    const TerminalResult refused = atTerminal({u"--copies"_s, u"none"_s, u"in"_s, u"out"_s});
    QCOMPARE(refused.run.exitCode, 1);
    QVERIFY2(refused.screen.startsWith("quirelle: --copies"), refused.screen.constData());
    QVERIFY2(refused.screen.count('\n') == 1 && !refused.screen.contains('\x1b'), refused.screen.constData());
}

void TerminalTest::aLongJobSaysWhatItDoes()
{
    const SilentServer server;
    const TerminalResult job =
        atTerminal({u"--timeout"_s, u"4"_s, server.address(), m_engine->freshOutput()});
    QCOMPARE(job.run.exitCode, 4);
    const QByteArray address = server.address().toUtf8();
    for (const char *seconds : {"\r\x1b[K\x1b[?7l1 s, ", "\r\x1b[K\x1b[?7l3 s, "})
        QVERIFY2(job.screen.contains(seconds), job.screen.constData());
    QVERIFY2(job.screen.contains(" s, loading " + address), job.screen.constData());
    // Of all this the error alone is left, and it is the only line that ends.
    QVERIFY2(
        QString::fromUtf8(job.screen).contains(QRegularExpression(u"\r\x1b\\[Kquirelle: [^\x1b]*\r\n$"_s)),
        job.screen.constData());
    QCOMPARE(job.screen.count('\n'), 1);
}

void TerminalTest::severalInputsAreCounted()
{
    QStringList arguments{u"--wait"_s, u"1.5"_s};
    const int count = 2 * QThread::idealThreadCount();
    for (int i = 0; i < count; ++i)
        arguments += m_engine->write(u"page-%1.html"_s.arg(i), "<p>page");
    const TerminalResult job = atTerminal(arguments + QStringList{m_engine->freshOutput()});
    QCOMPARE(job.run.exitCode, 0);
    const QByteArray all = QByteArray::number(count);
    QVERIFY2(job.screen.contains(" s, 0 of " + all + " printed, "), job.screen.constData());
    const QRegularExpression left(u" s, [1-9]\\d* of %1 printed, about \\d+ s left, "_s.arg(count));
    QVERIFY2(QString::fromUtf8(job.screen).contains(left), job.screen.constData());
    QVERIFY2(job.screen.endsWith("\r\x1b[K"), job.screen.constData());
}

void TerminalTest::aShortJobSaysNothing()
{
    const SilentServer server;
    const TerminalResult job =
        atTerminal({u"--timeout"_s, u"0.5"_s, server.address(), m_engine->freshOutput()});
    QCOMPARE(job.run.exitCode, 4);
    // On a busy machine it may take more than a second to end.
    const bool wasLong = job.screen.contains(" s, ");
    QVERIFY2(wasLong || (job.screen.count('\n') == 1 && !job.screen.contains('\x1b')),
             job.screen.constData());
}

void TerminalTest::theStatusLineNeverWraps()
{
    const SilentServer server;
    const TerminalResult job = atTerminal(
        {u"--timeout"_s, u"2.5"_s, server.address() + QString(200, u'x'), m_engine->freshOutput()});
    QCOMPARE(job.run.exitCode, 4);
    // Wrapping is off while such a line is written, and on again behind each.
    QVERIFY2(job.screen.contains(QByteArray(100, 'x') + "\x1b[?7h"), job.screen.constData());
    QCOMPARE(job.screen.count("\x1b[?7l"), job.screen.count("\x1b[?7h"));
}

void TerminalTest::elsewhereNothingIsSaidOfALongJob_data()
{
    QTest::addColumn<QString>("place");
    for (const char *place : {"no terminal", "a dumb terminal", "a terminal that another job has"})
        QTest::newRow(place) << QString(QLatin1String(place));
}

void TerminalTest::elsewhereNothingIsSaidOfALongJob()
{
    QFETCH(QString, place);
    const SilentServer server;
    const QStringList arguments{u"--timeout"_s, u"2"_s, server.address(), m_engine->freshOutput()};
    QByteArray said;
    if (place == u"no terminal"_s)
        said = m_engine->run(arguments).errors;
    else if (place == u"a dumb terminal"_s)
        said = atTerminal(arguments, TerminalOutput::ToTerminal, "dumb").screen;
    else
        said =
            runAtTerminal(u"/bin/sh"_s,
                          QStringList{u"-mc"_s, u"\"$@\" & wait"_s, u"sh"_s, Engine::program()} + arguments,
                          TerminalOutput::ToTerminal, {m_engine->environment(), m_engine->documents()})
                .screen;
    QVERIFY2(said.contains("quirelle: out of time"), said.constData());
    QVERIFY2(!said.contains('\x1b') && !said.contains(" s, "), said.constData());
}

void TerminalTest::aPdfGoesToStandardOutput()
{
    const QString page = m_engine->write(u"in.html"_s, "some text");
    const ProgramResult piped = m_engine->run({page, u"-"_s});
    QCOMPARE(piped.errors, QByteArray());
    QCOMPARE(piped.exitCode, 0);
    const PdfFile pdf(m_engine->write(u"piped.pdf"_s, piped.output));
    QCOMPARE(pdf.complaint(), QString());
    QCOMPARE(pdf.text(), u"some text"_s);
    QVERIFY(!QFile::exists(m_engine->path(u"-"_s)));
    const QString line = m_engine->logLines().value(0);
    QVERIFY2(line.contains(u" -> -: %1 bytes"_s.arg(piped.output.size())), qPrintable(line));

    const ProgramResult byDevice = m_engine->run({page, u"/dev/stdout"_s});
    QCOMPARE(byDevice.exitCode, 0);
    QCOMPARE(PdfFile(m_engine->write(u"by-device.pdf"_s, byDevice.output)).text(), u"some text"_s);

    // Also where messages go to a terminal.
    const TerminalResult atDesk = atTerminal({page, u"-"_s}, TerminalOutput::ToPipe);
    QCOMPARE(atDesk.run.exitCode, 0);
    QCOMPARE(PdfFile(m_engine->write(u"at-desk.pdf"_s, atDesk.run.output)).complaint(), QString());
}

void TerminalTest::aPdfDoesNotGoToATerminal()
{
    const SilentServer server;
    const TerminalResult job = atTerminal({server.address(), u"-"_s});
    QCOMPARE(job.run.exitCode, 5);
    QVERIFY2(job.screen.startsWith("quirelle: standard output cannot be written: it is a terminal"),
             job.screen.constData());
    QVERIFY(!job.screen.contains("%PDF"));
}

void TerminalTest::aFailedJobSendsNothing()
{
    for (const QStringList &arguments : {QStringList{u"/no/such/file.html"_s, u"-"_s},
                                         QStringList{u"--copies"_s, u"none"_s, u"in"_s, u"-"_s}}) {
        const ProgramResult failed = m_engine->run(arguments);
        QVERIFY(failed.exitCode > 0);
        QCOMPARE(failed.output, QByteArray());
    }
}

void TerminalTest::aFailedWriteIsAFailure_data()
{
    QTest::addColumn<QString>("redirection");
    QTest::addColumn<QByteArray>("reason");
    QTest::newRow("a full disk") << u">/dev/full"_s << QByteArray("No space left");
    QTest::newRow("closed") << u">&-"_s << QByteArray("closed");
    QTest::newRow("open for reading") << u"1</dev/null"_s << QByteArray("closed");
    QTest::newRow("all three closed") << u"<&- >&- 2>&-"_s << QByteArray();
}

void TerminalTest::aFailedWriteIsAFailure()
{
    QFETCH(QString, redirection);
    QFETCH(QByteArray, reason);
    const QString page = m_engine->write(u"in.html"_s, "x");
    const ProgramResult failed = redirected(redirection, {page, u"-"_s});
    QCOMPARE(failed.exitCode, 5);
    QVERIFY2(failed.errors.contains(reason), failed.errors.constData());
}

void TerminalTest::aReaderMayBeSlow()
{
    // More than a pipe holds, into one that does not keep its writer waiting, and nobody reads at first.
    QByteArray text;
    for (int i = 0; i < 20000; ++i)
        text += "word" + QByteArray::number(i * 7919 % 100003) + ' ';
    const QString page = m_engine->write(u"in.html"_s, text);
    int ends[2];
    QCOMPARE(::pipe2(ends, O_CLOEXEC), 0);
    QCOMPARE(::fcntl(ends[1], F_SETFL, O_NONBLOCK), 0);
    QProcess process;
    process.setProcessEnvironment(m_engine->environment());
    process.setChildProcessModifier([&] { ::dup2(ends[1], STDOUT_FILENO); });
    process.start(Engine::program(), {page, u"-"_s});
    QVERIFY(process.waitForStarted());
    ::close(ends[1]);
    // It has written what fits, and waits.
    QTRY_VERIFY_WITH_TIMEOUT(
        [&] {
            int waiting = 0;
            return ::ioctl(ends[0], FIONREAD, &waiting) == 0 && waiting >= 65536;
        }(),
        60000);
    QVERIFY(!process.waitForFinished(200));

    QFile reader;
    QVERIFY(reader.open(ends[0], QIODevice::ReadOnly, QFile::AutoCloseHandle));
    const QByteArray pdf = reader.readAll();
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 0);
    QVERIFY(pdf.size() > 65536);
    QCOMPARE(PdfFile(m_engine->write(u"slow.pdf"_s, pdf)).complaint(), QString());
}

void TerminalTest::aFileCanStillBeCalledDash()
{
    const QString page = m_engine->write(u"in.html"_s, "x");
    const ProgramResult run = m_engine->run({page, u"./-"_s});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.output, QByteArray());
    QCOMPARE(PdfFile(m_engine->path(u"-"_s)).complaint(), QString());
}

QTEST_GUILESS_MAIN(TerminalTest)
#include "tst_terminal.moc"
