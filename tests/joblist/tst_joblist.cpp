#include "tests/app/windowfixture.h"

#include <QDesktopServices>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QElapsedTimer>
#include <QMimeData>
#include <QTemporaryDir>
#include <QTextEdit>

#include <sys/stat.h>

#include <ctime>
#include <limits>

using namespace Qt::StringLiterals;

namespace
{

/// Sends the drop to the window, and returns whether it has been accepted.
bool drop(MainWindow &window, const QList<QUrl> &urls)
{
    QMimeData data;
    data.setUrls(urls);
    QDropEvent event(QPointF(50, 50), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    static_cast<QObject &>(window).event(&event);
    return event.isAccepted();
}

QString makeFile(const QTemporaryDir &folder, const QString &name, qint64 size)
{
    QFile file(folder.filePath(name));
    if (!file.open(QIODevice::WriteOnly) || !file.resize(size))
        qFatal("cannot write %s", qPrintable(name));
    return file.fileName();
}

void selectRow(QTableWidget &table, int row)
{
    table.selectionModel()->select(table.model()->index(row, 0),
                                   QItemSelectionModel::Select | QItemSelectionModel::Rows);
}

void makeCurrent(QTableWidget &table, int row)
{
    table.selectionModel()->setCurrentIndex(table.model()->index(row, 0), QItemSelectionModel::NoUpdate);
}

void selectEverySecondRow(QTableWidget &table)
{
    const QAbstractItemModel &model = *table.model();
    QItemSelection rows;
    for (int row = 1; row < table.rowCount(); row += 2)
        rows.append(QItemSelectionRange(model.index(row, 0), model.index(row, model.columnCount() - 1)));
    table.selectionModel()->select(rows, QItemSelectionModel::Select);
}

QStringList letters(int count)
{
    QStringList names;
    for (int index = 0; index < count; ++index)
        names << QString(QChar(u'a' + index));
    return names;
}

} // namespace

class tst_JobList : public QObject
{
    Q_OBJECT

public slots:
    void takeUrl(const QUrl &url) { m_opened << url; }

private slots:
    void initTestCase() { QApplication::setAttribute(Qt::AA_DontUseNativeDialogs); }
    void init() { QFile::remove(settingsFilePath()); }
    void cleanupTestCase() { QFile::remove(settingsFilePath()); }

    void chosenFilesAreAddedInOrder()
    {
        const QTemporaryDir folder;
        const QStringList files{makeFile(folder, u"a.html"_s, 2000000), makeFile(folder, u"b.htm"_s, 0)};
        WindowFixture f;
        QStringList filters;
        const DialogAnswer answer([&](QDialog &dialog) {
            auto &chooser = dynamic_cast<QFileDialog &>(dialog);
            QCOMPARE(chooser.windowTitle(), u"Select one or more files to open"_s);
            QCOMPARE(chooser.fileMode(), QFileDialog::ExistingFiles);
            QCOMPARE(chooser.parentWidget(), &f.window);
            filters = chooser.nameFilters();
            chooser.setDirectory(folder.path());
            chooseFiles(dialog, {u"a.html"_s, u"b.htm"_s});
        });
        f.press("pushButton_Add");
        QVERIFY(answer.given());
        QCOMPARE(filters, (QStringList{u"All Supported Files (*.html *.htm)"_s, u"HTML File (*.html)"_s,
                                       u"HTM File (*.htm)"_s}));
        QCOMPARE(f.inputs(), files);
        for (int row = 0; row < 2; ++row) {
            QCOMPARE(f.text(row, SourceColumn), u"Local File"_s);
            QCOMPARE(f.text(row, SizeColumn), QString());
            QCOMPARE(f.text(row, InformationColumn), QString());
        }
    }

    void aCancelledDialogChangesNothing()
    {
        WindowFixture f;
        const DialogAnswer answer([](QDialog &) {});
        f.press("pushButton_Add");
        QVERIFY(answer.given());
        QCOMPARE(f.table.rowCount(), 0);
        QVERIFY(!QFile::exists(settingsFilePath()));
    }

    void aPathWithoutBackslashIsRememberedWhole()
    {
        const QTemporaryDir folder;
        const QString file = makeFile(folder, u"index.html"_s, 1);
        WindowFixture f;
        {
            const DialogAnswer answer([&](QDialog &dialog) { chooseFiles(dialog, {file}); });
            f.press("pushButton_Add");
            QVERIFY(answer.given());
        }
        QCOMPARE(storedSetting(SettingKey::InputFolder), file);
        QString start;
        const DialogAnswer answer(
            [&](QDialog &dialog) { start = dynamic_cast<QFileDialog &>(dialog).directory().absolutePath(); });
        f.press("pushButton_Add");
        QVERIFY(answer.given());
        QCOMPARE(start, folder.path());
    }

    void aPathIsRememberedUpToItsLastBackslash()
    {
        const QTemporaryDir folder;
        const QString file = makeFile(folder, u"a\\b\\c.html"_s, 1);
        WindowFixture f;
        const DialogAnswer answer([&](QDialog &dialog) {
            auto &chooser = dynamic_cast<QFileDialog &>(dialog);
            chooser.selectFile(file);
            QMetaObject::invokeMethod(&dialog, "accept");
        });
        f.press("pushButton_Add");
        QVERIFY(answer.given());
        if (f.inputs() != QStringList{file})
            QSKIP("the file dialog does not take such a name");
        QCOMPARE(storedSetting(SettingKey::InputFolder), folder.filePath(u"a\\b"_s));
    }

    void theSameFileTwiceGivesTwoRows()
    {
        const QTemporaryDir folder;
        const QString file = makeFile(folder, u"index.html"_s, 1);
        WindowFixture f;
        for (int time = 0; time < 2; ++time) {
            const DialogAnswer answer([&](QDialog &dialog) { chooseFiles(dialog, {file}); });
            f.press("pushButton_Add");
            QVERIFY(answer.given());
        }
        QCOMPARE(f.inputs(), (QStringList{file, file}));
    }

    void onlyListsOfAddressesMayEnter_data()
    {
        QTest::addColumn<QString>("format");
        QTest::addColumn<bool>("accepted");
        QTest::newRow("addresses") << u"text/uri-list"_s << true;
        QTest::newRow("text") << u"text/plain"_s << false;
        QTest::newRow("picture") << u"image/png"_s << false;
    }

    void onlyListsOfAddressesMayEnter()
    {
        QFETCH(QString, format);
        QFETCH(bool, accepted);
        WindowFixture f;
        QMimeData data;
        data.setData(format, "file:///a.html\r\n");
        QDragEnterEvent event(QPoint(50, 50), Qt::CopyAction | Qt::MoveAction, &data, Qt::LeftButton,
                              Qt::NoModifier);
        event.ignore();
        static_cast<QObject &>(f.window).event(&event);
        QCOMPARE(event.isAccepted(), accepted);
        if (accepted)
            QCOMPARE(event.dropAction(), event.proposedAction());
    }

    void aDropEndsAtTheFirstAddressThatIsNoFile()
    {
        const QTemporaryDir folder;
        const QString first = makeFile(folder, u"a.html"_s, 10);
        const QString third = makeFile(folder, u"c.html"_s, 10);
        WindowFixture f;
        f.addRow(u"/before"_s);
        QVERIFY(!drop(f.window,
                      {QUrl::fromLocalFile(first), QUrl(u"http://a.bc/"_s), QUrl::fromLocalFile(third)}));
        QCOMPARE(f.inputs(), (QStringList{u"/before"_s, first}));
        QVERIFY(!drop(f.window, {QUrl(u"http://a.bc/"_s), QUrl::fromLocalFile(third)}));
        QCOMPARE(f.table.rowCount(), 2);
        QVERIFY(!drop(f.window, {}));
        QCOMPARE(f.table.rowCount(), 2);
    }

    void aDroppedFileNamesItsSourceWhenItHasContent_data()
    {
        QTest::addColumn<qint64>("size");
        QTest::addColumn<QString>("source");
        QTest::newRow("empty") << qint64(0) << QString();
        QTest::newRow("small") << qint64(1) << u"Local File"_s;
        QTest::newRow("2,000,000 bytes") << qint64(2000000) << u"Local File"_s;
    }

    void aDroppedFileNamesItsSourceWhenItHasContent()
    {
        QFETCH(qint64, size);
        QFETCH(QString, source);
        const QTemporaryDir folder;
        const QString file = makeFile(folder, u"any kind.txt"_s, size);
        WindowFixture f;
        drop(f.window, {QUrl::fromLocalFile(file)});
        QCOMPARE(f.inputs(), QStringList{file});
        QCOMPARE(f.text(0, SourceColumn), source);
        QCOMPARE(f.text(0, SizeColumn), QString());
        QCOMPARE(f.text(0, InformationColumn), QString());
        QVERIFY(f.table.item(0, InputColumn) && f.table.item(0, SourceColumn));
    }

    void aDroppedFolderHasNoSource()
    {
        const QTemporaryDir folder;
        WindowFixture f;
        drop(f.window,
             {QUrl::fromLocalFile(folder.path()), QUrl::fromLocalFile(folder.filePath(u"missing"_s))});
        QCOMPARE(f.inputs(), (QStringList{folder.path(), folder.filePath(u"missing"_s)}));
        QCOMPARE(f.text(0, SourceColumn), QString());
        QCOMPARE(f.text(1, SourceColumn), QString());
    }

    void aDroppedFifoHasNoSource()
    {
        const QTemporaryDir folder;
        const QString fifo = folder.filePath(u"fifo.html"_s);
        QCOMPARE(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
        WindowFixture f;
        drop(f.window, {QUrl::fromLocalFile(fifo)});
        QCOMPARE(f.inputs(), QStringList{fifo});
        QCOMPARE(f.text(0, SourceColumn), QString());
    }

    void validAddressesAreAddedInTheOrderTyped()
    {
        WindowFixture f;
        f.addRow(u"/before"_s);
        f.window.AddUrltoList(
            u" a.bc\nhttps://no.example\n\n http://ab.cd/x-y_z?q=1 ab-c.de\tb.cd\r\n\u4e2d.de e.fg/\u4e2d a.bc"_s);
        QCOMPARE(f.inputs(), (QStringList{u"/before"_s, u"a.bc"_s, u"http://ab.cd/x-y_z?q=1"_s, u"b.cd"_s,
                                          u"e.fg/\u4e2d"_s, u"a.bc"_s}));
        for (int row = 1; row < f.table.rowCount(); ++row)
            QCOMPARE(f.text(row, SourceColumn), u"Online File"_s);
        f.window.AddUrltoList(QString());
        f.window.AddUrltoList(u" \n "_s);
        QCOMPARE(f.table.rowCount(), 6);
    }

    void anAddressWithAZeroByteIsNone()
    {
        WindowFixture f;
        f.window.AddUrltoList(u"a.bc/d"_s + QChar(0) + u"e f.gh"_s);
        QCOMPARE(f.inputs(), QStringList(u"f.gh"_s));
    }

    void anAddressIsTestedAsBytes()
    {
        WindowFixture f;
        QByteArray good("http://ab.cd/");
        QByteArray bad("https://ab.cd/");
        QByteArray empty("");
        QVERIFY(f.window.CheckURL(good.data()));
        QVERIFY(!f.window.CheckURL(bad.data()));
        QVERIFY(!f.window.CheckURL(empty.data()));
    }

    void acceptedAddressesReachTheList()
    {
        WindowFixture f;
        const auto enter = [&f](const QString &text, bool ok) {
            const DialogAnswer answer([&](QDialog &dialog) {
                QVERIFY(qobject_cast<addurl *>(&dialog));
                dialog.findChild<QTextEdit *>(u"textEdit_URL"_s)->setPlainText(text);
                if (ok)
                    dialog.findChild<QAbstractButton *>(u"pushButton_LoadTXT"_s)->setFocus();
                const auto buttons = dialog.findChildren<QPushButton *>();
                for (QPushButton *button : buttons) {
                    if (ok && button->text().contains(u"OK"_s))
                        button->click();
                }
            });
            f.press("pushButton_AddUrl");
            QVERIFY(answer.given());
        };
        enter(u"a.bc\nno\nb.cd"_s, true);
        QCOMPARE(f.inputs(), (QStringList{u"a.bc"_s, u"b.cd"_s}));
        enter(u"c.de"_s, false);
        QCOMPARE(f.table.rowCount(), 2);
        enter(QString(), true);
        QCOMPARE(f.table.rowCount(), 2);
    }

    void removeTakesTheCurrentRowAndTheSelectedOnes_data()
    {
        QTest::addColumn<int>("current");
        QTest::addColumn<QList<int>>("selected");
        QTest::addColumn<QString>("left");
        QTest::newRow("current among the selected") << 3 << QList<int>{1, 3} << u"acef"_s;
        QTest::newRow("current not selected") << 0 << QList<int>{2} << u"bdef"_s;
        QTest::newRow("current below the selected") << 5 << QList<int>{0, 2} << u"bde"_s;
        QTest::newRow("only a current row") << 2 << QList<int>{} << u"abdef"_s;
        QTest::newRow("no current row") << -1 << QList<int>{1, 2, 4} << u"adf"_s;
        QTest::newRow("neither") << -1 << QList<int>{} << u"abcdef"_s;
        QTest::newRow("all") << 0 << QList<int>{0, 1, 2, 3, 4, 5} << QString();
    }

    void removeTakesTheCurrentRowAndTheSelectedOnes()
    {
        QFETCH(int, current);
        QFETCH(QList<int>, selected);
        QFETCH(QString, left);
        WindowFixture f;
        for (const QString &name : letters(6))
            f.addRow(name);
        if (current >= 0)
            makeCurrent(f.table, current);
        for (const int row : selected)
            selectRow(f.table, row);
        f.press("pushButton_Remove");
        QCOMPARE(f.inputs().join(QString()), left);
        QVERIFY(f.table.selectedItems().isEmpty());
    }

    void aRowOfWhichOnlyOneCellIsSelectedIsRemoved()
    {
        WindowFixture f;
        for (const QString &name : letters(4))
            f.addRow(name);
        f.table.selectionModel()->select(f.table.model()->index(1, 2), QItemSelectionModel::Select);
        f.table.selectionModel()->select(f.table.model()->index(1, 3), QItemSelectionModel::Select);
        f.press("pushButton_Remove");
        QCOMPARE(f.inputs().join(QString()), u"acd"_s);
    }

    void removeAllEmptiesTheList()
    {
        WindowFixture f;
        f.press("pushButton_RemoveAll");
        for (const QString &name : letters(3))
            f.addRow(name);
        makeCurrent(f.table, 1);
        f.press("pushButton_RemoveAll");
        QCOMPARE(f.table.rowCount(), 0);
        QCOMPARE(f.table.columnCount(), 4);
        QCOMPARE(f.table.currentRow(), -1);
    }

    void aDoubleClickOpensTheFirstEntry()
    {
        WindowFixture f;
        f.addRow(u"quirelletest:first entry"_s, JobSource::OnlineFile);
        f.addRow(u"quirelletest:second"_s, JobSource::OnlineFile);
        QDesktopServices::setUrlHandler(u"quirelletest"_s, this, "takeUrl");
        m_opened.clear();
        emit f.table.doubleClicked(f.table.model()->index(1, 0));
        QDesktopServices::unsetUrlHandler(u"quirelletest"_s);
        QCOMPARE(m_opened, QList<QUrl>{QUrl(u"quirelletest:first entry"_s)});
    }

    void tenThousandRowsAreQuick()
    {
        constexpr int many = 10000;
        WindowFixture f;
        QVERIFY(QTest::qWaitForWindowExposed(&f.window));
        QList<QUrl> urls;
        QString addresses;
        for (int index = 0; index < many; ++index) {
            urls << QUrl(u"file:///nowhere/page%1.html"_s.arg(index));
            addresses += u"a.bc/%1\n"_s.arg(index);
        }
        QElapsedTimer timer;
        const auto measure = [&timer](const char *what, const std::function<void()> &action) {
            timer.start();
            action();
            QCoreApplication::processEvents();
            const qint64 elapsed = timer.elapsed();
            qInfo("%-24s %5lld ms", what, static_cast<long long>(elapsed));
            // Only a change of the order of growth comes near this.
            QVERIFY2(elapsed < 10000, what);
        };
        measure("drop", [&] { drop(f.window, urls); });
        QCOMPARE(f.table.rowCount(), many);
        measure("remove all", [&] { f.press("pushButton_RemoveAll"); });
        measure("addresses", [&] { f.window.AddUrltoList(addresses); });
        QCOMPARE(f.table.rowCount(), many);
        measure("clear results", [&] { f.window.ClearAllInfo(); });
        f.table.selectAll();
        measure("remove all selected", [&] { f.press("pushButton_Remove"); });
        QCOMPARE(f.table.rowCount(), 0);
        f.window.AddUrltoList(addresses);
        selectEverySecondRow(f.table);
        measure("remove every second", [&] { f.press("pushButton_Remove"); });
        QCOMPARE(f.table.rowCount(), many / 2);
    }

    /// What is selected must not make each removal slower.
    void scatteredRowsGoAboutAsFastAsAll()
    {
        constexpr int many = 10000;
        WindowFixture f;
        QString addresses;
        for (int index = 0; index < many; ++index)
            addresses += u"a.bc/%1\n"_s.arg(index);
        // Of the processor, and the best of some: other programs run here, too.
        const auto time = [&](const std::function<void()> &select) {
            std::clock_t best = std::numeric_limits<std::clock_t>::max();
            for (int attempt = 0; attempt < 3; ++attempt) {
                f.table.setRowCount(0);
                f.window.AddUrltoList(addresses);
                select();
                const std::clock_t start = std::clock();
                f.press("pushButton_Remove");
                best = std::min(best, std::clock() - start);
            }
            return static_cast<double>(best);
        };
        const double all = time([&f] { f.table.selectAll(); });
        const double scattered = time([&f] { selectEverySecondRow(f.table); });
        QCOMPARE(f.table.rowCount(), many / 2);
        QVERIFY2(scattered < 3 * all, qPrintable(u"%1 times as long"_s.arg(scattered / all)));
    }

private:
    QList<QUrl> m_opened;
};

QTEST_MAIN(tst_JobList)
#include "tst_joblist.moc"
