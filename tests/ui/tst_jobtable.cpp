#include "tests/app/windowfixture.h"

#include <QHelpEvent>
#include <QTextDocumentFragment>
#include <QToolTip>

using namespace Qt::StringLiterals;

namespace
{

QRect cell(const QTableWidget &table, int row, JobColumn column)
{
    return table.visualRect(table.model()->index(row, column));
}

/// A cell as it is painted, without the grid's lines.
QImage picture(QTableWidget &table, int row, JobColumn column)
{
    return table.viewport()->grab(cell(table, row, column).adjusted(0, 0, -1, -1)).toImage();
}

/// How far from a picture's right edge its text ends, in pixels.
int roomAtTheRight(const QImage &picture)
{
    for (int x = picture.width() - 1; x >= 0; --x) {
        for (int y = 0; y < picture.height(); ++y) {
            if (picture.pixelColor(x, y).lightness() < 128)
                return picture.width() - 1 - x;
        }
    }
    return picture.width();
}

/// The text of a cell's tool tip; empty if there is none.
QString toolTipOver(QTableWidget &table, int row, JobColumn column)
{
    QToolTip::hideText();
    if (!QTest::qWaitFor([] { return !QToolTip::isVisible(); }))
        qFatal("the last tool tip stays");
    const QPoint middle = cell(table, row, column).center();
    QHelpEvent event(QEvent::ToolTip, middle, table.viewport()->mapToGlobal(middle));
    QApplication::sendEvent(table.viewport(), &event);
    const QString shown = QToolTip::isVisible() ? QToolTip::text() : QString();
    return QTextDocumentFragment::fromHtml(shown).toPlainText();
}

QString longPath(const QString &name)
{
    return u"/home/somebody/with/a/name/of/some/length/and/many/folders/"_s.repeated(3) + name;
}

} // namespace

class tst_JobTable : public QObject
{
    Q_OBJECT

private slots:
    void sizesEndInOneLine()
    {
        WindowFixture f;
        QVERIFY(QTest::qWaitForWindowExposed(&f.window));
        for (const QString &size : {u"         2.500Kb"_s, u"     11111.111Kb"_s, u"   5000000.000Kb"_s}) {
            f.addRow(u"/a/page.html"_s);
            setJobText(f.table, f.table.rowCount() - 1, SizeColumn, size);
        }
        const int room = roomAtTheRight(picture(f.table, 0, SizeColumn));
        QVERIFY2(room < 10, qPrintable(QString::number(room)));
        for (int row = 1; row < 3; ++row)
            QCOMPARE(roomAtTheRight(picture(f.table, row, SizeColumn)), room);
    }

    void longPathsCanBeToldApartByTheirBeginningsAndEnds()
    {
        WindowFixture f;
        QVERIFY(QTest::qWaitForWindowExposed(&f.window));
        for (const QString &path : {longPath(u"a.html"_s), longPath(u"b.html"_s),
                                    longPath(u"a.html"_s).replace(u"/home"_s, u"/root"_s)})
            f.addRow(path);
        f.addRow(u"http://long.example/with some blanks/"_s.repeated(5));
        QVERIFY(picture(f.table, 0, InputColumn) != picture(f.table, 1, InputColumn));
        QVERIFY(picture(f.table, 0, InputColumn) != picture(f.table, 2, InputColumn));
        // In one line.
        f.addRow(u"/a.html"_s);
        for (int row = 0; row < 4; ++row)
            QCOMPARE(f.table.sizeHintForIndex(f.table.model()->index(row, 0)).height(),
                     f.table.sizeHintForIndex(f.table.model()->index(4, 0)).height());
    }

    void whatIsCutIsWholeInItsToolTip_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("path") << longPath(u"a.html"_s);
        QTest::newRow("markup") << longPath(u"<b>a & b</b> &amp; \"c\".html"_s);
        QTest::newRow("longest address") << u"http://a.bc/"_s + QString(1000, u'x');
        QTest::newRow("longest path") << u"/"_s + QString(4000, u'x') + u".html"_s;
    }

    void whatIsCutIsWholeInItsToolTip()
    {
        QFETCH(QString, text);
        WindowFixture f;
        QVERIFY(QTest::qWaitForWindowExposed(&f.window));
        f.addRow(text);
        QCOMPARE(toolTipOver(f.table, 0, InputColumn).remove(u'\n'), text);
        QCOMPARE(toolTipOver(f.table, 0, SourceColumn), QString());
        // Wide enough for everything, it needs none.
        f.table.setColumnWidth(InputColumn, 40000);
        QCOMPARE(toolTipOver(f.table, 0, InputColumn), QString());
    }

    /// A row is its texts, and nothing beside them.
    void cellsHoldOnlyTheirTexts()
    {
        WindowFixture f;
        f.addRow(longPath(u"a.html"_s));
        QCOMPARE(f.table.model()->itemData(f.table.model()->index(0, 0)).keys(), QList<int>{Qt::DisplayRole});
    }
};

QTEST_MAIN(tst_JobTable)
#include "tst_jobtable.moc"
