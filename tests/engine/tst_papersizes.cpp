#include "engine/browser/paper.h"
#include "engine/cli/papersizes.h"

#include <QPageSize>
#include <QTest>

using namespace Qt::StringLiterals;

class PaperSizesTest : public QObject
{
    Q_OBJECT

private slots:
    void everyRowAgreesWithTheToolkit_data();
    void everyRowAgreesWithTheToolkit();
    void thereAreThirty();
    void namesAreFoundWhateverTheirCase();
    void unknownNamesAreNone();
    void turningPutsTheLongerSideWhereItBelongs_data();
    void turningPutsTheLongerSideWhereItBelongs();
};

void PaperSizesTest::everyRowAgreesWithTheToolkit_data()
{
    QTest::addColumn<QPageSize::PageSizeId>("id");
    const struct {
        const char *name;
        QPageSize::PageSizeId id;
    } rows[] = {
        {"A0", QPageSize::A0},
        {"A1", QPageSize::A1},
        {"A2", QPageSize::A2},
        {"A3", QPageSize::A3},
        {"A4", QPageSize::A4},
        {"A5", QPageSize::A5},
        {"A6", QPageSize::A6},
        {"A7", QPageSize::A7},
        {"A8", QPageSize::A8},
        {"A9", QPageSize::A9},
        {"B0", QPageSize::B0},
        {"B1", QPageSize::B1},
        {"B2", QPageSize::B2},
        {"B3", QPageSize::B3},
        {"B4", QPageSize::B4},
        {"B5", QPageSize::B5},
        {"B6", QPageSize::B6},
        {"B7", QPageSize::B7},
        {"B8", QPageSize::B8},
        {"B9", QPageSize::B9},
        {"B10", QPageSize::B10},
        {"C5E", QPageSize::C5E},
        {"Comm10E", QPageSize::Comm10E},
        {"DLE", QPageSize::DLE},
        {"Executive", QPageSize::Executive},
        {"Folio", QPageSize::Folio},
        {"Ledger", QPageSize::Ledger},
        {"Legal", QPageSize::Legal},
        {"Letter", QPageSize::Letter},
        {"Tabloid", QPageSize::Tabloid},
    };
    for (const auto &row : rows)
        QTest::newRow(row.name) << row.id;
}

void PaperSizesTest::everyRowAgreesWithTheToolkit()
{
    QFETCH(QPageSize::PageSizeId, id);
    const auto size = paperSizeByName(QLatin1String(QTest::currentDataTag()));
    QVERIFY(size);
    // Its sizes in points are whole numbers, some of them cut; the unit that a size is defined in is exact.
    const QPageSize paper(id);
    const double points = paper.definitionUnits() == QPageSize::Millimeter ? pointsPerMillimetre : 72;
    const QSizeF exact = paper.definitionSize() * points;
    const QSizeF rounded = paper.size(QPageSize::Point);
    QVERIFY2(std::abs(size->width() - exact.width()) <= 0.5, qPrintable(u"%1"_s.arg(size->width())));
    QVERIFY2(std::abs(size->height() - exact.height()) <= 0.5, qPrintable(u"%1"_s.arg(size->height())));
    QVERIFY2(std::abs(size->width() - rounded.width()) <= 1, qPrintable(u"%1"_s.arg(size->width())));
    QVERIFY2(std::abs(size->height() - rounded.height()) <= 1, qPrintable(u"%1"_s.arg(size->height())));
}

void PaperSizesTest::thereAreThirty()
{
    QCOMPARE(std::size(paperSizes), 30U);
    QCOMPARE(paperSizeNames().split(u' ').size(), 30);
}

void PaperSizesTest::namesAreFoundWhateverTheirCase()
{
    QCOMPARE(paperSizeByName(u"LETTER"_s), paperSizeByName(u"Letter"_s));
    QCOMPARE(paperSizeByName(u"a4"_s), paperSizeByName(u"A4"_s));
}

void PaperSizesTest::unknownNamesAreNone()
{
    for (const char *name : {"", "A", "A10", "B11", "A4 ", "Custom", "A4\n"})
        QVERIFY2(!paperSizeByName(QLatin1String(name)), name);
}

void PaperSizesTest::turningPutsTheLongerSideWhereItBelongs_data()
{
    QTest::addColumn<QSizeF>("size");
    QTest::addColumn<bool>("landscape");
    QTest::addColumn<QSizeF>("expected");
    QTest::newRow("upright, to landscape") << QSizeF(100, 200) << true << QSizeF(200, 100);
    QTest::newRow("upright, to portrait") << QSizeF(100, 200) << false << QSizeF(100, 200);
    QTest::newRow("across, to landscape") << QSizeF(200, 100) << true << QSizeF(200, 100);
    QTest::newRow("across, to portrait") << QSizeF(200, 100) << false << QSizeF(100, 200);
    QTest::newRow("square") << QSizeF(100, 100) << true << QSizeF(100, 100);
}

void PaperSizesTest::turningPutsTheLongerSideWhereItBelongs()
{
    QFETCH(QSizeF, size);
    QFETCH(bool, landscape);
    QFETCH(QSizeF, expected);
    QCOMPARE(turned(size, landscape ? PaperOrientation::Landscape : PaperOrientation::Portrait), expected);
}

QTEST_GUILESS_MAIN(PaperSizesTest)
#include "tst_papersizes.moc"
