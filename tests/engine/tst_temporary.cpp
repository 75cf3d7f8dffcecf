#include "engine/base/temporary.h"
#include "tests/support/temporaryfolder.h"

#include <QFile>
#include <QTest>

#include <unistd.h>

using namespace Qt::StringLiterals;

class TemporaryTest : public QObject
{
    Q_OBJECT

private slots:
    void theChosenFolderIsTaken_data();
    void theChosenFolderIsTaken();
    void theSystemsOwnTakesThePlaceOfAnother_data();
    void theSystemsOwnTakesThePlaceOfAnother();
};

void TemporaryTest::theChosenFolderIsTaken_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("plain") << u"tmp"_s;
    QTest::newRow("with blanks") << u"a b"_s;
    QTest::newRow("of 200 letters") << QString(200, u'n');
    QTest::newRow("in letters of others") << u"日本 ä"_s;
}

void TemporaryTest::theChosenFolderIsTaken()
{
    QFETCH(QString, name);
    const TemporaryFolder folder;
    const QByteArray chosen = QFile::encodeName(folder.makeFolder(name));
    qputenv("TMPDIR", chosen);
    QCOMPARE(QByteArray::fromStdString(temporaryFolder()), chosen);
    qunsetenv("TMPDIR");
}

void TemporaryTest::theSystemsOwnTakesThePlaceOfAnother_data()
{
    QTest::addColumn<QByteArray>("chosen");
    for (const char *chosen :
         {"", "/no/such/folder", "tmp", ".", "./tmp", "/etc/hostname", "/dev/null", "//nowhere"})
        QTest::newRow(chosen) << QByteArray(chosen);
    QTest::newRow("not set") << QByteArray();
    if (::geteuid() != 0)
        QTest::newRow("not writable") << QByteArray("/etc");
}

void TemporaryTest::theSystemsOwnTakesThePlaceOfAnother()
{
    QFETCH(QByteArray, chosen);
    const TemporaryFolder folder;
    folder.makeFolder(u"tmp"_s);
    QCOMPARE(::chdir(QFile::encodeName(folder.path()).constData()), 0);
    if (chosen.isNull())
        qunsetenv("TMPDIR");
    else
        qputenv("TMPDIR", chosen);
    QCOMPARE(temporaryFolder(), systemTemporaryFolder());
    QCOMPARE(systemTemporaryFolder(), std::string("/tmp"));
    qunsetenv("TMPDIR");
    QCOMPARE(::chdir("/"), 0);
}

QTEST_GUILESS_MAIN(TemporaryTest)
#include "tst_temporary.moc"
