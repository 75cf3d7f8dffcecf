#include "engine/job/paper.h"
#include "engine/job/papersizes.h"
#include "tests/support/papers.h"

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
    for (const NamedSize &size : everySize)
        QTest::newRow(size.name) << size.id;
}

void PaperSizesTest::everyRowAgreesWithTheToolkit()
{
    QFETCH(QPageSize::PageSizeId, id);
    const auto size = paperSizeByName(QLatin1String(QTest::currentDataTag()));
    QVERIFY(size);
    // Its sizes in points are whole numbers, some of them cut.
    const QSizeF exact = pointsOf(id);
    const QSizeF rounded = QPageSize(id).size(QPageSize::Point);
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
