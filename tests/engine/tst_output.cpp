#include "engine/job/failure.h"
#include "engine/job/output.h"
#include "tests/support/temporaryfolder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTest>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <csignal>
#include <functional>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

/// The reason why `action` fails with the exit code for outputs; null if it does not.
QString refusalOf(const std::function<void()> &action)
{
    try {
        action();
    } catch (const Failure &failure) {
        return failure.code() == ExitCode::NotWritten ? failure.message() : QString();
    }
    return {};
}

QString checkRefusal(const QString &path)
{
    return refusalOf([&] { checkOutput(path); });
}

QString writeRefusal(const QString &path, const QByteArray &bytes)
{
    return refusalOf([&] { writeOutput(path, bytes); });
}

QStringList filesIn(const TemporaryFolder &folder)
{
    return QDir(folder.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
}

/// For its life root is an ordinary user, for whom permissions count.
class AsOrdinaryUser
{
public:
    AsOrdinaryUser() : m_wasRoot(::geteuid() == 0)
    {
        if (m_wasRoot && ::setresuid(nobody, nobody, 0) != 0)
            qFatal("cannot become an ordinary user");
    }
    ~AsOrdinaryUser()
    {
        if (m_wasRoot && ::setresuid(0, 0, 0) != 0)
            qFatal("cannot become root again");
    }
    AsOrdinaryUser(const AsOrdinaryUser &) = delete;
    AsOrdinaryUser &operator=(const AsOrdinaryUser &) = delete;

private:
    static constexpr uid_t nobody = 65534;
    bool m_wasRoot;
};

/// For its life no file can grow beyond `bytes`: as on a full disk.
class SmallDisk
{
public:
    explicit SmallDisk(rlim_t bytes)
    {
        ::getrlimit(RLIMIT_FSIZE, &m_before);
        rlimit limit = m_before;
        limit.rlim_cur = bytes;
        std::signal(SIGXFSZ, SIG_IGN);
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~SmallDisk() { ::setrlimit(RLIMIT_FSIZE, &m_before); }
    SmallDisk(const SmallDisk &) = delete;
    SmallDisk &operator=(const SmallDisk &) = delete;

private:
    rlimit m_before{};
};

void setMode(const TemporaryFolder &folder, const char *mode)
{
    const int permissions = QByteArray(mode).toInt(nullptr, 8);
    if (::chmod(QFile::encodeName(folder.path()).constData(), static_cast<mode_t>(permissions)) != 0)
        qFatal("chmod");
}

} // namespace

class OutputTest : public QObject
{
    Q_OBJECT

private slots:
    void writesANewFile();
    void replacesAnOlderFile();
    void writesThroughALink();
    void anOlderFilesPermissionsStay();
    void aKilledWriteLeavesNothing_data();
    void aKilledWriteLeavesNothing();
    void relativePathsAreMeantFromHere();
    void namesAreTakenAsTheyStand_data();
    void namesAreTakenAsTheyStand();
    void refusesAFolder();
    void refusesAMissingFolder();
    void refusesAFolderWithoutPermission();
    void refusesAFileWithoutPermission();
    void aFullDiskLeavesTheOlderFile();
    void aFullDiskLeavesNothingNew();
    void aFailedWriteSaysWhy();
};

void OutputTest::writesANewFile()
{
    const TemporaryFolder folder;
    const QString path = folder.path(u"new.pdf"_s);
    checkOutput(path);
    writeOutput(path, "%PDF");
    QCOMPARE(contentOf(path), QByteArray("%PDF"));
    QCOMPARE(filesIn(folder), QStringList{u"new.pdf"_s});
}

void OutputTest::replacesAnOlderFile()
{
    const TemporaryFolder folder;
    const QString path = folder.write(u"old.pdf"_s, QByteArray(100000, 'x'));
    checkOutput(path);
    QCOMPARE(contentOf(path).size(), 100000);
    writeOutput(path, "%PDF");
    QCOMPARE(contentOf(path), QByteArray("%PDF"));
    QCOMPARE(filesIn(folder).size(), 1);
}

void OutputTest::writesThroughALink()
{
    const TemporaryFolder folder;
    const QString target = folder.write(u"target.pdf"_s, "old");
    QVERIFY(QFile::link(target, folder.path(u"link.pdf"_s)));
    writeOutput(folder.path(u"link.pdf"_s), "%PDF");
    QCOMPARE(contentOf(folder.path(u"link.pdf"_s)), QByteArray("%PDF"));
    QCOMPARE(filesIn(folder).size(), 2);
}

void OutputTest::anOlderFilesPermissionsStay()
{
    const TemporaryFolder folder;
    const QString path = folder.write(u"old.pdf"_s, "old");
    for (const mode_t mode : {0600U, 0640U, 0666U, 0755U}) {
        ::chmod(QFile::encodeName(path).constData(), mode);
        writeOutput(path, "%PDF");
        struct stat info {
        };
        QCOMPARE(::stat(QFile::encodeName(path).constData(), &info), 0);
        QCOMPARE(info.st_mode & 07777, mode);
    }
}

void OutputTest::aKilledWriteLeavesNothing_data()
{
    QTest::addColumn<bool>("older");
    QTest::newRow("in an older file's place") << true;
    QTest::newRow("a new file") << false;
}

void OutputTest::aKilledWriteLeavesNothing()
{
    QFETCH(bool, older);
    const TemporaryFolder folder;
    const QString path = folder.path(u"out.pdf"_s);
    if (older)
        folder.write(u"out.pdf"_s, "old");
    const QByteArray large(20000000, 'x');
    const pid_t writer = ::fork();
    if (writer == 0) {
        // Ends it in the middle of its first write.
        rlimit limit{};
        ::getrlimit(RLIMIT_FSIZE, &limit);
        limit.rlim_cur = 1000000;
        std::signal(SIGXFSZ, SIG_DFL);
        rlimit noCore{};
        ::setrlimit(RLIMIT_CORE, &noCore);
        ::setrlimit(RLIMIT_FSIZE, &limit);
        writeOutput(path, large);
        ::_exit(0);
    }
    int status = 0;
    QCOMPARE(::waitpid(writer, &status, 0), writer);
    QVERIFY(WIFSIGNALED(status));
    QCOMPARE(filesIn(folder), older ? QStringList{u"out.pdf"_s} : QStringList());
    QCOMPARE(contentOf(path), older ? QByteArray("old") : QByteArray());
}

void OutputTest::relativePathsAreMeantFromHere()
{
    const TemporaryFolder folder;
    folder.makeFolder(u"sub"_s);
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(folder.path()));
    for (const char *path : {"a.pdf", "./b.pdf", "sub/c.pdf", "sub/../d.pdf"}) {
        checkOutput(QLatin1String(path));
        writeOutput(QLatin1String(path), "%PDF");
        QVERIFY2(QFileInfo::exists(folder.path(QLatin1String(path))), path);
    }
    QDir::setCurrent(before);
}

void OutputTest::namesAreTakenAsTheyStand_data()
{
    QTest::addColumn<QString>("name");
    for (const char *name : {"a b.pdf", "#?%.pdf", "%1.pdf", "quote\"'.pdf", "日本語 🌊.pdf", "-x.pdf",
                             "no extension", ".pdf", "line\nbreak.pdf", "x.XXXXXX.pdf"})
        QTest::newRow(name) << QString::fromUtf8(name);
}

void OutputTest::namesAreTakenAsTheyStand()
{
    QFETCH(QString, name);
    const TemporaryFolder folder;
    checkOutput(folder.path(name));
    writeOutput(folder.path(name), "%PDF");
    QCOMPARE(filesIn(folder), QStringList{name});
}

void OutputTest::refusesAFolder()
{
    const TemporaryFolder folder;
    QVERIFY(checkRefusal(folder.path()).contains(u"folder"_s));
    QVERIFY(checkRefusal(folder.path(u"new/"_s)).contains(u"folder"_s));
    QVERIFY(!writeRefusal(folder.path(), "%PDF").isNull());
    QVERIFY(filesIn(folder).isEmpty());
}

void OutputTest::refusesAMissingFolder()
{
    const TemporaryFolder folder;
    const QString reason = checkRefusal(folder.path(u"missing/new.pdf"_s));
    QVERIFY2(reason.contains(folder.path(u"missing"_s)), qPrintable(reason));
    QVERIFY(!writeRefusal(folder.path(u"missing/new.pdf"_s), "%PDF").isNull());
    const QString file = folder.write(u"file"_s, "x");
    QVERIFY(!checkRefusal(file + u"/new.pdf"_s).isNull());
}

void OutputTest::refusesAFolderWithoutPermission()
{
    const TemporaryFolder folder;
    setMode(folder, "555");
    {
        const AsOrdinaryUser user;
        const QString reason = checkRefusal(folder.path(u"new.pdf"_s));
        QVERIFY2(reason.contains(u"permission denied"_s), qPrintable(reason));
        QVERIFY(!writeRefusal(folder.path(u"new.pdf"_s), "%PDF").isNull());
    }
    setMode(folder, "700");
    QVERIFY(filesIn(folder).isEmpty());
}

void OutputTest::refusesAFileWithoutPermission()
{
    const TemporaryFolder folder;
    setMode(folder, "777");
    const QString path = folder.write(u"kept.pdf"_s, "old");
    QFile::setPermissions(path, QFile::ReadOwner | QFile::ReadOther);
    {
        const AsOrdinaryUser user;
        const QString reason = checkRefusal(path);
        QVERIFY2(reason.contains(u"permission denied"_s), qPrintable(reason));
    }
    QCOMPARE(contentOf(path), QByteArray("old"));
}

void OutputTest::aFullDiskLeavesTheOlderFile()
{
    const TemporaryFolder folder;
    const QString path = folder.write(u"kept.pdf"_s, "old");
    {
        const SmallDisk disk(4096);
        QVERIFY(!writeRefusal(path, QByteArray(100000, 'x')).isNull());
    }
    QCOMPARE(contentOf(path), QByteArray("old"));
    QCOMPARE(filesIn(folder), QStringList{u"kept.pdf"_s});
}

void OutputTest::aFullDiskLeavesNothingNew()
{
    const TemporaryFolder folder;
    {
        const SmallDisk disk(4096);
        QVERIFY(!writeRefusal(folder.path(u"new.pdf"_s), QByteArray(100000, 'x')).isNull());
    }
    QVERIFY(filesIn(folder).isEmpty());
}

void OutputTest::aFailedWriteSaysWhy()
{
    const TemporaryFolder folder;
    const QString reason = writeRefusal(folder.path(QString(300, u'n') + u".pdf"_s), "%PDF");
    QVERIFY2(reason.contains(u"long"_s, Qt::CaseInsensitive), qPrintable(reason));
    const SmallDisk disk(4096);
    const QString fullReason = writeRefusal(folder.path(u"new.pdf"_s), QByteArray(100000, 'x'));
    QVERIFY2(fullReason.contains(u"large"_s, Qt::CaseInsensitive), qPrintable(fullReason));
}

QTEST_GUILESS_MAIN(OutputTest)
#include "tst_output.moc"
