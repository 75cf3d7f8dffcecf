#include "engine/base/descriptor.h"
#include "engine/cli/run.h"
#include "engine/client/log.h"
#include "tests/support/invocation.h"
#include "tests/support/temporaryfolder.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTest>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <algorithm>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;

namespace
{

QStringList linesOf(const QString &path)
{
    return QString::fromUtf8(contentOf(path)).split(u'\n', Qt::SkipEmptyParts);
}

QString logFile()
{
    return QString::fromStdString(logPath());
}

} // namespace

class LogTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void liesInTheStateFolder();
    void aRelativeStateFolderCountsAsNone();
    void makesItsFolder();
    void oneLineAnEntryWithTheTime();
    void anEntryCannotForgeAnother();
    void belongsToItsOwnerAlone();
    void isKeptSmall();
    void aLogThatCannotBeWrittenIsDoneWithout();
    void whatIsNoFileIsDoneWithout_data();
    void whatIsNoFileIsDoneWithout();
    void entriesOfManyAtOnceDoNotMix();
    void aRefusedCommandLineIsOneEntry();

private:
    std::unique_ptr<TemporaryFolder> m_folder;
};

void LogTest::init()
{
    m_folder = std::make_unique<TemporaryFolder>();
    qputenv("XDG_STATE_HOME", QFile::encodeName(m_folder->path()));
}

void LogTest::cleanup()
{
    qunsetenv("XDG_STATE_HOME");
    m_folder.reset();
}

void LogTest::liesInTheStateFolder()
{
#ifdef Q_OS_MACOS
    QCOMPARE(logFile(), QDir::homePath() + u"/Library/Logs/quirelle/engine.log"_s);
#else
    QCOMPARE(logFile(), m_folder->path(u"quirelle/engine.log"_s));
    qunsetenv("XDG_STATE_HOME");
    QCOMPARE(logFile(), QDir::homePath() + u"/.local/state/quirelle/engine.log"_s);
#endif
}

void LogTest::aRelativeStateFolderCountsAsNone()
{
    for (const char *folder : {"", "state", "./state"}) {
        qputenv("XDG_STATE_HOME", folder);
        QVERIFY(logFile().startsWith(QDir::homePath()));
    }
}

void LogTest::makesItsFolder()
{
    qputenv("XDG_STATE_HOME", QFile::encodeName(m_folder->path(u"a/b"_s)));
    appendToLog("first");
    QCOMPARE(linesOf(m_folder->path(u"a/b/quirelle/engine.log"_s)).size(), 1);
}

void LogTest::oneLineAnEntryWithTheTime()
{
    const QDateTime before = QDateTime::currentDateTime();
    appendToLog("first");
    appendToLog("second ä 🌊");
    const QStringList lines = linesOf(logFile());
    QCOMPARE(lines.size(), 2);
    QVERIFY(lines[0].endsWith(u" first"_s));
    QVERIFY(lines[1].endsWith(u" second ä 🌊"_s));
    const QDateTime time = QDateTime::fromString(lines[0].section(u' ', 0, 0), Qt::ISODateWithMs);
    QVERIFY(time.isValid());
    QVERIFY(time >= before.addSecs(-1) && time <= QDateTime::currentDateTime());
}

void LogTest::anEntryCannotForgeAnother()
{
    appendToLog("a\n2026-01-01T00:00:00.000 0 forged");
    appendToLog("b\r0 forged\u2028 0 forged\u0085 0 forged");
    const QByteArray content = contentOf(logFile());
    QCOMPARE(content.count('\n'), 2);
    QVERIFY(!content.contains('\r'));
    QCOMPARE(QString::fromUtf8(content).split(QChar(0x2028)).size(), 1);
    QCOMPARE(QString::fromUtf8(content).split(QChar(0x85)).size(), 1);
}

void LogTest::belongsToItsOwnerAlone()
{
    appendToLog("first");
    const auto others = QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther | QFile::WriteOther;
    QVERIFY(!(QFileInfo(logFile()).permissions() & others));
}

void LogTest::isKeptSmall()
{
    const QString line(400, u'x');
    for (int i = 0; i < 4000; ++i)
        appendToLog(line.toStdString());
    qint64 sum = 0;
    const QDir folder(QFileInfo(logFile()).path());
    for (const QFileInfo &file : folder.entryInfoList(QDir::Files))
        sum += file.size();
    QVERIFY2(sum <= qint64(1200) * 1024, qPrintable(QString::number(sum)));
    QVERIFY(sum >= qint64(512) * 1024);
    QVERIFY(folder.entryList(QDir::Files).size() <= 2);
    appendToLog("the newest");
    QVERIFY(linesOf(logFile()).last().endsWith(u"the newest"_s));
}

void LogTest::aLogThatCannotBeWrittenIsDoneWithout()
{
    m_folder->write(u"quirelle"_s, "in the way");
    appendToLog("first");
    QCOMPARE(contentOf(m_folder->path(u"quirelle"_s)), QByteArray("in the way"));
}

void LogTest::whatIsNoFileIsDoneWithout_data()
{
    QTest::addColumn<QString>("what");
    for (const char *what :
         {"a pipe", "a pipe with a reader", "a link to a pipe", "a folder", "a device", "a socket"})
        QTest::newRow(what) << QString::fromLatin1(what);
}

void LogTest::whatIsNoFileIsDoneWithout()
{
    QFETCH(QString, what);
    m_folder->makeFolder(u"quirelle"_s);
    const QByteArray path = QFile::encodeName(logFile());
    const QByteArray pipe = QFile::encodeName(m_folder->path(u"pipe"_s));
    Descriptor reader;
    Descriptor listener;
    if (what.contains(u"link"_s)) {
        QCOMPARE(::mkfifo(pipe.constData(), 0600), 0);
        QCOMPARE(::symlink(pipe.constData(), path.constData()), 0);
    } else if (what.contains(u"pipe"_s)) {
        QCOMPARE(::mkfifo(path.constData(), 0600), 0);
        if (what.contains(u"reader"_s))
            reader.reset(::open(path.constData(), O_RDONLY | O_NONBLOCK));
    } else if (what == u"a folder"_s) {
        m_folder->write(u"quirelle/engine.log/file"_s, "x");
    } else if (what == u"a device"_s) {
        QCOMPARE(::symlink("/dev/full", path.constData()), 0);
    } else {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::copy_n(path.constData(), std::min<size_t>(size_t(path.size()), sizeof(address.sun_path) - 1),
                    address.sun_path);
        listener.reset(::socket(AF_UNIX, SOCK_STREAM, 0));
        QCOMPARE(::bind(listener.get(), reinterpret_cast<const sockaddr *>(&address), sizeof(address)), 0);
    }
    struct stat before {
    };
    QCOMPARE(::lstat(path.constData(), &before), 0);
    appendToLog("first");
    struct stat after {
    };
    QCOMPARE(::lstat(path.constData(), &after), 0);
    QCOMPARE(after.st_ino, before.st_ino);
    char byte = 0;
    if (reader)
        QCOMPARE(::read(reader.get(), &byte, 1), 0);
}

void LogTest::entriesOfManyAtOnceDoNotMix()
{
    std::vector<std::thread> threads;
    threads.reserve(8);
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([i] {
            for (int n = 0; n < 100; ++n)
                appendToLog(QString(100 + i, QChar(u'a' + i)).toStdString());
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    const QStringList lines = linesOf(logFile());
    QCOMPARE(lines.size(), 800);
    for (const QString &line : lines) {
        const QString text = line.section(u' ', 1);
        QCOMPARE(text, QString(100 + text[0].unicode() - u'a', text[0]));
    }
}

void LogTest::aRefusedCommandLineIsOneEntry()
{
    QCOMPARE(runCommandLine(invocationOf({u"--copies"_s, u"a\nb"_s})), 1);
    const QStringList lines = linesOf(logFile());
    QCOMPARE(lines.size(), 1);
    QVERIFY2(lines[0].contains(u" 1 refused: "_s) && lines[0].contains(u"--copies"_s), qPrintable(lines[0]));
}

QTEST_GUILESS_MAIN(LogTest)
#include "tst_log.moc"
