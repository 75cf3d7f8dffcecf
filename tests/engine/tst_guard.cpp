#include "engine/base/environment.h"
#include "engine/browser/guard.h"
#include "engine/job/failure.h"
#include "tests/support/processes.h"
#include "tests/support/temporaryfolder.h"
#include "tests/support/waiting.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTest>

#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <memory>
#include <poll.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

/// Reads from a descriptor until it closes or `stop` has been read.
QByteArray readUntil(int descriptor, const QByteArray &stop = {})
{
    QByteArray bytes;
    for (;;) {
        pollfd source{descriptor, POLLIN, 0};
        if (::poll(&source, 1, 20000) <= 0)
            return bytes + "(nothing more for 20 s)";
        char buffer[4096];
        const ssize_t count = ::read(descriptor, buffer, sizeof buffer);
        if (count <= 0)
            return bytes;
        bytes.append(buffer, count);
        if (!stop.isEmpty() && bytes.contains(stop))
            return bytes;
    }
}

/// A shell script under guard. It ends what it writes to descriptor 4 with "ready".
std::unique_ptr<GuardedProcess> guardedScript(const char *script, const TemporaryFolder &folder)
{
    return std::make_unique<GuardedProcess>("/bin/sh", std::vector<std::string>{"-c", script, "sh", "%DIR%"},
                                            passedEnvironment(),
                                            QFile::encodeName(folder.path()).toStdString());
}

QStringList foldersIn(const TemporaryFolder &folder)
{
    return QDir(folder.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
}

/// Finds the program "sleep 1000" among what this process has started.
bool findSleep(ProcessInfo *found)
{
    for (const ProcessInfo &process : descendantsOf(QCoreApplication::applicationPid())) {
        if (commandLineOf(process) == "/bin/sleep 1000") {
            *found = process;
            return true;
        }
    }
    return false;
}

/// Starts helpers that try to stay: a plain one, one that left the session, an orphan of an orphan, and one
/// that ignores every signal that can be ignored.
constexpr const char *stubbornHelpers =
    "trap '' TERM HUP INT QUIT\n"
    "sleep 1000 &\n"
    "setsid sleep 1001 &\n"
    "(setsid sh -c 'sleep 1002 & sleep 1003' &)\n"
    "sh -c 'trap \"\" TERM HUP INT QUIT; sleep 1004; sleep 1005' &\n"
    "while [ $(ps -e -o args= | grep -c '^sleep 100[0-4]$') -lt 5 ]; do :; done\n"
    "echo ready >&4\n"
    "cat <&3 >/dev/null\n"
    "sleep 1006\n";

} // namespace

class GuardTest : public QObject
{
    Q_OBJECT

private slots:
    void theProgramTalksOnDescriptors3And4();
    void standardInputAndOutputAreEmpty();
    void itsPlaceholderBecomesThePrivateFolder();
    void itsFilesAreThereWhenItStarts();
    void itsEnvironmentIsWhatItIsGiven();
    void browsersGetWhatIsInTheTable();
    void noOtherDescriptorIsPassedOn();
    void noSignalIsIgnored();
    void theFolderGoesWithTheObject();
    void theFolderGoesWithAllThatIsInIt();
    void helpersGoWithTheObject();
    void helpersGoWhenTheHolderIsKilled_data();
    void helpersGoWhenTheHolderIsKilled();
    void aProgramThatEndsByItself();
    void aProgramThatCannotBeStarted();
    void aTemporaryFolderThatCannotBeUsed();
    void manyAtOnce();
    void aFolderThatAKilledGuardLeftGoesAtTheNextStart();
    void aFolderWhoseProgramLivesStays();
    void onlyLeftFoldersGo();
    void nothingGoesWhereOthersCanRename();
};

void GuardTest::theProgramTalksOnDescriptors3And4()
{
    const TemporaryFolder folder;
    const auto process = guardedScript("cat <&3 >&4", folder);
    QCOMPARE(::write(process->toProgram(), "hello", 5), 5);
    QCOMPARE(readUntil(process->fromProgram(), "hello"), QByteArray("hello"));
}

void GuardTest::standardInputAndOutputAreEmpty()
{
    const TemporaryFolder folder;
    const auto process = guardedScript(
        "in=$(readlink /proc/$$/fd/0); out=$(readlink /proc/$$/fd/1); echo $in $out >&4; echo oops >&2",
        folder);
    QCOMPARE(readUntil(process->fromProgram()), QByteArray("/dev/null /dev/null\n"));
    QCOMPARE(readUntil(process->standardError()), QByteArray("oops\n"));
}

void GuardTest::itsPlaceholderBecomesThePrivateFolder()
{
    const TemporaryFolder folder;
    const std::string place = QFile::encodeName(folder.path()).toStdString();
    const GuardedProcess process(
        "/bin/sh",
        {"-c", "(echo $1; echo $2; echo $WHERE; stat -c %a $1; pwd -P) >&4", "sh", "%DIR%", "--dir=%DIR%/x"},
        {"WHERE=%DIR%"}, place);
    const QList<QByteArray> lines = readUntil(process.fromProgram()).split('\n');
    QCOMPARE(lines.size(), 6);
    const QByteArray &made = lines[0];
    QVERIFY2(made.startsWith(QFile::encodeName(folder.path()) + "/quirelle-"), made.constData());
    QCOMPARE(lines[1], "--dir=" + made + "/x");
    QCOMPARE(lines[2], made);
    QCOMPARE(lines[3], QByteArray("700"));
    // It starts there.
    QCOMPARE(lines[4], made);
}

void GuardTest::itsFilesAreThereWhenItStarts()
{
    const TemporaryFolder folder;
    const std::string place = QFile::encodeName(folder.path()).toStdString();
    {
        const GuardedProcess process("/bin/sh", {"-c", "cat $0/within/name >&4", "%DIR%"}, {}, place,
                                     {{"within", "name", "content"}});
        QCOMPARE(readUntil(process.fromProgram()), QByteArray("content"));
    }
    QCOMPARE(foldersIn(folder), QStringList());
}

void GuardTest::itsEnvironmentIsWhatItIsGiven()
{
    const TemporaryFolder folder;
    qputenv("QUIRELLE_TEST", "ours");
    ProcessInfo program;
    const GuardedProcess sleeper("/bin/sleep", {"1000"}, {"PLACE=x%DIR%y", "EMPTY="},
                                 QFile::encodeName(folder.path()).toStdString());
    QVERIFY(waitUntil([&] { return findSleep(&program); }));
    const QList<QByteArray> variables = contentOf(u"/proc/%1/environ"_s.arg(program.id)).split('\0');
    QCOMPARE(variables.size(), 3);
    QVERIFY2(variables[0].startsWith("PLACE=x" + QFile::encodeName(folder.path())) &&
                 variables[0].endsWith('y'),
             variables[0].constData());
    QCOMPARE(variables[1], QByteArray("EMPTY="));
}

void GuardTest::browsersGetWhatIsInTheTable()
{
    const auto isPassed = [](const char *name) {
        qputenv(name, "some value");
        const std::vector<std::string> passed = passedEnvironment();
        qunsetenv(name);
        return std::count(passed.begin(), passed.end(), name + std::string("=some value")) == 1;
    };
    for (const char *name :
         {"LC_PAPER", "TZ", "https_proxy", "FONTCONFIG_FILE", "LD_LIBRARY_PATH", "XDG_DATA_DIRS"})
        QVERIFY2(isPassed(name), name);
    for (const char *name : {"SSLKEYLOGFILE", "NSS_DEBUG_PKCS11_MODULE", "GTK_MODULES", "QT_PLUGIN_PATH",
                             "LD_AUDIT", "DBUS_SESSION_BUS_ADDRESS", "CHROME_LOG_FILE", "QUIRELLE_PASSWORD",
                             "QUIRELLE_PROXY", "AWS_SECRET_ACCESS_KEY", "HOMEX", "LC", "XLC_ALL"})
        QVERIFY2(!isPassed(name), name);
    const std::vector<std::string> passed = passedEnvironment();
    QVERIFY(std::is_sorted(passed.begin(), passed.end()));
}

void GuardTest::noOtherDescriptorIsPassedOn()
{
    const TemporaryFolder folder;
    const QByteArray secret = QFile::encodeName(folder.write(u"secret"_s, "x"));
    // As a caller may have left it open.
    const int low = ::open(secret.constData(), O_RDONLY);
    const int high = ::fcntl(low, F_DUPFD, 100);
    const GuardedProcess process("/bin/sleep", {"1000"}, {}, QFile::encodeName(folder.path()).toStdString());
    ProcessInfo program;
    const bool runs = waitUntil([&] { return findSleep(&program); });
    const QStringList files = openFilesOf(program);
    ::close(low);
    ::close(high);
    QVERIFY(runs);
    QVERIFY2(files.filter(u"secret"_s).isEmpty(), qPrintable(files.join(u'\n')));
    QCOMPARE(files.size(), 6);
    QVERIFY(files.filter(u"5 %1/quirelle-"_s.arg(folder.path())).size() == 1);
}

void GuardTest::noSignalIsIgnored()
{
    const TemporaryFolder folder;
    std::signal(SIGPIPE, SIG_IGN);
    const GuardedProcess process("/bin/sleep", {"1000"}, {}, QFile::encodeName(folder.path()).toStdString());
    ProcessInfo program;
    const bool runs = waitUntil([&] { return findSleep(&program); });
    std::signal(SIGPIPE, SIG_DFL);
    QVERIFY(runs);
    const QByteArray status = contentOf(u"/proc/%1/status"_s.arg(program.id));
    QVERIFY2(status.contains("SigIgn:\t0000000000000000\n"), status.constData());
    QVERIFY2(status.contains("SigBlk:\t0000000000000000\n"), status.constData());
}

void GuardTest::theFolderGoesWithTheObject()
{
    const TemporaryFolder folder;
    {
        const auto process = guardedScript("echo ready >&4; cat <&3", folder);
        readUntil(process->fromProgram(), "ready");
        QCOMPARE(foldersIn(folder).size(), 1);
    }
    QVERIFY(foldersIn(folder).isEmpty());
}

void GuardTest::theFolderGoesWithAllThatIsInIt()
{
    const TemporaryFolder folder;
    {
        const auto process =
            guardedScript("cd $1; mkdir -p a/b/c; : >a/b/c/file; : >.hidden; ln -s / root; mkfifo pipe;"
                          "chmod 0 a/b; chmod 500 a; echo ready >&4; cat <&3",
                          folder);
        readUntil(process->fromProgram(), "ready");
    }
    QVERIFY(foldersIn(folder).isEmpty());
    QVERIFY(QFileInfo::exists(u"/bin/sh"_s));
}

void GuardTest::helpersGoWithTheObject()
{
    const TemporaryFolder folder;
    auto process = guardedScript(stubbornHelpers, folder);
    QVERIFY(readUntil(process->fromProgram(), "ready").endsWith("ready\n"));
    const QList<ProcessInfo> family = descendantsOf(QCoreApplication::applicationPid());
    QVERIFY2(family.size() >= 8, qPrintable(QString::number(family.size())));
    process.reset();
    QCOMPARE(runningOf(family), 0);
    QVERIFY(foldersIn(folder).isEmpty());
}

void GuardTest::helpersGoWhenTheHolderIsKilled_data()
{
    QTest::addColumn<int>("number");
    QTest::newRow("by SIGKILL") << SIGKILL;
    QTest::newRow("by SIGTERM") << SIGTERM;
    QTest::newRow("by SIGINT") << SIGINT;
    QTest::newRow("by SIGSEGV") << SIGSEGV;
}

void GuardTest::helpersGoWhenTheHolderIsKilled()
{
    QFETCH(int, number);
    const TemporaryFolder folder;
    QProcess holder;
    holder.start(QCoreApplication::applicationFilePath(), {u"hold"_s, folder.path()});
    QVERIFY(holder.waitForReadyRead(20000));
    QCOMPARE(holder.readAllStandardOutput(), QByteArray("held\n"));
    const QList<ProcessInfo> family = descendantsOf(holder.processId());
    QVERIFY(family.size() >= 8);
    QCOMPARE(foldersIn(folder).size(), 1);
    ::kill(static_cast<pid_t>(holder.processId()), number);
    QVERIFY(holder.waitForFinished(20000));
    QVERIFY(waitUntil([&] { return runningOf(family) == 0; }));
    QVERIFY(waitUntil([&] { return foldersIn(folder).isEmpty(); }));
}

void GuardTest::aProgramThatEndsByItself()
{
    const TemporaryFolder folder;
    {
        const auto process = guardedScript("(setsid sleep 1000 2>&- 3<&- 4>&- &); exit 3", folder);
        QCOMPARE(readUntil(process->fromProgram()), QByteArray());
    }
    QVERIFY(foldersIn(folder).isEmpty());
    QVERIFY(descendantsOf(QCoreApplication::applicationPid()).isEmpty());
}

void GuardTest::aProgramThatCannotBeStarted()
{
    const TemporaryFolder folder;
    {
        const GuardedProcess process("/no/such/program", {}, {},
                                     QFile::encodeName(folder.path()).toStdString());
        QCOMPARE(readUntil(process.fromProgram()), QByteArray());
        const QByteArray line = readUntil(process.standardError());
        QVERIFY2(line.contains("/no/such/program") && line.contains("No such file") && line.endsWith('\n'),
                 line.constData());
    }
    QVERIFY(foldersIn(folder).isEmpty());
}

void GuardTest::aTemporaryFolderThatCannotBeUsed()
{
    const GuardedProcess process("/bin/cat", {}, {}, "/no/such/folder");
    QCOMPARE(readUntil(process.fromProgram()), QByteArray());
    const QByteArray line = readUntil(process.standardError());
    QVERIFY2(line.contains("/no/such/folder") && line.contains("No such file"), line.constData());
}

void GuardTest::manyAtOnce()
{
    const TemporaryFolder folder;
    {
        std::vector<std::unique_ptr<GuardedProcess>> processes;
        processes.reserve(20);
        for (int i = 0; i < 20; ++i)
            processes.push_back(guardedScript("echo ready >&4; cat <&3", folder));
        for (const auto &process : processes)
            QVERIFY(readUntil(process->fromProgram(), "ready").endsWith("ready\n"));
        QCOMPARE(foldersIn(folder).size(), 20);
        // One that goes takes none of the others with it.
        processes.erase(processes.begin());
        QCOMPARE(foldersIn(folder).size(), 19);
        QCOMPARE(::write(processes.back()->toProgram(), "\n", 1), 1);
    }
    QVERIFY(foldersIn(folder).isEmpty());
}

void GuardTest::aFolderThatAKilledGuardLeftGoesAtTheNextStart()
{
    const TemporaryFolder folder;
    const auto alive = guardedScript("echo kept >$1/file; echo ready >&4; cat <&3", folder);
    readUntil(alive->fromProgram(), "ready");
    QString left;
    {
        const auto killed = guardedScript("mkdir -p $1/a/b; : >$1/a/b/file; chmod 0 $1/a/b; chmod 500 $1/a; "
                                          "echo $1 ready >&4; exec cat <&3",
                                          folder);
        left = QString::fromUtf8(readUntil(killed->fromProgram(), "ready")).section(u' ', 0, 0);
        const QList<ProcessInfo> family = descendantsOf(killed->process());
        ::kill(killed->process(), SIGKILL);
        QVERIFY(waitUntil([&] { return runningOf(family) == 0; }));
    }
    QVERIFY(QFileInfo::exists(left));
    QCOMPARE(foldersIn(folder).size(), 2);
    {
        const auto next = guardedScript("echo ready >&4; cat <&3", folder);
        readUntil(next->fromProgram(), "ready");
    }
    QVERIFY(!QFileInfo::exists(left));
    const QStringList folders = foldersIn(folder);
    QCOMPARE(folders.size(), 1);
    QCOMPARE(contentOf(folder.path(folders[0] + u"/file"_s)), QByteArray("kept\n"));
}

void GuardTest::aFolderWhoseProgramLivesStays()
{
    const TemporaryFolder folder;
    // The guard's own child dies with it, what that has started does not.
    const auto orphaned = guardedScript("sh -c 'echo $0 ready >&4; exec cat <&3' $1; :", folder);
    const QString place = QString::fromUtf8(readUntil(orphaned->fromProgram(), "ready")).section(u' ', 0, 0);
    const QList<ProcessInfo> family = descendantsOf(orphaned->process());
    ::kill(orphaned->process(), SIGKILL);
    const auto startNext = [&folder] {
        const auto next = guardedScript("echo ready >&4; cat <&3", folder);
        readUntil(next->fromProgram(), "ready");
    };
    QVERIFY(runningOf(family) > 0);
    startNext();
    QVERIFY(QFileInfo::exists(place));
    for (const ProcessInfo &process : family)
        ::kill(static_cast<pid_t>(process.id), SIGKILL);
    QVERIFY(waitUntil([&] { return runningOf(family) == 0; }));
    startNext();
    QVERIFY(!QFileInfo::exists(place));
}

void GuardTest::onlyLeftFoldersGo()
{
    const TemporaryFolder folder;
    const TemporaryFolder elsewhere;
    elsewhere.write(u"file"_s, "mine");
    folder.write(u"quirelle-browser-abcdef/sub/file"_s, "left");
    QVERIFY(QFile::link(elsewhere.path(), folder.path(u"quirelle-browser-abcdef/link"_s)));
    QStringList kept{u"quirelle-browser-abcde/file"_s, u"quirelle-browser-abcdefg/file"_s,
                     u"quirelle-brows-abcdef/file"_s,  u"quirelle-browser-/file"_s,
                     u"quirelle-browser-afilex"_s,     u"xquirelle-browser-abcdef/file"_s};
    for (const QString &name : kept)
        folder.write(name, "mine");
    QVERIFY(QFile::link(elsewhere.path(), folder.path(u"quirelle-browser-linked"_s)));
    kept += u"quirelle-browser-linked/file"_s;
    if (::geteuid() == 0) {
        folder.write(u"quirelle-browser-theirs/file"_s, "theirs");
        QCOMPARE(
            ::chown(QFile::encodeName(folder.path(u"quirelle-browser-theirs"_s)).constData(), 12345, 12345),
            0);
        kept += u"quirelle-browser-theirs/file"_s;
    }
    {
        const auto process = guardedScript("echo ready >&4; cat <&3", folder);
        readUntil(process->fromProgram(), "ready");
    }
    QVERIFY(!QFileInfo::exists(folder.path(u"quirelle-browser-abcdef"_s)));
    for (const QString &name : kept)
        QVERIFY2(QFileInfo::exists(folder.path(name)), qPrintable(name));
    QCOMPARE(contentOf(elsewhere.path(u"file"_s)), QByteArray("mine"));
}

void GuardTest::nothingGoesWhereOthersCanRename()
{
    for (const auto &[mode, goes] :
         {std::pair(0777U, false), std::pair(0770U, false), std::pair(01777U, true)}) {
        const TemporaryFolder folder;
        folder.write(u"quirelle-browser-abcdef/file"_s, "mine, and renamed by somebody else");
        QCOMPARE(::chmod(QFile::encodeName(folder.path()).constData(), mode), 0);
        {
            const auto process = guardedScript("echo ready >&4; cat <&3", folder);
            readUntil(process->fromProgram(), "ready");
        }
        QCOMPARE(QFileInfo::exists(folder.path(u"quirelle-browser-abcdef"_s)), !goes);
    }
}

/// The test program itself, run as "hold FOLDER": holds a guarded process until it is killed.
static int hold(const QString &path)
{
    const GuardedProcess process("/bin/sh", {"-c", stubbornHelpers}, passedEnvironment(),
                                 QFile::encodeName(path).toStdString());
    if (!readUntil(process.fromProgram(), "ready").endsWith("ready\n"))
        return 1;
    if (::write(STDOUT_FILENO, "held\n", 5) != 5)
        return 1;
    for (;;)
        ::pause();
}

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    if (argc == 3 && QByteArray(argv[1]) == "hold")
        return hold(QFile::decodeName(argv[2]));
    GuardTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_guard.moc"
