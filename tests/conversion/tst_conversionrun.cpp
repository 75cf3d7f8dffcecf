#include "tests/conversion/runfixture.h"

#include <QElapsedTimer>
#include <QMessageBox>
#include <QProcess>
#include <QSignalSpy>

#include <csignal>

using namespace Qt::StringLiterals;

namespace
{

/// Answers the next message box with its only button, and keeps what it said.
class BoxAnswer : public DialogAnswer
{
public:
    BoxAnswer()
        : DialogAnswer([this](QDialog &dialog) {
              auto *box = qobject_cast<QMessageBox *>(&dialog);
              QVERIFY(box);
              title = box->windowTitle();
              text = box->text();
              buttons = box->standardButtons();
              parent = box->parentWidget();
              palette = box->palette();
              box->button(QMessageBox::Yes)->click();
          })
    {
    }

    QString title;
    QString text;
    QMessageBox::StandardButtons buttons;
    QWidget *parent = nullptr;
    QPalette palette;
};

/// Handles deferred deletes and pending events.
void deliverWhatIsPosted()
{
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

} // namespace

class tst_ConversionRun : public QObject
{
    Q_OBJECT

private:
    /// Waits for the engine to have written a line with its process number, and returns that.
    pid_t enginePid() const
    {
        const bool started = QTest::qWaitFor([this] { return !lines(logged(u"pid"_s)).isEmpty(); });
        return started ? lines(logged(u"pid"_s)).last().toInt() : 0;
    }
    static bool isAlive(pid_t pid) { return pid > 0 && ::kill(pid, 0) == 0; }
    QString logged(const QString &name) const { return m_log->filePath(name); }
    void useEngine(const QString &script) const { installEngine(script, m_log->path()); }

    std::unique_ptr<QTemporaryDir> m_log;

private slots:
    void initTestCase() { QApplication::setAttribute(Qt::AA_DontUseNativeDialogs); }

    void init()
    {
        QTest::failOnWarning(QRegularExpression(u"QProcess|QObject"_s));
        m_log = std::make_unique<QTemporaryDir>();
        QFile::remove(settingsFilePath());
        QFile::remove(enginePlace());
    }

    void cleanupTestCase()
    {
        QFile::remove(settingsFilePath());
        QFile::remove(enginePlace());
    }

    void anEmptyListIsRefused()
    {
        RunFixture f;
        BoxAnswer box;
        f.start();
        QVERIFY(box.given());
        QCOMPARE(box.title, u"Warning"_s);
        QCOMPARE(box.text, u"No File!"_s);
        QCOMPARE(box.buttons, QMessageBox::Yes);
        QCOMPARE(box.parent, &f.window);
        QCOMPARE(f.startButton.text(), u"Start"_s);
        QVERIFY(!QFile::exists(settingsFilePath()));
    }

    void warningsAreLightLikeTheWindowOnADarkDesktop()
    {
        const QPalette before = QApplication::palette();
        QApplication::setPalette(QPalette(QColor(0x2d, 0x2d, 0x30)));
        {
            RunFixture f;
            BoxAnswer box;
            f.start();
            QVERIFY(box.given());
            QVERIFY(box.palette.color(QPalette::Window).lightness() > 200);
            QVERIFY(box.palette.color(QPalette::WindowText).lightness() < 80);
        }
        QApplication::setPalette(before);
    }

    void aMissingOutputFolderIsRefused_data()
    {
        QTest::addColumn<QString>("folder");
        QTest::newRow("empty") << QString();
        QTest::newRow("missing") << u"/nonexistent/folder"_s;
    }

    void aMissingOutputFolderIsRefused()
    {
        QFETCH(QString, folder);
        RunFixture f;
        f.addRow(u"/a/page.html"_s);
        setJobText(f.table, 0, SizeColumn, u"untouched"_s);
        f.outputFolder.setText(folder);
        BoxAnswer box;
        f.start();
        QVERIFY(box.given());
        QCOMPARE(box.title, u"Warning"_s);
        QCOMPARE(box.text, u"Please select a correct output folder."_s);
        QCOMPARE(box.buttons, QMessageBox::Yes);
        QCOMPARE(f.startButton.text(), u"Start"_s);
        QCOMPARE(f.text(0, SizeColumn), u"untouched"_s);
        QVERIFY(!QFile::exists(settingsFilePath()));
    }

    void oneRowRunsFromStartToSuccess()
    {
        useEngine(u"head -c 2500 /dev/zero > \"$output\""_s);
        RunFixture f;
        f.addRow(u"/a/My Page.old.html"_s);
        setJobText(f.table, 0, SizeColumn, u"old"_s);
        setJobText(f.table, 0, InformationColumn, u"old"_s);
        f.start();
        QCOMPARE(f.startButton.text(), u"Stop "_s);
        QCOMPARE(f.startButton.icon().pixmap(42, 42).toImage(),
                 QIcon(u":/MyImage/Image/stop.png"_s).pixmap(42, 42).toImage());
        QCOMPARE(f.information(0), u"Converting..."_s);
        QCOMPARE(f.text(0, SizeColumn), QString());
        QCOMPARE(f.progress.maximum(), 1);
        QCOMPARE(f.progress.value(), 1);
        QCOMPARE(f.table.currentRow(), 0);
        QCOMPARE(f.table.currentColumn(), 2);
        QVERIFY(f.table.item(0, 0)->isSelected());
        QCOMPARE(storedSetting(SettingKey::OutputFolder), f.out.path());

        QTRY_VERIFY(!f.isRunning());
        QCOMPARE(f.information(0), u"Success"_s);
        QCOMPARE(f.text(0, SizeColumn), u"         2.500Kb"_s);
        QCOMPARE(f.startButton.text(), u"Start"_s);
        QCOMPARE(f.startButton.icon().pixmap(42, 42).toImage(),
                 QIcon(u":/MyImage/Image/start.png"_s).pixmap(42, 42).toImage());
        QCOMPARE(f.progress.value(), 0);
        QCOMPARE(f.progress.maximum(), 1);
        QVERIFY(QFile::exists(f.pdf(u"My Page.old"_s)));
    }

    void onlyTheFileIsJudged_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<QString>("information");
        QTest::newRow("file and success") << u"echo x > \"$output\""_s << u"Success"_s;
        QTest::newRow("file and failure") << u"echo x > \"$output\"; exit 3"_s << u"Success"_s;
        QTest::newRow("file and crash") << u"echo x > \"$output\"; kill -SEGV $$"_s << u"Success"_s;
        QTest::newRow("no file and success") << u"exit 0"_s << u"Failed"_s;
        QTest::newRow("no file and failure") << u"exit 1"_s << u"Failed"_s;
        QTest::newRow("empty file") << u": > \"$output\""_s << u"Failed"_s;
        QTest::newRow("folder in the file's place") << u"mkdir \"$output\""_s << u"Failed"_s;
    }

    void onlyTheFileIsJudged()
    {
        QFETCH(QString, script);
        QFETCH(QString, information);
        useEngine(script);
        RunFixture f;
        f.addRow(u"/a/page.html"_s);
        f.start();
        QTRY_VERIFY(!f.isRunning());
        QCOMPARE(f.information(0), information);
        QCOMPARE(f.text(0, SizeColumn).isEmpty(), information == u"Failed"_s);
    }

    void anOlderFileCountsAsSuccess()
    {
        useEngine(u"exit 1"_s);
        RunFixture f;
        QFile old(f.pdf(u"page"_s));
        QVERIFY(old.open(QIODevice::WriteOnly) && old.resize(1000));
        f.addRow(u"/a/page.html"_s);
        f.start();
        QTRY_VERIFY(!f.isRunning());
        QCOMPARE(f.information(0), u"Success"_s);
        QCOMPARE(f.text(0, SizeColumn), u"         1.000Kb"_s);
    }

    void theEngineGetsItsArgumentsWhole()
    {
        useEngine(u"for argument; do echo \"$argument\"; done > \"$log/arguments\"; echo x > \"$output\""_s);
        storeSetting(SettingKey::Title, u"Two words"_s);
        storeSetting(SettingKey::Grayscale, u"True"_s);
        RunFixture f;
        f.addRow(u"/some folder/a b.html"_s);
        f.start();
        QTRY_VERIFY(!f.isRunning());
        QCOMPARE(
            lines(logged(u"arguments"_s)),
            (QStringList{u"--copies"_s, u"1"_s, u"--minimum-font-size"_s, u"10"_s, u"--title"_s,
                         u"Two words"_s, u"--grayscale"_s, u"/some folder/a b.html"_s, f.pdf(u"a b"_s)}));
    }

    void aNameCannotAddArguments()
    {
        useEngine(u"for argument; do echo \"$argument\"; done > \"$log/arguments\"; echo x > \"$output\""_s);
        RunFixture f;
        const QString precious = f.out.filePath(u"precious"_s);
        const QString folder = f.out.filePath(u"a \"quoted\" folder"_s);
        QVERIFY(QDir().mkpath(folder));
        f.outputFolder.setText(folder);
        const QString name = u"x.html\" \"../precious\" \"--title"_s;
        f.addRow(u"/a/"_s + name);
        f.start();
        QTRY_VERIFY(!f.isRunning());
        QCOMPARE(lines(logged(u"arguments"_s)),
                 (QStringList{u"--copies"_s, u"1"_s, u"--minimum-font-size"_s, u"10"_s, u"/a/"_s + name,
                              folder + u"/precious\" \"--title.pdf"_s}));
        QVERIFY(!QFile::exists(precious));
    }

    void aPercentSignInAnAddressIsFilled()
    {
        useEngine(u"echo \"$input\" > \"$log/input\"; echo \"$output\" > \"$log/output\""_s);
        RunFixture f;
        f.addRow(u"a.bc/%3Ax"_s, JobSource::OnlineFile);
        f.start();
        QTRY_VERIFY(!f.isRunning());
        QCOMPARE(lines(logged(u"input"_s)), QStringList{u"a.bc/"_s + f.pdf(u"a.bc3Ax"_s) + u"Ax"_s});
        QCOMPARE(lines(logged(u"output"_s)), QStringList{u"%4"_s});
        QCOMPARE(f.information(0), u"Failed"_s);
    }

    void aRowWithoutSourceHasNoName()
    {
        useEngine(u"echo x > \"$output\""_s);
        RunFixture f;
        f.addRow(u"/a/page.html"_s, u"");
        f.start();
        QTRY_VERIFY(!f.isRunning());
        QVERIFY(QFile::exists(f.pdf(QString())));
        QCOMPARE(f.information(0), u"Success"_s);
    }

    void rowsAreJudgedOneAfterAnother()
    {
        useEngine(
            u"echo $$ >> \"$log/pid\"; while ! [ -e \"$log/go\" ]; do sleep 0.01; done; rm \"$log/go\"; "
            "echo x > \"$output\""_s);
        RunFixture f;
        for (const char *name : {"/a/1.html", "/a/2.html", "/a/3.html"})
            f.addRow(QString::fromLatin1(name));
        f.start();
        for (int job = 0; job < 3; ++job) {
            QTRY_COMPARE(lines(logged(u"pid"_s)).size(), job + 1);
            for (int row = 0; row < 3; ++row)
                QCOMPARE(f.information(row), row < job    ? u"Success"_s
                                             : row == job ? u"Converting..."_s
                                                          : QString());
            QCOMPARE(f.progress.maximum(), 3);
            QCOMPARE(f.progress.value(), job + 1);
            QCOMPARE(f.table.currentRow(), job);
            QFile go(logged(u"go"_s));
            QVERIFY(go.open(QIODevice::WriteOnly));
        }
        QTRY_VERIFY(!f.isRunning());
        QCOMPARE(f.information(2), u"Success"_s);
        QCOMPARE(f.progress.value(), 0);
    }

    void equalNamesAreJudgedEachOnItsOwnContent()
    {
        useEngine(
            u"case $input in /a/*) size=1000;; *) size=2000;; esac; head -c $size /dev/zero > \"$output\""_s);
        RunFixture f;
        f.addRow(u"/a/page.html"_s);
        f.addRow(u"/b/page.htm"_s);
        f.start();
        QTRY_VERIFY(!f.isRunning());
        QCOMPARE(f.text(0, SizeColumn), u"         1.000Kb"_s);
        QCOMPARE(f.text(1, SizeColumn), u"         2.000Kb"_s);
        QCOMPARE(QFileInfo(f.pdf(u"page"_s)).size(), 2000);
        QCOMPARE(QDir(f.out.path()).entryList(QDir::Files).size(), 1);
    }

    void stopKillsTheEngineAndJudgesItsRow_data()
    {
        QTest::addColumn<int>("row");
        QTest::addColumn<QString>("partOfAFile");
        QTest::addColumn<QString>("information");
        QTest::newRow("first row, nothing written") << 0 << QString() << u"Failed"_s;
        QTest::newRow("first row, partly written") << 0 << u"part"_s << u"Success"_s;
        QTest::newRow("last row, nothing written") << 2 << QString() << u"Failed"_s;
        QTest::newRow("last row, partly written") << 2 << u"part"_s << u"Success"_s;
    }

    void stopKillsTheEngineAndJudgesItsRow()
    {
        QFETCH(int, row);
        QFETCH(QString, partOfAFile);
        QFETCH(QString, information);
        useEngine(u"case $input in *slow*) printf '%1' > \"$output\"; echo $$ > \"$log/pid\"; exec sleep "
                  u"100;; esac; "
                  "echo x > \"$output\""_s.arg(partOfAFile));
        RunFixture f;
        for (int index = 0; index < 3; ++index)
            f.addRow(index == row ? u"/a/slow.html"_s : u"/a/quick%1.html"_s.arg(index));
        f.start();
        const pid_t pid = enginePid();
        QVERIFY(isAlive(pid));
        QVERIFY(f.isRunning());
        QElapsedTimer timer;
        timer.start();
        f.start();
        QVERIFY(timer.elapsed() < 2000);
        QVERIFY(!isAlive(pid));
        QCOMPARE(f.startButton.text(), u"Start"_s);
        QCOMPARE(f.progress.value(), 0);
        for (int index = 0; index < 3; ++index)
            QCOMPARE(f.information(index), index < row    ? u"Success"_s
                                           : index == row ? information
                                                          : QString());

        // A later start begins at the first row with every result blank.
        useEngine(u"while ! [ -e \"$log/go\" ]; do sleep 0.01; done; echo x > \"$output\""_s);
        f.start();
        QCOMPARE(f.information(0), u"Converting..."_s);
        for (int index = 0; index < 3; ++index)
            QCOMPARE(f.text(index, SizeColumn), QString());
        QCOMPARE(f.information(1), QString());
        QCOMPARE(f.information(2), QString());
        QFile go(logged(u"go"_s));
        QVERIFY(go.open(QIODevice::WriteOnly));
        QTRY_VERIFY(!f.isRunning());
        for (int index = 0; index < 3; ++index)
            QCOMPARE(f.information(index), u"Success"_s);
    }

    void stopBlanksTheSizeOfTheRowAfterTheRunningOne()
    {
        useEngine(u"echo $$ > \"$log/pid\"; exec sleep 100"_s);
        RunFixture f;
        f.addRow(u"/a/1.html"_s);
        f.addRow(u"/a/2.html"_s);
        f.start();
        QVERIFY(isAlive(enginePid()));
        setJobText(f.table, 1, SizeColumn, u"to go"_s);
        f.start();
        QCOMPARE(f.text(1, SizeColumn), QString());
    }

    void stopIsGuardedByTheSameChecks()
    {
        useEngine(u"echo $$ > \"$log/pid\"; exec sleep 100"_s);
        RunFixture f;
        f.addRow(u"/a/1.html"_s);
        f.start();
        const pid_t pid = enginePid();
        f.outputFolder.setText(u"/nonexistent"_s);
        {
            BoxAnswer box;
            f.start();
            QVERIFY(box.given());
            QCOMPARE(box.text, u"Please select a correct output folder."_s);
        }
        QVERIFY(f.isRunning());
        QVERIFY(isAlive(pid));
        f.outputFolder.setText(f.out.path());
        f.table.setRowCount(0);
        {
            BoxAnswer box;
            f.start();
            QVERIFY(box.given());
            QCOMPARE(box.text, u"No File!"_s);
        }
        QVERIFY(f.isRunning());
        QVERIFY(isAlive(pid));
    }

    void stopStoresTheOutputFolderToo()
    {
        useEngine(u"echo $$ > \"$log/pid\"; exec sleep 100"_s);
        RunFixture f;
        f.addRow(u"/a/1.html"_s);
        f.start();
        QVERIFY(isAlive(enginePid()));
        f.outputFolder.setText(QDir::rootPath());
        f.start();
        QCOMPARE(storedSetting(SettingKey::OutputFolder), QDir::rootPath());
        QVERIFY(!f.isRunning());
    }

    void aMissingEngineLeavesTheRowConverting()
    {
        RunFixture f;
        f.addRow(u"/a/1.html"_s);
        f.addRow(u"/a/2.html"_s);
        f.start();
        // Nothing must happen. An event that would cause it has been delivered once this process's failure
        // has.
        QProcess later;
        QSignalSpy failure(&later, &QProcess::errorOccurred);
        later.startCommand(enginePlace());
        QTRY_COMPARE(failure.size(), 1);
        deliverWhatIsPosted();
        QCOMPARE(f.information(0), u"Converting..."_s);
        QCOMPARE(f.information(1), QString());
        QCOMPARE(f.startButton.text(), u"Stop "_s);
        f.start();
        QCOMPARE(f.information(0), u"Converting..."_s);
        QCOMPARE(f.startButton.text(), u"Start"_s);
        QCOMPARE(f.progress.value(), 0);
        useEngine(u"echo x > \"$output\""_s);
        f.start();
        QTRY_VERIFY(!f.isRunning());
        QCOMPARE(f.information(0), u"Success"_s);
        QCOMPARE(f.information(1), u"Success"_s);
    }

    void stopRightAfterStart_data()
    {
        QTest::addColumn<bool>("engineIsThere");
        QTest::newRow("with an engine") << true;
        QTest::newRow("without") << false;
    }

    void stopRightAfterStart()
    {
        QFETCH(bool, engineIsThere);
        if (engineIsThere)
            useEngine(u"exec sleep 100"_s);
        RunFixture f;
        f.addRow(u"/a/1.html"_s);
        for (int time = 0; time < 20; ++time) {
            f.start();
            QVERIFY(f.isRunning());
            f.start();
            QVERIFY(!f.isRunning());
            QCOMPARE(f.information(0), engineIsThere ? u"Failed"_s : u"Converting..."_s);
        }
    }

    void theListIsLockedDuringARun()
    {
        useEngine(u"echo $$ > \"$log/pid\"; exec sleep 100"_s);
        RunFixture f;
        f.addRow(u"/a/1.html"_s);
        f.addRow(u"/a/2.html"_s);
        f.start();
        QVERIFY(isAlive(enginePid()));
        DialogAnswer unwanted([](QDialog &) {});
        for (const char *button : {"pushButton_Add", "pushButton_AddUrl", "pushButton_Remove",
                                   "pushButton_RemoveAll", "pushButton_OutPutPath"})
            f.press(button);
        QVERIFY(!unwanted.given());
        QCOMPARE(f.table.rowCount(), 2);
        QCOMPARE(f.outputFolder.text(), f.out.path());
        // Settings and About are not.
        f.press("pushButton_Setting");
        QVERIFY(unwanted.given());
    }

    void rowsDroppedDuringARunAreConverted()
    {
        useEngine(
            u"echo $$ > \"$log/pid\"; while ! [ -e \"$log/go\" ]; do sleep 0.01; done; echo x > \"$output\""_s);
        RunFixture f;
        QFile dropped(f.out.filePath(u"dropped.html"_s));
        QVERIFY(dropped.open(QIODevice::WriteOnly) && dropped.resize(10));
        f.addRow(u"/a/1.html"_s);
        f.start();
        QVERIFY(isAlive(enginePid()));
        f.drop({dropped.fileName()});
        QCOMPARE(f.table.rowCount(), 2);
        QFile go(logged(u"go"_s));
        QVERIFY(go.open(QIODevice::WriteOnly));
        QTRY_VERIFY(!f.isRunning());
        QCOMPARE(f.information(1), u"Success"_s);
        QVERIFY(QFile::exists(f.pdf(u"dropped"_s)));
        QCOMPARE(f.progress.maximum(), 2);
    }

    void rowsThatGoDuringARunEndIt_data()
    {
        QTest::addColumn<int>("left");
        QTest::newRow("just the running one") << 1;
        QTest::newRow("none") << 0;
    }

    void rowsThatGoDuringARunEndIt()
    {
        QFETCH(int, left);
        useEngine(
            u"echo $$ >> \"$log/pid\"; while ! [ -e \"$log/go\" ]; do sleep 0.01; done; echo x > \"$output\""_s);
        RunFixture f;
        for (int index = 0; index < 3; ++index)
            f.addRow(u"/a/%1.html"_s.arg(index));
        f.start();
        QVERIFY(isAlive(enginePid()));
        f.table.setRowCount(left);
        QFile go(logged(u"go"_s));
        QVERIFY(go.open(QIODevice::WriteOnly));
        QTRY_VERIFY(!f.isRunning());
        QCOMPARE(lines(logged(u"pid"_s)).size(), 1);
        if (left)
            QCOMPARE(f.information(0), u"Success"_s);
        QCOMPARE(f.progress.value(), 0);
    }

    void settingsSavedDuringARunHoldFromTheNextJobOn()
    {
        useEngine(u"echo $$ > \"$log/pid\"; echo \"$@\" >> \"$log/arguments\"; "
                  "while ! [ -e \"$log/go\" ]; do sleep 0.01; done"_s);
        RunFixture f;
        f.addRow(u"/a/1.html"_s);
        f.addRow(u"/a/2.html"_s);
        f.start();
        QVERIFY(isAlive(enginePid()));
        storeSetting(SettingKey::PaperSizeModel, u"5"_s);
        QFile go(logged(u"go"_s));
        QVERIFY(go.open(QIODevice::WriteOnly));
        QTRY_VERIFY(!f.isRunning());
        const QStringList runs = lines(logged(u"arguments"_s));
        QCOMPARE(runs.size(), 2);
        QVERIFY(!runs.at(0).contains(u"--page-size"_s));
        QVERIFY(runs.at(1).startsWith(u"--page-size A4 --copies 1"_s));
    }

    void aRunGoesOnBehindAnOpenDialog()
    {
        useEngine(u"echo x > \"$output\""_s);
        RunFixture f;
        for (int index = 0; index < 5; ++index)
            f.addRow(u"/a/%1.html"_s.arg(index));
        f.start();
        const DialogAnswer answer([&f](QDialog &) { QTRY_VERIFY(!f.isRunning()); });
        f.press("pushButton_Setting");
        QVERIFY(answer.given());
        QCOMPARE(f.information(4), u"Success"_s);
    }

    void manyQuickJobsLeaveNothingBehind()
    {
        useEngine(u"echo x > \"$output\""_s);
        RunFixture f;
        constexpr int many = 300;
        for (int index = 0; index < many; ++index)
            f.addRow(u"/a/%1.html"_s.arg(index));
        f.start();
        QTRY_COMPARE(f.information(0), u"Success"_s);
        const int descriptors = openDescriptors();
        QTRY_VERIFY_WITH_TIMEOUT(!f.isRunning(), 60000);
        for (int row = 0; row < many; ++row)
            QCOMPARE(f.information(row), u"Success"_s);
        QCOMPARE(QDir(f.out.path()).entryList(QDir::Files).size(), many);
        QVERIFY2(openDescriptors() <= descriptors, QByteArray::number(openDescriptors()).constData());
    }

    void anEngineThatPrintsALotNeitherBlocksNorFillsTheMemory()
    {
        useEngine(u"head -c 100000000 /dev/zero; head -c 100000000 /dev/zero >&2; echo x > \"$output\""_s);
        RunFixture f;
        f.addRow(u"/a/1.html"_s);
        const qint64 before = residentMemory();
        qint64 most = before;
        f.start();
        QTRY_VERIFY_WITH_TIMEOUT(((most = std::max(most, residentMemory())), !f.isRunning()), 30000);
        QCOMPARE(f.information(0), u"Success"_s);
        QVERIFY2(most - before < 50000, QByteArray::number(most - before).constData());
    }

    void closingTheWindowStopsTheEngine_data()
    {
        QTest::addColumn<bool>("closed");
        QTest::newRow("closed, then destroyed") << true;
        QTest::newRow("only destroyed") << false;
    }

    void closingTheWindowStopsTheEngine()
    {
        QFETCH(bool, closed);
        useEngine(u"echo $$ > \"$log/pid\"; trap '' TERM; exec sleep 100"_s);
        auto f = std::make_unique<RunFixture>();
        f->addRow(u"/a/1.html"_s);
        f->addRow(u"/a/2.html"_s);
        f->start();
        const pid_t pid = enginePid();
        QVERIFY(isAlive(pid));
        QElapsedTimer timer;
        timer.start();
        if (closed) {
            QVERIFY(f->window.close());
            QVERIFY(!isAlive(pid));
            QCOMPARE(f->startButton.text(), u"Start"_s);
        }
        f.reset();
        QVERIFY(timer.elapsed() < 2000);
        QVERIFY(!isAlive(pid));
        QCOMPARE(lines(logged(u"pid"_s)).size(), 1);
        // Must not crash.
        deliverWhatIsPosted();
    }

    void aWindowCanGoAtAnyTime_data()
    {
        QTest::addColumn<bool>("engineIsThere");
        QTest::addColumn<int>("milliseconds");
        for (const bool there : {true, false}) {
            for (const int milliseconds : {0, 1, 5, 20, 60})
                QTest::addRow("%s engine, after %d ms", there ? "with an" : "without", milliseconds)
                    << there << milliseconds;
        }
    }

    void aWindowCanGoAtAnyTime()
    {
        QFETCH(bool, engineIsThere);
        QFETCH(int, milliseconds);
        if (engineIsThere)
            useEngine(u"echo x > \"$output\""_s);
        {
            RunFixture f;
            for (int index = 0; index < 50; ++index)
                f.addRow(u"/a/%1.html"_s.arg(index));
            f.start();
            QTest::qWait(milliseconds);
        }
        deliverWhatIsPosted();
    }

    void theDestroyedNotificationStopsTheEngine()
    {
        useEngine(u"echo $$ > \"$log/pid\"; exec sleep 100"_s);
        RunFixture f;
        f.addRow(u"/a/1.html"_s);
        f.start();
        const pid_t pid = enginePid();
        QVERIFY(isAlive(pid));
        emit f.window.destroyed(nullptr);
        QVERIFY(!isAlive(pid));
    }

    void stopWhileNothingRunsDoesNothing()
    {
        RunFixture f;
        f.addRow(u"/a/1.html"_s);
        setJobText(f.table, 0, SizeColumn, u"kept"_s);
        f.window.KillProcess();
        QCOMPARE(f.text(0, SizeColumn), u"kept"_s);
    }

    void resultsAreBlankedWithFreshItems()
    {
        RunFixture f;
        f.addRow(u"/a/1.html"_s);
        f.addRow(u"/a/2.html"_s);
        setJobText(f.table, 1, SizeColumn, u"old"_s);
        setJobText(f.table, 1, InformationColumn, u"old"_s);
        f.table.item(1, InformationColumn)->setToolTip(u"of the old item"_s);
        f.window.ClearAllInfo();
        for (int row = 0; row < 2; ++row) {
            QCOMPARE(f.text(row, SizeColumn), QString());
            QCOMPARE(f.text(row, InformationColumn), QString());
            QCOMPARE(f.text(row, SourceColumn), u"Local File"_s);
        }
        QCOMPARE(f.table.item(1, InformationColumn)->toolTip(), QString());
    }
};

QTEST_MAIN(tst_ConversionRun)
#include "tst_conversionrun.moc"
