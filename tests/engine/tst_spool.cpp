#include "engine/base/spool.h"
#include "tests/support/temporaryfolder.h"

#include <QDir>
#include <QTest>

#include <sys/resource.h>

#include <csignal>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;

/// What is stored for the time being.
class SpoolTest : public QObject
{
    Q_OBJECT

private slots:
    void piecesAreReadAsTheyWere();
    void severalThreadsMayAppend();
    void nothingIsInTheFolder();
    void aFolderThatIsNotThere();
    void aDiskThatIsFull();

private:
    TemporaryFolder m_folder;
};

void SpoolTest::piecesAreReadAsTheyWere()
{
    Spool spool(m_folder.path().toStdString());
    const std::string large(3 << 20, 'x');
    const Spool::Piece first = spool.append("one");
    const Spool::Piece second = spool.append(large);
    const Spool::Piece none = spool.append("");
    QVERIFY(spool.read(second) == large);
    QVERIFY(spool.read(first) == "one");
    QVERIFY(spool.read(none).empty());
    QCOMPARE(spool.size(), large.size() + 3);
    QVERIFY_THROWS_EXCEPTION(SpoolError, spool.read({spool.size(), 1}));
}

void SpoolTest::severalThreadsMayAppend()
{
    Spool spool(m_folder.path().toStdString());
    std::vector<Spool::Piece> pieces(100);
    {
        std::vector<std::jthread> threads;
        for (size_t first = 0; first < 4; ++first) {
            threads.emplace_back([&, first] {
                for (size_t i = first; i < pieces.size(); i += 4)
                    pieces[i] = spool.append(std::string(1000 + i, static_cast<char>(i)));
            });
        }
    }
    for (size_t i = 0; i < pieces.size(); ++i)
        QVERIFY(spool.read(pieces[i]) == std::string(1000 + i, static_cast<char>(i)));
}

void SpoolTest::nothingIsInTheFolder()
{
    Spool spool(m_folder.path().toStdString());
    spool.append("text");
    QVERIFY(QDir(m_folder.path()).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
}

void SpoolTest::aFolderThatIsNotThere()
{
    try {
        const Spool spool("/nosuch");
        QFAIL("made");
    } catch (const SpoolError &error) {
        QVERIFY2(std::string_view(error.what()).find("/nosuch: No such file") != std::string_view::npos,
                 error.what());
    }
}

void SpoolTest::aDiskThatIsFull()
{
    // A limit of file sizes has the same effect here.
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    QCOMPARE(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit small{1 << 16, before.rlim_max};
    Spool spool(m_folder.path().toStdString());
    QCOMPARE(::setrlimit(RLIMIT_FSIZE, &small), 0);
    std::string reason;
    try {
        spool.append(std::string(1 << 17, 'x'));
    } catch (const SpoolError &error) {
        reason = error.what();
    }
    QCOMPARE(::setrlimit(RLIMIT_FSIZE, &before), 0);
    QVERIFY2(reason.find("set TMPDIR") != std::string::npos, reason.c_str());
}

QTEST_GUILESS_MAIN(SpoolTest)
#include "tst_spool.moc"
