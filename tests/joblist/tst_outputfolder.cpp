#include "tests/app/windowfixture.h"

#include <QTemporaryDir>

using namespace Qt::StringLiterals;

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
