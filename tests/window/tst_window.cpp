#include "tests/window/processes.h"
#include "tests/window/program.h"
#include "tests/window/slowserver.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSettings>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

#include <sys/stat.h>

#include <csignal>
#include <functional>
#include <memory>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

constexpr int jobPatience = 60'000; // milliseconds for a run of a few pages
constexpr int patience = 20'000;    // milliseconds for anything else

const QString filesTitle = u"Select one or more files to open"_s;
const QString folderTitle = u"Open directory"_s;

/// What the size column says of a PDF.
QString sizeText(const QString &pdf)
{
    return QString::asprintf("%14.3fKb", double(QFileInfo(pdf).size()) / 1000.0);
}

struct Paper {
    double width = 0; // points
    double height = 0;
    /// Sizes in millimetres, give or take what rounding to pixels makes of them.
    bool is(double widthWanted, double heightWanted) const
    {
        const auto near = [](double points, double millimetres) {
            return qAbs(points - millimetres * 72 / 25.4) < 1.5;
        };
        return near(width, widthWanted) && near(height, heightWanted);
    }
};

} // namespace

class tst_Window : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        becomeSubreaper();
        m_desktop = std::make_unique<Desktop>();
        QVERIFY(m_desktop->start({1600, 1200}));
        QVERIFY(m_bus.connectTo(m_desktop->environment().value(u"DBUS_SESSION_BUS_ADDRESS"_s)));
        // A copy: the settings file lies in the bundle.
        QVERIFY(m_desktop->ask(u"cp"_s, {u"-a"_s, QStringLiteral(QUIRELLE_BUNDLE), m_desktop->folder()}));
        QVERIFY(QDir().mkpath(QStringLiteral(QUIRELLE_SCREENSHOTS)));
    }

    void init()
    {
        // One that does not start keeps every case waiting.
        QVERIFY2(m_started, "the program did not start before");
        m_server = std::make_unique<SlowServer>();
        QDir(file(u"out"_s)).removeRecursively();
        QDir(file(u"pages"_s)).removeRecursively();
        QVERIFY(QDir().mkpath(file(u"out"_s)) && QDir().mkpath(file(u"pages"_s)));
        QFile::remove(file(u"home/opened"_s));
        m_program = std::make_unique<Program>(*m_desktop, m_bus, file(u"Quirelle.app"_s));
        QFile::remove(m_program->settingsFile());
        m_desktop->moveMouse({0, 0});
        // The case on the high density screen starts its own.
        if (QTest::currentTestFunction() != "fitsAScreenOfTwiceTheDensity"_L1)
            m_started = m_program->start();
        QVERIFY(m_started);
    }

    void cleanup()
    {
        if (QTest::currentTestFailed())
            keep(QString(u"failed-"_s + QLatin1String(QTest::currentTestFunction())),
                 m_desktop->screenshot(QRect(0, 0, 1600, 1200)));
        else if (m_program && m_program->isRunning())
            QCOMPARE(m_program->close(), std::optional(0));
        m_program.reset();
        m_server.reset();
    }

    void cleanupTestCase()
    {
        m_desktop.reset();
        reapDescendants();
    }

    void opensEmptyAtItsFixedSize()
    {
        const WindowId window = m_program->window();
        QTRY_COMPARE(m_desktop->geometry(window).size(), QSize(710, 450));
        const QString hints = m_desktop->property(window, u"WM_NORMAL_HINTS"_s);
        QVERIFY2(hints.contains("minimum size: 710 by 450"_L1), qPrintable(hints));
        QVERIFY2(hints.contains("maximum size: 710 by 450"_L1), qPrintable(hints));
        const QString actions = m_desktop->property(window, u"_NET_WM_ALLOWED_ACTIONS"_s);
        QVERIFY2(actions.contains("_NET_WM_ACTION_CLOSE"_L1), qPrintable(actions));
        QVERIFY2(!actions.contains("_NET_WM_ACTION_RESIZE"_L1), qPrintable(actions));
        QVERIFY2(!actions.contains("_NET_WM_ACTION_MAXIMIZE"_L1), qPrintable(actions));
        QVERIFY(m_desktop->property(window, u"WM_NAME"_s).contains("\"Quirelle\""_L1));
        // Width and height of its first size, then its pixels.
        QVERIFY(m_desktop->property(window, u"_NET_WM_ICON"_s)
                    .contains(QRegularExpression(u"= [1-9]\\d+, [1-9]\\d+, \\d+"_s)));

        const QStringList headers{u"HTML File/URL"_s, u"File Source"_s, u"File Size"_s, u"Information"_s};
        QCOMPARE(m_program->headers(), headers);
        QCOMPARE(m_program->rowCount(), 0);
        QCOMPARE(m_program->outputFolder(), QString());
        QCOMPARE(m_program->progress(), 0);
        QVERIFY(m_program->isIdle());
        QVERIFY(!QFile::exists(m_program->settingsFile()));
        keep(u"window-empty"_s, m_desktop->screenshot(window));
    }

    void convertsAList()
    {
        const QStringList pages{page(u"First page"_s), slowPage(u"Second page"_s), page(u"Third.page"_s)};
        const QString out = file(u"out"_s);
        const QString unreachable = u"http://nowhere.invalid/page"_s;
        QVERIFY(m_program->addFiles(pages));
        QVERIFY(m_program->addAddresses(unreachable));
        QVERIFY(m_program->chooseOutputFolder(out));
        QCOMPARE(m_program->columnTexts(0), pages + QStringList(unreachable));
        QCOMPARE(m_program->columnTexts(1),
                 QStringList({u"Local File"_s, u"Local File"_s, u"Local File"_s, u"Online File"_s}));
        const QImage idle = startButton();

        m_program->click(Place::Start);
        QTRY_COMPARE_WITH_TIMEOUT(m_server->waiting(), 1, jobPatience);
        QTRY_COMPARE(m_program->startButtonText(), u"Stop "_s);
        QCOMPARE(m_program->columnTexts(3),
                 QStringList({u"Success"_s, u"Converting..."_s, QString(), QString()}));
        QCOMPARE(m_program->progress(), 2);
        QCOMPARE(m_program->progressEnd(), 4);
        QCOMPARE(m_program->selectedRows(), QList<int>({1}));
        QVERIFY(startButton() != idle);
        // Half of the bar is filled.
        QTRY_VERIFY(progressColor(0.25) != progressColor(0.75));
        keep(u"window-running"_s, m_desktop->screenshot(m_program->window()));

        m_server->letGo();
        QTRY_VERIFY_WITH_TIMEOUT(m_program->isIdle(), jobPatience);
        QCOMPARE(m_program->columnTexts(3),
                 QStringList({u"Success"_s, u"Success"_s, u"Success"_s, u"Failed"_s}));
        QCOMPARE(m_program->progress(), 0);
        QTRY_COMPARE(startButton(), idle);
        QCOMPARE(QDir(out).entryList(QDir::Files),
                 QStringList({u"First page.pdf"_s, u"Second page.pdf"_s, u"Third.page.pdf"_s}));
        QCOMPARE(m_program->columnTexts(2),
                 QStringList({sizeText(out + u"/First page.pdf"_s), sizeText(out + u"/Second page.pdf"_s),
                              sizeText(out + u"/Third.page.pdf"_s), QString()}));
        QVERIFY(pdfText(out + u"/First page.pdf"_s).contains("This is First page."_L1));
        QVERIFY(pdfText(out + u"/Second page.pdf"_s).contains("This is Second page."_L1));
        QVERIFY(pdfText(out + u"/Third.page.pdf"_s).contains("This is Third.page."_L1));
        QCOMPARE(m_program->setting(u"OutputFolder"_s), out);
        QCOMPARE(m_program->setting(u"InputFolder"_s), pages.first());
        keep(u"window-done"_s, m_desktop->screenshot(m_program->window()));
    }

    void convertsAnAddress()
    {
        const QString host =
            u"127.1.%1.%2"_s.arg((::getpid() >> 8) & 0xff).arg(qBound(1, ::getpid() & 0xff, 254));
        if (!QTcpServer().listen(QHostAddress(host), 80))
            QSKIP("an address has no port, and port 80 is not to be had here");
        page(u"index"_s);
        QProcess web;
        startWebServer(web, host);
        QTRY_VERIFY_WITH_TIMEOUT(answers(host), patience);

        QVERIFY(m_program->addAddresses(u"http://%1/index.html %1/missing.html"_s.arg(host)));
        QVERIFY(m_program->typeOutputFolder(file(u"out"_s)));
        run();
        QCOMPARE(m_program->columnTexts(1), QStringList({u"Online File"_s, u"Online File"_s}));
        QCOMPARE(m_program->columnTexts(3), QStringList({u"Success"_s, u"Failed"_s}));
        QVERIFY(pdfText(file(u"out/%1index.html.pdf"_s.arg(host))).contains("This is index."_L1));

        web.terminate();
        QVERIFY(web.waitForFinished(patience));
    }

    void stopsInMidRun()
    {
        QVERIFY(m_program->addFiles({page(u"before"_s), slowPage(u"slow"_s), page(u"after"_s)}));
        QVERIFY(m_program->typeOutputFolder(file(u"out"_s)));
        m_program->click(Place::Start);
        QTRY_COMPARE_WITH_TIMEOUT(m_server->waiting(), 1, jobPatience);
        QVERIFY(!engineProcesses().isEmpty());

        m_program->click(Place::Start);
        QTRY_VERIFY(m_program->isIdle());
        QTRY_COMPARE_WITH_TIMEOUT(engineProcesses(), QStringList(), patience);
        QCOMPARE(m_program->columnTexts(3), QStringList({u"Success"_s, u"Failed"_s, QString()}));
        QCOMPARE(m_program->progress(), 0);
        QTRY_COMPARE(m_server->waiting(), 0);
        QCOMPARE(QDir(file(u"out"_s)).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 QStringList(u"before.pdf"_s));

        m_server->letGo();
        run();
        QCOMPARE(m_program->columnTexts(3), QStringList({u"Success"_s, u"Success"_s, u"Success"_s}));
    }

    void leavesTheWarmServerToItself()
    {
        // As users have it, and the other cases have not.
        QCOMPARE(m_program->close(), std::optional(0));
        m_desktop->setVariable(u"QUIRELLE_IDLE_SECONDS"_s, u"30"_s);
        m_program = std::make_unique<Program>(*m_desktop, m_bus, file(u"Quirelle.app"_s));
        QVERIFY(m_program->start());
        m_desktop->setVariable(u"QUIRELLE_IDLE_SECONDS"_s, u"0"_s);

        QVERIFY(m_program->addFiles({page(u"before"_s), slowPage(u"slow"_s), page(u"after"_s)}));
        QVERIFY(m_program->typeOutputFolder(file(u"out"_s)));
        m_program->click(Place::Start);
        QTRY_COMPARE_WITH_TIMEOUT(m_server->waiting(), 1, jobPatience);
        const qint64 server = serverProcess();
        QVERIFY(server != 0);
        // The page does not go on loading when its job is stopped.
        m_program->click(Place::Start);
        QTRY_VERIFY(m_program->isIdle());
        QTRY_COMPARE(m_server->waiting(), 0);
        QCOMPARE(m_program->columnTexts(3), QStringList({u"Success"_s, u"Failed"_s, QString()}));

        m_server->letGo();
        run();
        QCOMPARE(m_program->columnTexts(3), QStringList({u"Success"_s, u"Success"_s, u"Success"_s}));
        QVERIFY(pdfText(file(u"out/after.pdf"_s)).contains("This is after."_L1));
        QCOMPARE(serverProcess(), server);

        QElapsedTimer timer;
        timer.start();
        QCOMPARE(m_program->close(), std::optional(0));
        // Far less than the server stays.
        QVERIFY2(timer.elapsed() < 10'000, qPrintable(QString::number(timer.elapsed())));
        QCOMPARE(serverProcess(), server);
        QCOMPARE(::kill(static_cast<pid_t>(server), SIGTERM), 0);
        QTRY_COMPARE_WITH_TIMEOUT(engineProcesses(), QStringList(), patience);
    }

    void warnsOfAnEmptyList()
    {
        m_program->click(Place::Start);
        QVERIFY(warns(u"No File!"_s, u"warning-no-file"_s));
        QVERIFY(m_program->isIdle());
    }

    void warnsOfABadFolder()
    {
        QVERIFY(m_program->addFiles({slowPage(u"slow"_s)}));
        m_program->click(Place::Start);
        QVERIFY(warns(u"Please select a correct output folder."_s, u"warning-folder"_s));
        QVERIFY(m_program->isIdle());
        QCOMPARE(m_program->row(0).at(3), QString());

        QVERIFY(m_program->typeOutputFolder(file(u"out"_s)));
        m_program->click(Place::Start);
        QTRY_COMPARE_WITH_TIMEOUT(m_server->waiting(), 1, jobPatience);
        // Stopping asks for a folder as well, and without one the run goes on.
        QVERIFY(m_program->typeOutputFolder(file(u"nowhere"_s)));
        m_program->click(Place::Start);
        QVERIFY(warns(u"Please select a correct output folder."_s, u"warning-folder"_s));
        QCOMPARE(m_program->startButtonText(), u"Stop "_s);
        QCOMPARE(m_program->row(0).at(3), u"Converting..."_s);

        m_server->letGo();
        QTRY_VERIFY_WITH_TIMEOUT(m_program->isIdle(), jobPatience);
        QCOMPARE(m_program->row(0).at(3), u"Success"_s);
    }

    void removesRows()
    {
        QVERIFY(m_program->addAddresses(u"a.example b.example c.example d.example e.example"_s));
        QTRY_COMPARE(m_program->rowCount(), 5);
        m_desktop->click(m_program->rowOnScreen(1));
        m_desktop->clickWith(u"ctrl"_s, m_program->rowOnScreen(3));
        QTRY_COMPARE(m_program->selectedRows(), QList<int>({1, 3}));

        m_program->click(Place::Remove);
        QTRY_COMPARE(m_program->columnTexts(0),
                     QStringList({u"a.example"_s, u"c.example"_s, u"e.example"_s}));
        m_program->click(Place::RemoveAll);
        QTRY_COMPARE(m_program->rowCount(), 0);
    }

    void keepsTheListAndTheFolderDuringARun()
    {
        const QStringList pages{slowPage(u"slow"_s), page(u"after"_s)};
        QVERIFY(m_program->addFiles(pages));
        QVERIFY(m_program->typeOutputFolder(file(u"out"_s)));
        m_program->click(Place::Start);
        QTRY_COMPARE_WITH_TIMEOUT(m_server->waiting(), 1, jobPatience);

        for (const QRect &button :
             {Place::Remove, Place::RemoveAll, Place::AddFiles, Place::AddAddresses, Place::OutputFolder})
            m_program->click(button);
        // Settings may be opened. Once they are, all the clicks before have been seen.
        m_program->click(Place::Settings);
        const auto settings = m_program->dialog(u"Setting"_s);
        QVERIFY(settings);
        for (const QString &title : {filesTitle, u"Dialog"_s, folderTitle})
            QCOMPARE(m_desktop->windows(title), QList<WindowId>());
        QCOMPARE(m_program->columnTexts(0), pages);
        QCOMPARE(m_program->outputFolder(), file(u"out"_s));
        m_desktop->pressKey(u"Escape"_s);
        QVERIFY(m_program->isGone(u"Setting"_s));
    }

    void opensTheFirstEntryOnADoubleClick()
    {
        const QStringList pages{page(u"first"_s), page(u"second"_s)};
        QVERIFY(m_program->addFiles(pages));
        m_desktop->doubleClick(m_program->rowOnScreen(1));
        QTRY_COMPARE_WITH_TIMEOUT(m_desktop->opened(), QStringList(pages.first()), patience);
    }

    void takesDroppedFiles()
    {
        const QStringList pages{page(u"first"_s), page(u"second page"_s)};
        QVERIFY(dropOnList(pages + QStringList({u"http://one.example/"_s, page(u"third"_s)}), 2));
        QCOMPARE(m_program->columnTexts(0), pages);
        QCOMPARE(m_program->columnTexts(1), QStringList({u"Local File"_s, u"Local File"_s}));
        QCOMPARE(m_program->columnTexts(2), QStringList({QString(), QString()}));
    }

    void takesAFolderDroppedOnItsField()
    {
        QVERIFY(drop({file(u"out"_s)}, Place::OutputFolderField,
                     [this] { return m_program->outputFolder() == file(u"out"_s); }));
        // Of a file its folder.
        QVERIFY(drop({page(u"first"_s)}, Place::OutputFolderField,
                     [this] { return m_program->outputFolder() == file(u"pages"_s); }));
        QCOMPARE(m_program->rowCount(), 0);
    }

    void doesNotWaitForAFifoInThePlaceOfItsSettings()
    {
        QCOMPARE(m_program->close(), std::optional(0));
        const QByteArray fifo = QFile::encodeName(m_program->settingsFile());
        QCOMPARE(::mkfifo(fifo.constData(), 0600), 0);
        QVERIFY(m_program->start());
        QVERIFY(m_program->addFiles({page(u"first"_s)}));
        QVERIFY(m_program->typeOutputFolder(file(u"out"_s)));
        const auto dialog = openSettings();
        QVERIFY(dialog);
        m_desktop->pressKey(u"Return"_s);
        QVERIFY(m_program->isGone(u"Setting"_s));
        run();
        QCOMPARE(m_program->columnTexts(3), QStringList(u"Success"_s));
        QCOMPARE(m_program->close(), std::optional(0));
        QVERIFY(QFile::remove(m_program->settingsFile()));
        QVERIFY(m_program->start());
    }

    void convertsFilesWithQuotesInTheirNames()
    {
        const QStringList pages{page(u"a \"quoted\" name"_s), page(u"x.html\" \"--title"_s)};
        QVERIFY(dropOnList(pages, 2));
        QVERIFY(m_program->typeOutputFolder(file(u"out"_s)));
        run();
        QCOMPARE(m_program->columnTexts(3), QStringList({u"Success"_s, u"Success"_s}));
        QVERIFY(pdfText(file(u"out/a \"quoted\" name.pdf"_s)).contains("This is a \"quoted\" name."_L1));
        QCOMPARE(QDir(file(u"out"_s)).entryList(QDir::Files),
                 QStringList({u"a \"quoted\" name.pdf"_s, u"x.html\" \"--title.pdf"_s}));
    }

    void convertsWhatIsDroppedDuringARun()
    {
        QVERIFY(dropOnList({slowPage(u"slow"_s)}, 1));
        QVERIFY(m_program->typeOutputFolder(file(u"out"_s)));
        m_program->click(Place::Start);
        QTRY_COMPARE_WITH_TIMEOUT(m_server->waiting(), 1, jobPatience);

        QVERIFY(dropOnList({page(u"dropped"_s)}, 2));
        m_server->letGo();
        QTRY_VERIFY_WITH_TIMEOUT(m_program->isIdle(), jobPatience);
        QCOMPARE(m_program->columnTexts(3), QStringList({u"Success"_s, u"Success"_s}));
        QVERIFY(pdfText(file(u"out/dropped.pdf"_s)).contains("This is dropped."_L1));
    }

    void keepsItsSettingsAndUsesThem()
    {
        auto dialog = openSettings();
        QVERIFY(dialog);
        QCOMPARE(m_desktop->geometry(dialog->window).size(), QSize(462, 404));
        keep(u"settings"_s, m_desktop->screenshot(dialog->window));
        QList<Accessible> lists = dialog->content.findAll(u"combo box"_s);
        QCOMPARE(lists.size(), 3);

        QVERIFY(m_program->walkTo(lists.at(0), dialog->content));
        m_desktop->type(u"A5"_s);
        QTRY_COMPARE(lists.at(0).name(), u"A5 (148x210 mm)"_s);
        QVERIFY(pickBelow(lists.at(1), u"Landscape"_s));
        QVERIFY(m_program->fill(lists.at(2).find(u"text"_s), u"13"_s));
        QVERIFY(m_program->fill(dialog->content.find(u"text"_s, u"Title:"_s), u"Annual report 100%"_s));
        m_program->click(dialog->content.find(u"check box"_s, u"Grayscale"_s));
        QTRY_VERIFY(dialog->content.find(u"check box"_s, u"Grayscale"_s).isChecked());
        const Accessible noBackground = dialog->content.find(u"check box"_s, u"No Background"_s);
        QVERIFY(m_program->walkTo(noBackground, dialog->content));
        m_desktop->pressKey(u"space"_s);
        QTRY_VERIFY(noBackground.isChecked());
        keep(u"settings-filled"_s, m_desktop->screenshot(dialog->window));
        m_program->click(dialog->button(u"OK"_s));
        QVERIFY(m_program->isGone(u"Setting"_s));

        QCOMPARE(m_program->setting(u"PaperSiezeModel"_s), u"6"_s);
        QCOMPARE(m_program->setting(u"Orientation"_s), u"1"_s);
        QCOMPARE(m_program->setting(u"FontSize"_s), u"13"_s);
        QCOMPARE(m_program->setting(u"Title"_s), u"Annual report 100%"_s);
        QCOMPARE(m_program->setting(u"Grayscale"_s), u"True"_s);
        QCOMPARE(m_program->setting(u"NoBackground"_s), u"True"_s);
        QCOMPARE(m_program->setting(u"LowQuality"_s), u"False"_s);
        QCOMPARE(m_program->close(), std::optional(0));

        QVERIFY(m_program->start());
        dialog = openSettings();
        QVERIFY(dialog);
        lists = dialog->content.findAll(u"combo box"_s);
        QCOMPARE(lists.at(0).name(), u"A5 (148x210 mm)"_s);
        QCOMPARE(lists.at(1).name(), u"Landscape"_s);
        QCOMPARE(lists.at(2).find(u"text"_s).text(), u"13"_s);
        QCOMPARE(dialog->content.find(u"text"_s, u"Title:"_s).text(), u"Annual report 100%"_s);
        QStringList checked;
        const QList<Accessible> boxes = dialog->content.findAll(u"check box"_s);
        for (const Accessible &box : boxes) {
            if (box.isChecked())
                checked << box.name();
        }
        QCOMPARE(checked, QStringList({u"Grayscale"_s, u"No Background"_s}));
        m_program->click(dialog->button(u"Cancle"_s));
        QVERIFY(m_program->isGone(u"Setting"_s));

        QVERIFY(m_program->addFiles({page(u"report"_s)}));
        QVERIFY(m_program->typeOutputFolder(file(u"out"_s)));
        run();
        const QString pdf = file(u"out/report.pdf"_s);
        QVERIFY(paper(pdf).is(210, 148));
        QCOMPARE(pdfFact(pdf, u"Title"_s), u"Annual report 100%"_s);
    }

    void forgetsSettingsThatAreNotAccepted()
    {
        auto dialog = openSettings();
        QVERIFY(dialog);
        const Accessible title = dialog->content.find(u"text"_s, u"Title:"_s);
        QVERIFY(m_program->fill(title, u"Draft"_s));
        m_program->click(dialog->button(u"Cancle"_s));
        QVERIFY(m_program->isGone(u"Setting"_s));
        QVERIFY(!QFile::exists(m_program->settingsFile()));

        // What was typed still stands there, until Reset.
        dialog = openSettings();
        QVERIFY(dialog);
        QCOMPARE(title.text(), u"Draft"_s);
        m_program->click(dialog->button(u"Reset"_s));
        QTRY_COMPARE(title.text(), QString());
        m_program->click(dialog->button(u"OK"_s));
        QVERIFY(m_program->isGone(u"Setting"_s));
        QVERIFY(QFile::exists(m_program->settingsFile()));
        QCOMPARE(m_program->setting(u"Title"_s), QString());
    }

    void appliesSettingsSavedDuringARunToTheNextJob()
    {
        QSettings(m_program->settingsFile(), QSettings::IniFormat)
            .setValue(u"/SettingInfo/PaperSiezeModel"_s, u"6"_s);
        QVERIFY(m_program->addFiles({slowPage(u"one"_s), page(u"two"_s)}));
        QVERIFY(m_program->typeOutputFolder(file(u"out"_s)));
        m_program->click(Place::Start);
        QTRY_COMPARE_WITH_TIMEOUT(m_server->waiting(), 1, jobPatience);

        const auto dialog = openSettings();
        QVERIFY(dialog);
        const Accessible paperSize = dialog->content.findAll(u"combo box"_s).value(0);
        QVERIFY(m_program->walkTo(paperSize, dialog->content));
        m_desktop->type(u"A3"_s);
        QTRY_COMPARE(paperSize.name(), u"A3 (297x420 mm)"_s);
        m_desktop->pressKey(u"Return"_s);
        m_program->click(dialog->button(u"OK"_s));
        QVERIFY(m_program->isGone(u"Setting"_s));
        QTRY_COMPARE(m_program->setting(u"PaperSiezeModel"_s), u"4"_s);

        m_server->letGo();
        QTRY_VERIFY_WITH_TIMEOUT(m_program->isIdle(), jobPatience);
        QVERIFY(paper(file(u"out/one.pdf"_s)).is(148, 210));
        QVERIFY(paper(file(u"out/two.pdf"_s)).is(297, 420));
    }

    void takesTypedAddresses()
    {
        m_program->click(Place::AddAddresses);
        auto dialog = m_program->dialog(u"Dialog"_s);
        QVERIFY(dialog);
        QCOMPARE(m_desktop->geometry(dialog->window).size(), QSize(401, 300));
        const QString text =
            u"http://one.example/a-b?c=1\nhttps://two.example/ three.example  no-hyphen.example\nlocalhost"_s;
        QVERIFY(m_program->fill(dialog->content.find(u"text"_s), text));
        keep(u"addresses"_s, m_desktop->screenshot(dialog->window));
        m_program->click(dialog->button(u"OK"_s));
        QVERIFY(m_program->isGone(u"Dialog"_s));
        QTRY_COMPARE(m_program->columnTexts(0),
                     QStringList({u"http://one.example/a-b?c=1"_s, u"three.example"_s}));
        QCOMPARE(m_program->columnTexts(1), QStringList({u"Online File"_s, u"Online File"_s}));

        // The text is still there, and Cancel adds nothing.
        m_program->click(Place::AddAddresses);
        dialog = m_program->dialog(u"Dialog"_s);
        QVERIFY(dialog);
        QCOMPARE(dialog->content.find(u"text"_s).text(), text);
        m_program->click(dialog->button(u"Clear"_s));
        QTRY_COMPARE(dialog->content.find(u"text"_s).text(), QString());
        m_program->click(dialog->button(u"Cancel"_s));
        QVERIFY(m_program->isGone(u"Dialog"_s));
        QCOMPARE(m_program->rowCount(), 2);
    }

    void takesAddressesFromAListFile()
    {
        const QString list = file(u"pages/list.txt"_s);
        QVERIFY(write(list, "one.example\nnot an address\nhttp://two.example/x\n"));
        m_program->click(Place::AddAddresses);
        const auto dialog = m_program->dialog(u"Dialog"_s);
        QVERIFY(dialog);
        m_program->click(dialog->button(u"Use File List"_s));
        QVERIFY(m_program->answerFileDialog(filesTitle, list));
        QTRY_COMPARE(dialog->content.find(u"text"_s).text(),
                     u"one.example\nnot an address\nhttp://two.example/x\n"_s);
        QCOMPARE(m_program->setting(u"ListFilePath"_s), file(u"pages"_s));
        m_program->click(dialog->button(u"OK"_s));
        QVERIFY(m_program->isGone(u"Dialog"_s));
        QTRY_COMPARE(m_program->columnTexts(0), QStringList({u"one.example"_s, u"http://two.example/x"_s}));
    }

    void opensTheHomepage()
    {
        m_program->click(Place::About);
        const auto dialog = m_program->dialog(u"About "_s);
        QVERIFY(dialog);
        QCOMPARE(m_desktop->geometry(dialog->window).size(), QSize(360, 200));
        keep(u"about"_s, m_desktop->screenshot(dialog->window));
        const QString homepage = u"https://www.quirelle.example/"_s;
        m_program->click(dialog->button(u"Visit Our Homepage"_s));
        QTRY_COMPARE_WITH_TIMEOUT(m_desktop->opened(), QStringList(homepage), patience);
        // The link in the text, which is underlined.
        constexpr QPoint link(180, 100);
        m_desktop->click(m_desktop->geometry(dialog->window).topLeft() + link);
        QTRY_COMPARE_WITH_TIMEOUT(m_desktop->opened(), QStringList({homepage, homepage}), patience);
        m_desktop->pressKey(u"Escape"_s);
        QVERIFY(m_program->isGone(u"About "_s));
    }

    void leavesNothingRunningWhenClosedDuringARun()
    {
        QVERIFY(m_program->addFiles({slowPage(u"slow"_s), page(u"after"_s)}));
        QVERIFY(m_program->typeOutputFolder(file(u"out"_s)));
        m_program->click(Place::Start);
        QTRY_COMPARE_WITH_TIMEOUT(m_server->waiting(), 1, jobPatience);
        QVERIFY(!engineProcesses().isEmpty());

        QCOMPARE(m_program->close(), std::optional(0));
        QTRY_COMPARE_WITH_TIMEOUT(engineProcesses(), QStringList(), patience);
        QCOMPARE(QDir(file(u"out"_s)).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 QStringList());
    }

    void marksATopButtonUnderTheMouse()
    {
        const QRgb white = 0xffffffff;
        const QRgb black = 0xff000000;
        const QRect place(QPoint(), Place::Settings.size());
        const auto picture = [this] { return m_desktop->screenshot(m_program->onScreen(Place::Settings)); };
        const QPoint ground(5, 40);
        QVERIFY(picture().pixel(ground) != white);

        m_desktop->moveMouse(m_program->onScreen(Place::Settings.center()));
        QTRY_COMPARE(picture().pixel(ground), white);
        const QImage marked = picture();
        QCOMPARE(marked.pixel(0, 40), black);
        QCOMPARE(marked.pixel(place.right(), 40), black);
        QCOMPARE(marked.pixel(40, 0), black);
        QVERIFY(marked.pixel(40, place.bottom()) != black);
        keep(u"button-under-mouse"_s, marked);

        m_desktop->moveMouse(m_program->onScreen(Place::Nowhere));
        QTRY_VERIFY(picture().pixel(ground) != white);
    }

    void closesDialogsOnEscape_data()
    {
        QTest::addColumn<QRect>("button");
        QTest::addColumn<QString>("title");
        QTest::newRow("add files") << Place::AddFiles << filesTitle;
        QTest::newRow("add addresses") << Place::AddAddresses << u"Dialog"_s;
        QTest::newRow("settings") << Place::Settings << u"Setting"_s;
        QTest::newRow("about") << Place::About << u"About "_s;
        QTest::newRow("output folder") << Place::OutputFolder << folderTitle;
        QTest::newRow("warning") << Place::Start << u"Warning"_s;
    }

    void closesDialogsOnEscape()
    {
        QFETCH(const QRect, button);
        QFETCH(const QString, title);
        m_program->click(button);
        const auto dialog = m_program->dialog(title);
        QVERIFY(dialog);
        m_desktop->pressKey(u"Escape"_s);
        QVERIFY(m_program->isGone(title));
        QTRY_COMPARE(m_desktop->activeWindow(), m_program->window());
        QVERIFY(!QFile::exists(m_program->settingsFile()));
    }

    void emptiesTheFolderWhenItsDialogIsCancelled()
    {
        QVERIFY(m_program->chooseOutputFolder(file(u"out"_s)));
        m_program->click(Place::OutputFolder);
        QVERIFY(m_program->dialog(folderTitle));
        m_desktop->pressKey(u"Escape"_s);
        QVERIFY(m_program->isGone(folderTitle));
        QTRY_COMPARE(m_program->outputFolder(), QString());
    }

    void fitsAScreenOfTwiceTheDensity()
    {
        QVERIFY(m_program->start(2));
        QTRY_COMPARE(m_desktop->geometry(m_program->window()).size(), QSize(1420, 900));
        keep(u"window-at-2"_s, m_desktop->screenshot(m_program->window()));
        m_program->click(Place::Start);
        QVERIFY(warns(u"No File!"_s, u"warning-at-2"_s));
        const auto dialog = openSettings();
        QVERIFY(dialog);
        QCOMPARE(m_desktop->geometry(dialog->window).size(), QSize(924, 808));
        keep(u"settings-at-2"_s, m_desktop->screenshot(dialog->window));
        m_desktop->pressKey(u"Escape"_s);
        QVERIFY(m_program->isGone(u"Setting"_s));
    }

private:
    QString file(const QString &name) const { return m_desktop->file(name); }

    static bool write(const QString &path, const QByteArray &content)
    {
        QFile out(path);
        return out.open(QIODevice::WriteOnly) && out.write(content) == content.size();
    }

    /// A page that says its own name; its path.
    QString page(const QString &name) const { return page(name, QString()); }

    /// One that is being loaded until the server lets go.
    QString slowPage(const QString &name) const
    {
        return page(name, u"<img src='%1'>"_s.arg(m_server->pictureAddress()));
    }

    QString page(const QString &name, const QString &more) const
    {
        QString path = file(u"pages/"_s + name + u".html"_s);
        const QString content =
            u"<!DOCTYPE html><title>%1</title><h1>This is %1.</h1><p>%2</p>"_s.arg(name, more);
        if (!write(path, content.toUtf8()))
            qWarning("no page %s", qPrintable(path));
        return path;
    }

    void run()
    {
        m_program->click(Place::Start);
        QTRY_VERIFY(!m_program->isIdle() || m_program->row(m_program->rowCount() - 1).at(3) != QString());
        QTRY_VERIFY_WITH_TIMEOUT(m_program->isIdle(), jobPatience);
    }

    /// Whether there is a warning that says this, with one button; it is pressed. The picture is kept by that
    /// name.
    bool warns(const QString &text, const QString &picture)
    {
        const auto box = m_program->dialog(u"Warning"_s);
        if (!box)
            return false;
        keep(picture, m_desktop->screenshot(box->window));
        const bool said = !box->content.find(u"label"_s, text).isNull();
        const QList<Accessible> buttons = box->content.findAll(u"push button"_s);
        if (!said || buttons.size() != 1 || buttons.first().name() != "Yes"_L1)
            return false;
        m_desktop->pressKey(u"Return"_s);
        return m_program->isGone(u"Warning"_s);
    }

    std::optional<Dialog> openSettings()
    {
        m_program->click(Place::Settings);
        return m_program->dialog(u"Setting"_s);
    }

    /// Opens a list with the mouse and picks the entry below the current one.
    bool pickBelow(const Accessible &list, const QString &entry)
    {
        m_program->click(list);
        const Accessible entries = list.find(u"list"_s);
        if (!QTest::qWaitFor([&entries] { return entries.extents().height() > 0; }, patience))
            return false;
        const Accessible item = list.find(u"list item"_s, entry);
        if (item.isNull())
            return false;
        m_program->click(item);
        return QTest::qWaitFor([&] { return list.name() == entry; }, patience);
    }

    /// Whether the list has so many rows then.
    bool dropOnList(const QStringList &files, int rows)
    {
        return drop(files, Place::Table, [this, rows] { return m_program->rowCount() == rows; });
    }

    /// Drags these out of another program's window and drops them on a control. Whether that then is as
    /// wanted.
    bool drop(const QStringList &files, QRect control, const std::function<bool()> &isAsWanted)
    {
        QProcess source;
        source.setProcessEnvironment(m_desktop->environment());
        source.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        source.start(QStringLiteral(QUIRELLE_DRAG_SOURCE), files);
        QByteArray said;
        const auto says = [&](const char *line, const std::function<void()> &meanwhile) {
            return QTest::qWaitFor(
                [&] {
                    meanwhile();
                    said += source.readAllStandardOutput();
                    return said.contains(line);
                },
                patience);
        };
        WindowId window = 0;
        const bool up = QTest::qWaitFor(
            [&] {
                window = m_desktop->windows(u"Drag from here"_s).value(0);
                return window != 0 && m_desktop->activeWindow() == window;
            },
            patience);
        if (!up)
            return false;
        m_desktop->ask(u"xdotool"_s,
                       {u"windowmove"_s, u"--sync"_s, QString::number(window), u"20"_s, u"20"_s});

        QPoint mouse = m_desktop->geometry(window).center();
        m_desktop->moveMouse(mouse);
        m_desktop->pressMouse();
        const bool dragging = says("dragging", [&] { m_desktop->moveMouse(mouse += QPoint(1, 0)); });
        const QPoint target = m_program->onScreen(control.center());
        int steps = 0;
        const bool welcome =
            dragging && says("welcome", [&] { m_desktop->moveMouse(target + QPoint(++steps % 20, 0)); });
        m_desktop->releaseMouse();
        // The window asks for the files after the drag is over: their program must still be there.
        const bool added = says("over", [] {}) && QTest::qWaitFor(isAsWanted, patience);
        source.terminate();
        source.waitForFinished(patience);
        if (!added)
            qWarning("the drag got as far as: %s", said.constData());
        return welcome && added;
    }

    void startWebServer(QProcess &web, const QString &host)
    {
        const QByteArray config =
            QStringLiteral(R"(daemon off;
%3
pid %1/nginx.pid;
error_log %1/nginx.log;
events {}
http {
    access_log off;
    client_body_temp_path %1/body;
    proxy_temp_path %1/proxy;
    fastcgi_temp_path %1/fastcgi;
    uwsgi_temp_path %1/uwsgi;
    scgi_temp_path %1/scgi;
    types { text/html html; }
    server { listen %2:80; root %4; }
}
)")
                .arg(file(u"tmp"_s), host, ::getuid() == 0 ? u"user root;"_s : QString(), file(u"pages"_s))
                .toUtf8();
        QVERIFY(write(file(u"tmp/nginx.conf"_s), config));
        web.start(u"nginx"_s, {u"-e"_s, u"stderr"_s, u"-c"_s, file(u"tmp/nginx.conf"_s)});
    }

    static bool answers(const QString &host)
    {
        QTcpSocket socket;
        socket.connectToHost(host, 80);
        return socket.waitForConnected(patience);
    }

    QString pdfText(const QString &pdf) const
    {
        const auto text = m_desktop->ask(u"pdftotext"_s, {pdf, u"-"_s});
        return QString::fromUtf8(text.value_or(QByteArray()));
    }

    QString pdfFact(const QString &pdf, const QString &name) const
    {
        const auto facts = m_desktop->ask(u"pdfinfo"_s, {pdf});
        const QRegularExpression line(u'^' + name + u":\\s+(.*)$"_s, QRegularExpression::MultilineOption);
        return line.match(QString::fromUtf8(facts.value_or(QByteArray()))).captured(1);
    }

    Paper paper(const QString &pdf) const
    {
        const QStringList size = pdfFact(pdf, u"Page size"_s).split(u' ');
        return {size.value(0).toDouble(), size.value(2).toDouble()};
    }

    /// The start button as it looks when the mouse is elsewhere.
    QImage startButton() const
    {
        m_desktop->moveMouse(m_program->onScreen(Place::Nowhere));
        return m_desktop->screenshot(m_program->onScreen(Place::Start));
    }

    QRgb progressColor(double part) const
    {
        const QImage bar = m_desktop->screenshot(m_program->onScreen(Place::Progress));
        return bar.isNull() ? 0 : bar.pixel(int(bar.width() * part), bar.height() / 2);
    }

    static void keep(const QString &name, const QImage &picture)
    {
        const QString path = QStringLiteral(QUIRELLE_SCREENSHOTS) + u'/' + name + u".png"_s;
        if (!picture.save(path))
            qWarning("%s cannot be written", qPrintable(path));
    }

    std::unique_ptr<Desktop> m_desktop;
    AccessibilityBus m_bus;
    std::unique_ptr<SlowServer> m_server;
    std::unique_ptr<Program> m_program;
    bool m_started = true;
};

QTEST_GUILESS_MAIN(tst_Window)
#include "tst_window.moc"
