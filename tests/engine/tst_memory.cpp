#include "engine/browser/memory.h"

#include <QProcess>
#include <QTest>

#include <memory>
#include <unistd.h>
#include <vector>

using namespace Qt::StringLiterals;

class MemoryTest : public QObject
{
    Q_OBJECT

private slots:
    void processesMayEndWhileTheyAreLookedAt();
};

void MemoryTest::processesMayEndWhileTheyAreLookedAt()
{
    std::vector<std::unique_ptr<QProcess>> shells;
    for (int i = 0; i < 4; ++i) {
        shells.push_back(std::make_unique<QProcess>());
        shells.back()->start(u"sh"_s, {u"-c"_s, u"while :; do (:); done"_s});
        QVERIFY(shells.back()->waitForStarted());
    }
    struct Watched {
        MemoryWatch watch{::getpid(), 1};
        WatchedJob job{watch};
    };
    std::vector<std::unique_ptr<Watched>> watched(40);
    for (std::unique_ptr<Watched> &one : watched)
        one = std::make_unique<Watched>();
    // Some hundred looks at processes of which each lives for about a millisecond.
    QTest::qWait(3000);
    for (const auto &one : watched)
        QCOMPARE(one->watch.kills(), 0);
    watched.clear();
    for (const auto &shell : shells) {
        shell->kill();
        shell->waitForFinished();
    }
}

QTEST_GUILESS_MAIN(MemoryTest)
#include "tst_memory.moc"
