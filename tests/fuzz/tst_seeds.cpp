#include "tests/fuzz/fuzz.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QTest>

#include <random>
#include <utility>

/// Runs one target with its seeds. A failed require() aborts the program.
class SeedsTest : public QObject
{
    Q_OBJECT

private slots:
    void aSeed_data();
    void aSeed();
    void aSeedWithChangedBytes();
};

namespace
{

/// Name and content of every seed.
QList<std::pair<QByteArray, QByteArray>> seeds()
{
    QList<std::pair<QByteArray, QByteArray>> all;
    const QDir folder(QStringLiteral(QUIRELLE_SEEDS));
    for (const QString &name : folder.entryList(QDir::Files, QDir::Name)) {
        QFile file(folder.filePath(name));
        if (file.open(QIODevice::ReadOnly))
            all.append({name.toUtf8(), file.readAll()});
    }
    return all;
}

void tryInput(const QByteArray &input)
{
    // In memory of its own size, so that a sanitizer sees what is read beyond its end.
    const std::vector<std::uint8_t> bytes(input.begin(), input.end());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

/// Beside the program, for whoever wants to know which input it ended at.
void keep(const QByteArray &input)
{
    QFile file(QCoreApplication::applicationDirPath() + QStringLiteral("/last-input"));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(input) == input.size());
}

} // namespace

void SeedsTest::aSeed_data()
{
    QTest::addColumn<QByteArray>("input");
    for (const auto &[name, input] : seeds())
        QTest::newRow(name.constData()) << input;
    QTest::newRow("nothing") << QByteArray();
}

void SeedsTest::aSeed()
{
    QFETCH(QByteArray, input);
    tryInput(input);
}

void SeedsTest::aSeedWithChangedBytes()
{
    const auto all = seeds();
    QVERIFY(!all.isEmpty());
    constexpr qint64 moment = 1000; // milliseconds
    constexpr int mostInputs = 20000;
    std::mt19937 random(1);
    const auto below = [&random](qsizetype bound) {
        return static_cast<qsizetype>(random() % static_cast<unsigned>(bound));
    };
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < mostInputs && timer.elapsed() < moment; ++i) {
        QByteArray input = all[below(all.size())].second;
        const QByteArray other = all[below(all.size())].second;
        if (input.isEmpty() || other.isEmpty())
            continue;
        for (qsizetype change = below(5); change >= 0; --change) {
            const qsizetype at = below(input.size());
            const qsizetype length = below(3) == 0 ? below(20) : 1;
            if (below(2) == 0)
                input[at] = static_cast<char>(below(256));
            else
                input.replace(at, below(3) == 0 ? 0 : length, other.mid(below(other.size()), length + 1));
        }
        keep(input);
        tryInput(input);
    }
}

QTEST_MAIN(SeedsTest)
#include "tst_seeds.moc"
