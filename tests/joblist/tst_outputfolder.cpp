#include "tests/app/windowfixture.h"

#include <QDir>
#include <QDragEnterEvent>
#include <QMimeData>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

namespace
{

/// Drags over the field and drops there, as a file manager does; returns whether the field accepts.
bool drop(QLineEdit &field, const QList<QUrl> &urls, bool withText)
{
    QMimeData data;
    data.setUrls(urls);
    if (withText)
        data.setText(urls.value(0).toString());
    const Qt::DropActions actions = Qt::CopyAction | Qt::MoveAction;
    QDragEnterEvent enter(QPoint(5, 5), actions, &data, Qt::LeftButton, Qt::NoModifier);
    enter.setDropAction(Qt::MoveAction);
    enter.ignore();
    QApplication::sendEvent(&field, &enter);
    QDropEvent drop(QPointF(5, 5), actions, &data, Qt::LeftButton, Qt::NoModifier);
    drop.ignore();
    QApplication::sendEvent(&field, &drop);
    return enter.isAccepted() && drop.isAccepted() && drop.dropAction() == Qt::CopyAction;
}

} // namespace

class tst_OutputFolder : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QApplication::setAttribute(Qt::AA_DontUseNativeDialogs); }
    void init() { QFile::remove(settingsFilePath()); }
    void cleanupTestCase() { QFile::remove(settingsFilePath()); }

    void theChosenFolderIsShown()
    {
        const QTemporaryDir folder;
        WindowFixture f;
        const DialogAnswer answer([&folder](QDialog &dialog) {
            const auto *files = qobject_cast<QFileDialog *>(&dialog);
            QVERIFY(files);
            QCOMPARE(files->windowTitle(), u"Open directory"_s);
            QCOMPARE(files->fileMode(), QFileDialog::Directory);
            QVERIFY(files->testOption(QFileDialog::ShowDirsOnly));
            QVERIFY(files->testOption(QFileDialog::DontResolveSymlinks));
            chooseFiles(dialog, {folder.path()});
        });
        f.press("pushButton_OutPutPath");
        QVERIFY(answer.given());
        QCOMPARE(f.outputFolder.text(), folder.path());
        // Only a run stores it.
        QVERIFY(!QFile::exists(settingsFilePath()));
    }

    void cancellingEmptiesTheField()
    {
        WindowFixture f;
        f.outputFolder.setText(u"/somewhere"_s);
        const DialogAnswer answer([](QDialog &) {});
        f.press("pushButton_OutPutPath");
        QVERIFY(answer.given());
        QCOMPARE(f.outputFolder.text(), QString());
    }

    void aDropOnTheFieldNamesAFolder_data()
    {
        QTest::addColumn<QString>("dropped");
        QTest::addColumn<QString>("shown");
        QTest::newRow("folder") << u"folder"_s << u"folder"_s;
        QTest::newRow("folder with a slash") << u"folder/"_s << u"folder"_s;
        QTest::newRow("file") << u"folder/page.html"_s << u"folder"_s;
        QTest::newRow("link to a folder") << u"link"_s << u"link"_s;
        QTest::newRow("something gone") << u"folder/gone.html"_s << u"folder"_s;
        QTest::newRow("odd letters") << u"a b%20\u00e4\"#?"_s << u"a b%20\u00e4\"#?"_s;
    }

    void aDropOnTheFieldNamesAFolder()
    {
        QFETCH(QString, dropped);
        QFETCH(QString, shown);
        const QTemporaryDir folder;
        QVERIFY(QDir(folder.path()).mkdir(u"folder"_s) && QDir(folder.path()).mkdir(u"a b%20\u00e4\"#?"_s));
        QVERIFY(QFile(folder.filePath(u"folder/page.html"_s)).open(QIODevice::WriteOnly));
        QVERIFY(QFile::link(folder.filePath(u"folder"_s), folder.filePath(u"link"_s)));
        WindowFixture f;
        for (const bool withText : {true, false}) {
            f.outputFolder.setText(u"before"_s);
            QVERIFY(drop(f.outputFolder,
                         {QUrl::fromLocalFile(folder.filePath(dropped)), QUrl::fromLocalFile(u"/"_s)},
                         withText));
            QCOMPARE(f.outputFolder.text(), folder.filePath(shown));
        }
        QCOMPARE(f.table.rowCount(), 0);
    }

    void otherTextDroppedOnTheFieldIsText()
    {
        WindowFixture f;
        drop(f.outputFolder, {QUrl(u"http://a.bc/d"_s)}, true);
        QCOMPARE(f.outputFolder.text(), u"http://a.bc/d"_s);
    }

    void theDialogStartsWhereTheLastRunWrote()
    {
        const QTemporaryDir folder;
        storeSetting(SettingKey::OutputFolder, folder.path());
        WindowFixture f;
        QString start;
        const DialogAnswer answer([&start](QDialog &dialog) {
            start = dynamic_cast<QFileDialog &>(dialog).directory().absolutePath();
        });
        f.press("pushButton_OutPutPath");
        QVERIFY(answer.given());
        QCOMPARE(start, folder.path());
    }

    void aFolderThatIsGoneStartsTheDialogAtItsDefault()
    {
        QString gone;
        {
            const QTemporaryDir folder;
            gone = folder.path();
        }
        storeSetting(SettingKey::OutputFolder, gone);
        WindowFixture f;
        QString start;
        const DialogAnswer answer([&start](QDialog &dialog) {
            start = dynamic_cast<QFileDialog &>(dialog).directory().absolutePath();
        });
        f.press("pushButton_OutPutPath");
        QVERIFY(answer.given());
        QVERIFY(QFile::exists(start));
        QVERIFY(start != gone);
    }
};

QTEST_MAIN(tst_OutputFolder)
#include "tst_outputfolder.moc"
