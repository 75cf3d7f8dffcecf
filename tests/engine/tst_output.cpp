#include "engine/base/output.h"
#include "tests/support/temporaryfolder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTest>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>

#include <csignal>
#include <functional>
#include <optional>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

void checkOutput(const QString &path)
{
    ::checkOutput(path.toStdString());
}

void writeOutput(const QString &path, const QByteArray &bytes)
{
    ::writeOutput(path.toStdString(), {bytes.constData(), static_cast<size_t>(bytes.size())});
}

/// The reason why `action` cannot write an output; null if it can.
QString refusalOf(const std::function<void()> &action)
{
    try {
        action();
    } catch (const OutputError &error) {
        return QString::fromUtf8(error.what());
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

    static constexpr uid_t nobody = 65534;

private:
    bool m_wasRoot;
};

/// For its life new files lack these permissions.
class Umask
{
public:
    explicit Umask(mode_t withheld) : m_before(::umask(withheld)) {}
    ~Umask() { ::umask(m_before); }
    Umask(const Umask &) = delete;
    Umask &operator=(const Umask &) = delete;

private:
    mode_t m_before;
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

void setMode(const QString &path, mode_t mode)
{
    if (::chmod(QFile::encodeName(path).constData(), mode) != 0)
        qFatal("chmod");
}

struct stat infoOf(const QString &path)
{
    struct stat info {
    };
    if (::lstat(QFile::encodeName(path).constData(), &info) != 0)
        qFatal("lstat");
    return info;
}

/// Its permissions, set-id and sticky bits, in digits.
QByteArray modeOf(const QString &path)
{
    return QByteArray::number(infoOf(path).st_mode & 07777, 8);
}

void plant(const QString &path, mode_t mode)
{
    QFile file(path);
    if (!file.open(QFile::WriteOnly) || file.write("planted") != 7)
        qFatal("cannot plant");
    setMode(path, mode);
}

/// An access list by which one further user may read, and the group nothing.
QByteArray accessList()
{
    struct Entry {
        quint16 tag;
        quint16 permissions;
        quint32 id;
    };
    constexpr quint32 version = 2;
    constexpr quint32 nobodyInParticular = 0xffffffff;
    // Owner, a user, group, mask, others.
    constexpr Entry entries[] = {{0x01, 6, nobodyInParticular},
                                 {0x02, 4, 12345},
                                 {0x04, 0, nobodyInParticular},
                                 {0x10, 6, nobodyInParticular},
                                 {0x20, 0, nobodyInParticular}};
    return QByteArray(reinterpret_cast<const char *>(&version), sizeof(version)) +
           QByteArray(reinterpret_cast<const char *>(entries), sizeof(entries));
}

/// Null for none.
QByteArray accessListOf(const QString &path)
{
    char list[1000];
    const ssize_t size =
        ::getxattr(QFile::encodeName(path).constData(), "system.posix_acl_access", list, sizeof(list));
    return size < 0 ? QByteArray() : QByteArray(list, size);
}

bool setAccessList(const QString &path, const char *kind)
{
    const QByteArray list = accessList();
    return ::setxattr(QFile::encodeName(path).constData(), kind, list.constData(),
                      static_cast<size_t>(list.size()), 0) == 0;
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
    void anotherUsersFileLendsNoPermissions_data();
    void anotherUsersFileLendsNoPermissions();
    void setIdBitsDoNotStay();
    void aFileOfTwoNamesOpensNoMoreThanANewOne();
    void permissionsForOneGroupAreNotAnothers();
    void accessListsStay();
    void anAccessListIsNotAdded();
    void namesOfEveryLength();
    void aLinkToNothingYet();
    void aLinkThatLeadsNowhere();
    void anotherUsersLinkIsNotFollowed_data();
    void anotherUsersLinkIsNotFollowed();
    void linksOnTheWay_data();
    void linksOnTheWay();
    void anotherUsersFileInAStickyFolder();
    void refusesWhatIsNoFile_data();
    void refusesWhatIsNoFile();
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

void OutputTest::anotherUsersFileLendsNoPermissions_data()
{
    QTest::addColumn<bool>("victimIsRoot");
    QTest::addColumn<uint>("folderMode");
    QTest::addColumn<uint>("mode");
    for (const uint mode : {06777U, 04755U, 02755U, 01777U, 0666U, 0222U, 0U}) {
        const QByteArray digits = QByteArray::number(mode, 8);
        QTest::newRow("root, shared folder, " + digits) << true << 0777U << mode;
        QTest::newRow("root, sticky folder, " + digits) << true << 01777U << mode;
        if ((mode & 0002) != 0)
            QTest::newRow("a user, shared folder, " + digits) << false << 0777U << mode;
    }
}

void OutputTest::anotherUsersFileLendsNoPermissions()
{
    QFETCH(bool, victimIsRoot);
    QFETCH(uint, folderMode);
    QFETCH(uint, mode);
    if (::geteuid() != 0)
        QSKIP("two users can be had by root only");
    const TemporaryFolder folder;
    setMode(folder.path(), folderMode);
    const Umask usual(022);
    const QString path = folder.path(u"out.pdf"_s);
    uid_t victim = 0;
    if (victimIsRoot) {
        const AsOrdinaryUser attacker;
        plant(path, mode);
    } else {
        plant(path, mode);
    }
    if (victimIsRoot) {
        writeOutput(path, "%PDF");
    } else {
        const AsOrdinaryUser user;
        victim = ::geteuid();
        writeOutput(path, "%PDF");
    }
    QCOMPARE(modeOf(path), QByteArray("644"));
    QCOMPARE(infoOf(path).st_uid, victim);
    QCOMPARE(contentOf(path), QByteArray("%PDF"));
}

void OutputTest::setIdBitsDoNotStay()
{
    const TemporaryFolder folder;
    const QString path = folder.path(u"out.pdf"_s);
    for (const mode_t mode : {06755U, 04755U, 02755U, 01755U}) {
        plant(path, mode);
        writeOutput(path, "%PDF");
        QCOMPARE(modeOf(path), QByteArray("755"));
    }
}

void OutputTest::aFileOfTwoNamesOpensNoMoreThanANewOne()
{
    const TemporaryFolder folder;
    const Umask usual(022);
    const QString path = folder.path(u"out.pdf"_s);
    for (const auto &[mode, left] :
         {std::pair(0666U, "644"), std::pair(0600U, "600"), std::pair(0604U, "604")}) {
        const QString own = folder.path(u"own-"_s + QString::number(mode));
        plant(own, mode);
        QFile::remove(path);
        QCOMPARE(::link(QFile::encodeName(own).constData(), QFile::encodeName(path).constData()), 0);
        writeOutput(path, "%PDF");
        QCOMPARE(modeOf(path), QByteArray(left));
        QCOMPARE(contentOf(own), QByteArray("planted"));
    }
}

void OutputTest::permissionsForOneGroupAreNotAnothers()
{
    if (::geteuid() != 0)
        QSKIP("files of other groups can be made by root only");
    constexpr gid_t group = 12345;
    const TemporaryFolder folder;
    setMode(folder.path(), 0777);
    const QString path = folder.path(u"out.pdf"_s);
    const QByteArray name = QFile::encodeName(path);
    // Root may give its file to the same group, others may not.
    plant(path, 0660);
    QCOMPARE(::chown(name.constData(), 0, group), 0);
    writeOutput(path, "%PDF");
    QCOMPARE(modeOf(path), QByteArray("660"));
    QCOMPARE(infoOf(path).st_gid, group);
    plant(path, 0664);
    QCOMPARE(::chown(name.constData(), 65534, group), 0);
    {
        const AsOrdinaryUser user;
        writeOutput(path, "%PDF");
    }
    QCOMPARE(modeOf(path), QByteArray("604"));
    QVERIFY(infoOf(path).st_gid != group);
}

void OutputTest::accessListsStay()
{
    const TemporaryFolder folder;
    const QString path = folder.path(u"out.pdf"_s);
    plant(path, 0600);
    if (!setAccessList(path, "system.posix_acl_access"))
        QSKIP("there are no access lists here");
    writeOutput(path, "%PDF");
    QCOMPARE(accessListOf(path), accessList());
}

void OutputTest::anAccessListIsNotAdded()
{
    const TemporaryFolder folder;
    const QString path = folder.path(u"out.pdf"_s);
    plant(path, 0640);
    if (!setAccessList(folder.path(), "system.posix_acl_default"))
        QSKIP("there are no access lists here");
    writeOutput(path, "%PDF");
    QVERIFY(accessListOf(path).isNull());
    QCOMPARE(modeOf(path), QByteArray("640"));
}

void OutputTest::namesOfEveryLength()
{
    const TemporaryFolder folder;
    for (const int length : {1, 200, 244, 248, 249, 250, 251, 252, 253, 254, 255}) {
        const QString name(length, u'n');
        for (const char *content : {"%PDF new", "%PDF again"}) {
            checkOutput(folder.path(name));
            writeOutput(folder.path(name), content);
            QCOMPARE(contentOf(folder.path(name)), QByteArray(content));
        }
        QCOMPARE(filesIn(folder), QStringList{name});
        QFile::remove(folder.path(name));
    }
    // In bytes, not in letters.
    const QString letters = QString(127, u'ä') + u'n';
    writeOutput(folder.path(letters), "%PDF");
    writeOutput(folder.path(letters), "%PDF");
    QCOMPARE(filesIn(folder), QStringList{letters});
    const QString reason = checkRefusal(folder.path(QString(256, u'n')));
    QVERIFY2(reason.contains(u"too long"_s), qPrintable(reason));
    // Longer than the system takes at once.
    writeOutput(folder.path() + QString(2500, u'/').replace(u"/"_s, u"/."_s) + u"/a.pdf"_s, "%PDF");
    QCOMPARE(contentOf(folder.path(u"a.pdf"_s)), QByteArray("%PDF"));
}

void OutputTest::aLinkToNothingYet()
{
    const TemporaryFolder folder;
    folder.makeFolder(u"sub"_s);
    for (const QString &target :
         {folder.path(u"sub/absolute.pdf"_s), u"sub/relative.pdf"_s, u"beside.pdf"_s}) {
        const QString link = folder.path(u"link.pdf"_s);
        QCOMPARE(::symlink(QFile::encodeName(target).constData(), QFile::encodeName(link).constData()), 0);
        checkOutput(link);
        writeOutput(link, "%PDF");
        QVERIFY(QFileInfo(link).isSymLink());
        QCOMPARE(contentOf(QDir(folder.path()).filePath(target)), QByteArray("%PDF"));
        QFile::remove(link);
    }
}

void OutputTest::aLinkThatLeadsNowhere()
{
    const TemporaryFolder folder;
    const auto refusalOfLinkTo = [&](const QString &target) {
        const QString link = folder.path(u"link.pdf"_s);
        QFile::remove(link);
        if (::symlink(QFile::encodeName(target).constData(), QFile::encodeName(link).constData()) != 0)
            qFatal("symlink");
        return checkRefusal(link);
    };
    QString reason = refusalOfLinkTo(folder.path(u"missing/out.pdf"_s));
    QVERIFY2(reason.contains(u"no folder %1;"_s.arg(folder.path(u"missing"_s))), qPrintable(reason));
    reason = refusalOfLinkTo(u"link.pdf"_s);
    QVERIFY2(reason.contains(u"symbolic links"_s), qPrintable(reason));
    reason = refusalOfLinkTo(folder.path());
    QVERIFY2(reason.contains(u"folder"_s), qPrintable(reason));
    reason = refusalOfLinkTo(u"/dev/null"_s);
    QVERIFY2(reason.contains(u"no ordinary file"_s), qPrintable(reason));
}

void OutputTest::anotherUsersLinkIsNotFollowed_data()
{
    QTest::addColumn<uint>("folderMode");
    QTest::addColumn<bool>("exists");
    QTest::addColumn<bool>("behindAnOwnLink");
    for (const bool exists : {true, false}) {
        for (const bool behind : {true, false}) {
            const QByteArray what =
                QByteArray(exists ? "to a file" : "to nothing") + (behind ? ", behind an own link" : "");
            QTest::newRow("in a sticky folder, " + what) << 01777U << exists << behind;
            QTest::newRow("in a shared folder, " + what) << 0777U << exists << behind;
        }
    }
}

void OutputTest::anotherUsersLinkIsNotFollowed()
{
    QFETCH(uint, folderMode);
    QFETCH(bool, exists);
    QFETCH(bool, behindAnOwnLink);
    if (::geteuid() != 0)
        QSKIP("two users can be had by root only");
    const TemporaryFolder own;
    const TemporaryFolder shared;
    setMode(shared.path(), folderMode);
    const QString precious = own.path(u"precious"_s);
    if (exists)
        own.write(u"precious"_s, "mine");
    const QString planted = shared.path(u"out.pdf"_s);
    {
        const AsOrdinaryUser attacker;
        QVERIFY(QFile::link(precious, planted));
    }
    QVERIFY(QFile::link(planted, own.path(u"link.pdf"_s)));
    const QString path = behindAnOwnLink ? own.path(u"link.pdf"_s) : planted;
    const QString reason = checkRefusal(path);
    QVERIFY2(reason.contains(u"another user"_s), qPrintable(reason));
    QVERIFY(!writeRefusal(path, "%PDF").isNull());
    QCOMPARE(contentOf(precious), exists ? QByteArray("mine") : QByteArray());
    QCOMPARE(QFileInfo::exists(precious), exists);
}

void OutputTest::linksOnTheWay_data()
{
    QTest::addColumn<uint>("folderMode");
    QTest::addColumn<bool>("ownedByAnother");
    QTest::addColumn<bool>("linkedByAnother");
    QTest::addColumn<bool>("isFollowed");
    QTest::newRow("another's, in a sticky folder") << 01777U << false << true << false;
    QTest::newRow("another's, in a shared folder") << 0777U << false << true << false;
    // Whose folder it is may do there what they like.
    QTest::newRow("another's, in that user's folder") << 0755U << true << true << true;
    QTest::newRow("an own one, in a shared folder") << 0777U << false << false << true;
    QTest::newRow("an own one, in another's folder") << 0777U << true << false << true;
}

void OutputTest::linksOnTheWay()
{
    QFETCH(uint, folderMode);
    QFETCH(bool, ownedByAnother);
    QFETCH(bool, linkedByAnother);
    QFETCH(bool, isFollowed);
    if (::geteuid() != 0)
        QSKIP("two users can be had by root only");
    const TemporaryFolder own;
    const TemporaryFolder shared;
    setMode(shared.path(), 0777);
    const auto link = [&](const QString &name, const QString &target) {
        std::optional<AsOrdinaryUser> attacker;
        if (linkedByAnother)
            attacker.emplace();
        QVERIFY(QFile::link(target, shared.path(name)));
    };
    own.write(u"out.pdf"_s, "mine");
    link(u"folder"_s, own.path());
    link(u"further"_s, shared.path(u"folder"_s));
    setMode(shared.path(), folderMode);
    if (ownedByAnother)
        QCOMPARE(::chown(QFile::encodeName(shared.path()).constData(), AsOrdinaryUser::nobody, 0), 0);
    for (const char *way :
         {"folder/out.pdf", "further/out.pdf", "folder//./out.pdf", "further/../%1/out.pdf"}) {
        const QString path =
            shared.path(QString(QLatin1String(way)).replace(u"%1"_s, QFileInfo(own.path()).fileName()));
        const QString reason = checkRefusal(path);
        QVERIFY2(isFollowed ? reason.isNull() : reason.contains(u"another user"_s), qPrintable(reason));
        QCOMPARE(writeRefusal(path, "%PDF").isNull(), isFollowed);
        QCOMPARE(contentOf(own.path(u"out.pdf"_s)), QByteArray(isFollowed ? "%PDF" : "mine"));
    }
}

void OutputTest::anotherUsersFileInAStickyFolder()
{
    if (::geteuid() != 0)
        QSKIP("two users can be had by root only");
    const TemporaryFolder folder;
    setMode(folder.path(), 01777);
    const QString path = folder.path(u"out.pdf"_s);
    plant(path, 0666);
    const AsOrdinaryUser user;
    const QString reason = checkRefusal(path);
    QVERIFY2(reason.contains(u"another user"_s), qPrintable(reason));
}

void OutputTest::refusesWhatIsNoFile_data()
{
    QTest::addColumn<QString>("path");
    for (const char *path : {"/dev/null", "/dev/full", "/dev/fd/1", "/proc/self/fd/1", "/proc/self/comm",
                             "/proc/new.pdf", "/sys/new.pdf", "pipe", "link to a pipe"})
        QTest::newRow(path) << QString::fromLatin1(path);
}

void OutputTest::refusesWhatIsNoFile()
{
    QFETCH(QString, path);
    const TemporaryFolder folder;
    QCOMPARE(::mkfifo(QFile::encodeName(folder.path(u"pipe"_s)).constData(), 0600), 0);
    QVERIFY(QFile::link(folder.path(u"pipe"_s), folder.path(u"link to a pipe"_s)));
    const QString reason = checkRefusal(QDir(folder.path()).filePath(path));
    QVERIFY2(reason.contains(u"no ordinary file"_s), qPrintable(reason));
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
    setMode(folder.path(), 0555);
    {
        const AsOrdinaryUser user;
        const QString reason = checkRefusal(folder.path(u"new.pdf"_s));
        QVERIFY2(reason.contains(u"permission denied"_s), qPrintable(reason));
        QVERIFY(!writeRefusal(folder.path(u"new.pdf"_s), "%PDF").isNull());
    }
    setMode(folder.path(), 0700);
    QVERIFY(filesIn(folder).isEmpty());
}

void OutputTest::refusesAFileWithoutPermission()
{
    const TemporaryFolder folder;
    setMode(folder.path(), 0777);
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
