#include "dialogs/aboutdlg.h"
#include "tests/app/windowfixture.h"
#include "ui_mainwindow.h"

#include <QDirIterator>
#include <QHeaderView>
#include <QMetaMethod>
#include <QResource>

using namespace Qt::StringLiterals;

namespace
{

struct WiredWindow : MainWindow {
    using QObject::receivers;
};

QImage image(const QString &name)
{
    return QImage(u":/MyImage/Image/"_s + name).convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

QImage iconImage(const QAbstractButton &button)
{
    return button.icon()
        .pixmap(button.iconSize(), 1.0)
        .toImage()
        .convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

QPalette darkPalette()
{
    QPalette palette(QColor(40, 40, 40), QColor(30, 30, 30));
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(role, Qt::white);
    palette.setColor(QPalette::Base, QColor(20, 20, 20));
    return palette;
}

} // namespace

class tst_MainWindow : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QFile::remove(settingsFilePath());
        QApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
    }

    void slotsStandInTheirOrder()
    {
        const QList<QByteArray> expected{"AddFile()",
                                         "DeleteFile()",
                                         "DeleteAllFile()",
                                         "Setting()",
                                         "StartConvert()",
                                         "ExeCmd()",
                                         "AddOutputPath()",
                                         "SetFontPath()",
                                         "RegisterOrAbout()",
                                         "Onkeyboard()",
                                         "AddUrl()",
                                         "OpenSourceFile()",
                                         "on_MainWindow_destroyed()"};
        const QMetaObject &meta = MainWindow::staticMetaObject;
        QCOMPARE(meta.methodCount() - meta.methodOffset(), expected.size());
        for (int index = 0; index < expected.size(); ++index) {
            const QMetaMethod slot = meta.method(meta.methodOffset() + index);
            QCOMPARE(slot.methodSignature(), expected.at(index));
            QCOMPARE(slot.methodType(), QMetaMethod::Slot);
            const bool isBool = expected.at(index) == "ExeCmd()" || expected.at(index) == "SetFontPath()";
            QCOMPARE(QByteArray(slot.typeName()), QByteArray(isBool ? "bool" : "void"));
        }
        QCOMPARE(meta.method(meta.methodOffset() + 12).access(), QMetaMethod::Private);
        QCOMPARE(QByteArray(meta.className()), QByteArray("MainWindow"));
        QCOMPARE(QByteArray(meta.superClass()->className()), QByteArray("QMainWindow"));
    }

    void everyControlIsWiredOnce_data()
    {
        QTest::addColumn<QString>("sender");
        QTest::addColumn<QByteArray>("signal");
        QTest::addColumn<QByteArray>("slot");
        const auto row = [](const char *sender, const char *signal, const char *slot) {
            QTest::newRow(slot) << QString::fromLatin1(sender) << QByteArray(signal) << QByteArray(slot);
        };
        row("pushButton_Add", SIGNAL(clicked()), SLOT(AddFile()));
        row("pushButton_Remove", SIGNAL(clicked()), SLOT(DeleteFile()));
        row("pushButton_RemoveAll", SIGNAL(clicked()), SLOT(DeleteAllFile()));
        row("pushButton_Setting", SIGNAL(clicked()), SLOT(Setting()));
        row("pushButton_Convert", SIGNAL(clicked()), SLOT(StartConvert()));
        row("pushButton_OutPutPath", SIGNAL(clicked()), SLOT(AddOutputPath()));
        row("pushButton_About", SIGNAL(clicked()), SLOT(RegisterOrAbout()));
        row("tableWidget", SIGNAL(itemSelectionChanged()), SLOT(Onkeyboard()));
        row("pushButton_AddUrl", SIGNAL(clicked()), SLOT(AddUrl()));
        row("tableWidget", SIGNAL(doubleClicked(QModelIndex)), SLOT(OpenSourceFile()));
    }

    void everyControlIsWiredOnce()
    {
        QFETCH(QString, sender);
        QFETCH(QByteArray, signal);
        QFETCH(QByteArray, slot);
        MainWindow window;
        auto *control = window.findChild<QObject *>(sender);
        QVERIFY(QObject::disconnect(control, signal, &window, slot));
        QVERIFY(!QObject::disconnect(control, signal, &window, slot));
    }

    void destroyedIsWiredTwice()
    {
        WiredWindow window;
        // The toolkit may have receivers of its own.
        const int before = window.receivers(SIGNAL(destroyed()));
        QVERIFY(QObject::disconnect(&window, SIGNAL(destroyed()), &window, SLOT(on_MainWindow_destroyed())));
        QCOMPARE(before - window.receivers(SIGNAL(destroyed())), 2);
    }

    void theFormMatchesItsDrawing_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<QByteArray>("kind");
        QTest::addColumn<QRect>("geometry");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("icon");
        QTest::addColumn<QSize>("iconSize");
        const QByteArray button("QPushButton");
        const QSize large(70, 75);
        const QSize small(42, 42);
        const auto row = [](const QByteArray &name, const QByteArray &kind, const QRect &geometry,
                            const QString &text, const QString &icon, const QSize &size) {
            QTest::newRow(name.constData()) << name << kind << geometry << text << icon << size;
        };
        row("pushButton_Add", button, {10, 10, 85, 81}, {}, u"Add_file.png"_s, large);
        row("pushButton_AddUrl", button, {130, 10, 85, 81}, {}, u"Add_URL.png"_s, large);
        row("pushButton_Remove", button, {250, 10, 85, 81}, {}, u"Remove.png"_s, large);
        row("pushButton_RemoveAll", button, {370, 10, 85, 81}, {}, u"clear.png"_s, large);
        row("pushButton_Setting", button, {490, 10, 85, 81}, {}, u"Setting.png"_s, large);
        row("pushButton_About", button, {610, 10, 85, 81}, {}, {}, large);
        row("pushButton_OutPutPath", button, {80, 360, 141, 51}, u"Output Folder"_s, u"folder_open.png"_s,
            small);
        row("pushButton_Convert", button, {580, 360, 111, 53}, u"Start"_s, {}, small);
        row("tableWidget", "QTableWidget", {10, 90, 691, 261}, {}, {}, {});
        row("lineEdit_OutPutPath", "QLineEdit", {230, 376, 301, 20}, {}, {}, {});
        row("progressBarA", "QProgressBar", {10, 420, 691, 20}, {}, {}, {});
    }

    void theFormMatchesItsDrawing()
    {
        QFETCH(QByteArray, name);
        QFETCH(QByteArray, kind);
        QFETCH(QRect, geometry);
        QFETCH(QString, text);
        QFETCH(QString, icon);
        QFETCH(QSize, iconSize);
        MainWindow window;
        auto *control = window.findChild<QWidget *>(QString::fromLatin1(name));
        QVERIFY(control);
        QCOMPARE(QByteArray(control->metaObject()->className()), kind);
        QCOMPARE(control->geometry(), geometry);
        QCOMPARE(control->parentWidget(), window.centralWidget());
        if (const auto *button = qobject_cast<QPushButton *>(control)) {
            QCOMPARE(button->text(), text);
            QCOMPARE(button->iconSize(), iconSize);
            QCOMPARE(button->icon().isNull(), icon.isEmpty());
            if (!icon.isEmpty()) {
                const QImage wanted = QIcon(u":/MyImage/Image/"_s + icon)
                                          .pixmap(iconSize, 1.0)
                                          .toImage()
                                          .convertToFormat(QImage::Format_ARGB32_Premultiplied);
                QCOMPARE(iconImage(*button), wanted);
            }
        }
        QVERIFY(!control->accessibleName().isEmpty() || !text.isEmpty());
    }

    void theFormItselfIsBare()
    {
        MainWindow window;
        QCOMPARE(window.objectName(), u"MainWindow"_s);
        QCOMPARE(window.size(), QSize(710, 450));
        QCOMPARE(window.windowTitle(), u"Quirelle"_s);
        QCOMPARE(window.styleSheet(), QString());
        QCOMPARE(window.windowIcon().pixmap(256, 256).toImage().convertToFormat(
                     QImage::Format_ARGB32_Premultiplied),
                 image(u"Main.png"_s));
        QVERIFY(window.acceptDrops());
        QCOMPARE(window.centralWidget()->objectName(), u"centralWidget"_s);
        QVERIFY(!window.centralWidget()->layout());
        for (const char *bar : {"QMenuBar", "QToolBar", "QStatusBar"}) {
            for (const QWidget *child : window.findChildren<QWidget *>())
                QVERIFY2(!child->inherits(bar), bar);
        }
    }

    void theTableIsReadOnlyAndFramed()
    {
        MainWindow window;
        const auto &table = *window.findChild<QTableWidget *>();
        QCOMPARE(table.editTriggers(), QAbstractItemView::NoEditTriggers);
        QCOMPARE(table.selectionMode(), QAbstractItemView::ExtendedSelection);
        QCOMPARE(table.gridStyle(), Qt::DotLine);
        QVERIFY(table.showGrid());
        QVERIFY(!table.dragEnabled());
        QVERIFY(table.horizontalHeader()->stretchLastSection());
        QVERIFY(table.verticalHeader()->isHidden());
        QCOMPARE(table.styleSheet().count(u"1px solid #000000"_s), 4);
        QVERIFY(table.styleSheet().contains(u"border-radius: 2"_s));
    }

    void imageButtonsAreFlatUntilHovered_data()
    {
        QTest::addColumn<QString>("name");
        for (const char *name : {"pushButton_Add", "pushButton_AddUrl", "pushButton_Remove",
                                 "pushButton_RemoveAll", "pushButton_Setting", "pushButton_About"})
            QTest::newRow(name) << QString::fromLatin1(name);
    }

    void imageButtonsAreFlatUntilHovered()
    {
        QFETCH(QString, name);
        MainWindow window;
        const auto &button = *window.findChild<QPushButton *>(name);
        const QStringList states = button.styleSheet().split(u"QPushButton:hover"_s);
        QCOMPARE(states.size(), 2);
        QVERIFY(states.at(0).contains(u"background-color: transparent;"_s));
        QVERIFY(states.at(0).contains(u"color: #bde2f5;"_s));
        QVERIFY(states.at(0).contains(u"font-weight: normal;"_s));
        QCOMPARE(states.at(0).count(u"0px solid #C2C2C2;"_s), 4);
        QVERIFY(states.at(0).contains(u"border-radius: 2;"_s));
        QVERIFY(states.at(1).contains(u"background-color: #FFFFFF;"_s));
        for (const char *side : {"left", "top", "right"})
            QVERIFY(states.at(1).contains(u"border-%1: 1px solid #000000;"_s.arg(QLatin1String(side))));
        QVERIFY(states.at(1).contains(u"border-bottom: 0px solid #000000;"_s));
        QVERIFY(states.at(1).contains(u"border-radius: 2;"_s));
        QVERIFY(!button.styleSheet().contains(u"pressed"_s));
        QVERIFY(!button.toolTip().isEmpty());
    }

    void textButtonsAreFramed_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("background");
        QTest::newRow("start") << u"pushButton_Convert"_s << u"background-color: transparent;"_s;
        // No colour at all, so the style's own background stays.
        QTest::newRow("folder") << u"pushButton_OutPutPath"_s << u"background-color: #transparent;"_s;
    }

    void textButtonsAreFramed()
    {
        QFETCH(QString, name);
        QFETCH(QString, background);
        MainWindow window;
        const auto &button = *window.findChild<QPushButton *>(name);
        const QStringList states = button.styleSheet().split(u"QPushButton:hover"_s);
        QCOMPARE(states.size(), 2);
        QVERIFY(states.at(0).contains(background));
        QVERIFY(states.at(0).contains(u"font-weight: normal;"_s));
        QCOMPARE(states.at(0).count(u"1px solid #C2C2C2;"_s), 4);
        QCOMPARE(states.at(1).count(u"1px solid #000000;"_s), 4);
        QVERIFY(states.at(1).contains(u"background-color: #FFFFFF;"_s));
        QCOMPARE(button.styleSheet().count(u"border-radius: 2;"_s), 2);
        QVERIFY(!button.styleSheet().contains(u"pressed"_s));
    }

    void theOutputFieldIsFramed()
    {
        MainWindow window;
        const QString style = window.findChild<QLineEdit *>(u"lineEdit_OutPutPath"_s)->styleSheet();
        QVERIFY(style.contains(u"border:1px solid #000000;"_s));
        QVERIFY(style.contains(u"border-radius: 2;"_s));
    }

    void actionsAreThereAndConnectedToNothing()
    {
        MainWindow window;
        const QStringList names{u"New"_s,  u"Open"_s,  u"DOC"_s,   u"RTF"_s,       u"PDF"_s,  u"HTML"_s,
                                u"XLS"_s,  u"TXT"_s,   u"CSV"_s,   u"JPEG"_s,      u"TIFF"_s, u"ODT"_s,
                                u"ODS"_s,  u"XML"_s,   u"XLSX"_s,  u"SQL"_s,       u"DBF"_s,  u"DIFF"_s,
                                u"SYLK"_s, u"LaTex"_s, u"Lotus"_s, u"Remove_All"_s};
        QStringList texts = names;
        texts.replace(0, u"Add"_s);
        texts.replace(1, u"Remove"_s);
        texts.replace(21, u"Remove All"_s);
        const auto actions = window.findChildren<QAction *>(QString(), Qt::FindDirectChildrenOnly);
        QCOMPARE(actions.size(), names.size());
        for (int index = 0; index < names.size(); ++index) {
            QCOMPARE(actions.at(index)->objectName(), u"action"_s + names.at(index));
            QCOMPARE(actions.at(index)->text(), texts.at(index));
            QVERIFY(actions.at(index)->associatedObjects().isEmpty());
        }
        QVERIFY(actions.first()->icon().availableSizes().isEmpty());
    }

    void thereAreElevenImagesAsTheyAre()
    {
        QStringList names;
        QDirIterator files(u":/MyImage"_s, QDir::Files, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            const QResource resource(files.next());
            QCOMPARE(resource.compressionAlgorithm(), QResource::NoCompression);
            QVERIFY(!QImage(resource.absoluteFilePath()).isNull());
            names << resource.absoluteFilePath();
        }
        names.sort();
        QStringList expected;
        for (const char *name : {"About", "Add_URL", "Add_file", "Main", "Remove", "Setting", "bg1", "clear",
                                 "folder_open", "start", "stop"})
            expected << u":/MyImage/Image/%1.png"_s.arg(QLatin1String(name));
        QCOMPARE(names, expected);
        QVERIFY(!QFile::exists(u":/MyIco/Image/Main.ico"_s));
    }

    void theBackgroundFillsTheWindow()
    {
        MainWindow window;
        const QImage wanted = QImage(u":/MyImage/Image/bg1.png"_s);
        for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
            const QBrush brush = window.palette().brush(group, QPalette::Window);
            QCOMPARE(brush.style(), Qt::TexturePattern);
            QCOMPARE(brush.texture().size(), QSize(710, 450));
            const QImage scaled = QPixmap::fromImage(wanted)
                                      .scaled(710, 450, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
                                      .toImage();
            QCOMPARE(brush.textureImage().convertToFormat(QImage::Format_RGB32),
                     scaled.convertToFormat(QImage::Format_RGB32));
        }
    }

    void startUpFixesTheSizeAtLast()
    {
        MainWindow window;
        window.setFixedSize(730, 450);
        window.show();
        QCOMPARE(window.size(), QSize(730, 450));
        window.InitAllChoice();
        QCOMPARE(window.size(), QSize(710, 450));
        QCOMPARE(window.minimumSize(), QSize(710, 450));
        QCOMPARE(window.maximumSize(), QSize(710, 450));
    }

    void startUpShowsAnEmptyListAndAnEmptyFolder()
    {
        storeSetting(SettingKey::OutputFolder, u"/"_s);
        WindowFixture f;
        QFile::remove(settingsFilePath());
        QCOMPARE(f.table.rowCount(), 0);
        QCOMPARE(f.table.columnCount(), 4);
        QStringList labels;
        for (int column = 0; column < 4; ++column)
            labels << f.table.horizontalHeaderItem(column)->text();
        QCOMPARE(labels,
                 (QStringList{u"HTML File/URL"_s, u"File Source"_s, u"File Size"_s, u"Information"_s}));
        QCOMPARE(f.table.focusPolicy(), Qt::NoFocus);
        QCOMPARE(f.table.selectionBehavior(), QAbstractItemView::SelectRows);
        QCOMPARE(f.outputFolder.text(), QString());
        QCOMPARE(f.startButton.text(), u"Start"_s);
        QCOMPARE(f.progress.value(), 0);
        QVERIFY(!f.progress.isTextVisible());
        QCOMPARE(f.window.windowTitle(), u"Quirelle"_s);
    }

    void columnsShareTheWidthInSixths()
    {
        WindowFixture f;
        const auto widths = [&f] {
            QList<int> all;
            for (int column = 0; column < 4; ++column)
                all << f.table.columnWidth(column);
            return all;
        };
        QCOMPARE(widths(), (QList<int>{345, 115, 115, 115}));
        QVERIFY(QTest::qWaitForWindowExposed(&f.window));
        QCOMPARE(widths().first(3), (QList<int>{345, 115, 115}));
    }

    void aScrollBarComesOnlyWithAWidenedColumn()
    {
        WindowFixture f;
        QVERIFY(QTest::qWaitForWindowExposed(&f.window));
        QCOMPARE(f.table.horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
        f.table.setColumnWidth(InputColumn, 900);
        QCOMPARE(f.table.horizontalScrollBarPolicy(), Qt::ScrollBarAsNeeded);
        f.table.setColumnWidth(InputColumn, 345);
        QCOMPARE(f.table.horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
    }

    void startAndAboutImagesKeepTheirPixelSize()
    {
        WindowFixture f;
        QCOMPARE(f.startButton.iconSize(), image(u"start.png"_s).size());
        QCOMPARE(iconImage(f.startButton), image(u"start.png"_s));
        auto &about = f.control<QPushButton>("pushButton_About");
        QCOMPARE(about.iconSize(), image(u"About.png"_s).size());
        QCOMPARE(iconImage(about), image(u"About.png"_s));
    }

    void denseScreensGetTwiceThePixels()
    {
        WindowFixture f;
        const QPixmap dense = f.startButton.icon().pixmap(f.startButton.iconSize(), 2.0);
        QCOMPARE(dense.size(), image(u"start.png"_s).size() * 2);
        QImage wanted =
            QImage(u":/MyImage2x/Image/start.png"_s).convertToFormat(QImage::Format_ARGB32_Premultiplied);
        wanted.setDevicePixelRatio(2);
        QCOMPARE(QPixmap(u":/MyImage2x/Image/bg1.png"_s).size(), image(u"bg1.png"_s).size() * 2);
        QCOMPARE(dense.toImage().convertToFormat(QImage::Format_ARGB32_Premultiplied), wanted);
    }

    void betweenTwoDensitiesImagesAreMadeFromTheLargerOne_data()
    {
        QTest::addColumn<QString>("button");
        QTest::addColumn<QString>("name");
        QTest::newRow("about") << u"pushButton_About"_s << u"About.png"_s;
        QTest::newRow("start") << u"pushButton_Convert"_s << u"start.png"_s;
    }

    void betweenTwoDensitiesImagesAreMadeFromTheLargerOne()
    {
        QFETCH(QString, button);
        QFETCH(QString, name);
        WindowFixture f;
        const auto at = [](const QIcon &icon, QSize size) { return icon.pixmap(size, 1.5).toImage(); };
        const auto &shown = *f.window.findChild<QPushButton *>(button);
        const QSize size = shown.iconSize();
        QCOMPARE(size, image(name).size());
        QCOMPARE(at(shown.icon(), size), at(QIcon(u":/MyImage2x/Image/"_s + name), size));
        QVERIFY(at(shown.icon(), size) != at(QIcon(u":/MyImage/Image/"_s + name), size));
    }

    void aDarkDesktopKeepsTheWindowReadable()
    {
        const QPalette before = QApplication::palette();
        QApplication::setPalette(darkPalette());
        {
            WindowFixture f;
            f.addRow(u"/a/page.html"_s);
            f.outputFolder.setText(u"/a/out"_s);
            for (const QWidget *control :
                 {static_cast<QWidget *>(&f.table), static_cast<QWidget *>(&f.outputFolder),
                  static_cast<QWidget *>(&f.startButton), &f.control<QWidget>("pushButton_OutPutPath"),
                  static_cast<QWidget *>(f.table.horizontalHeader()), static_cast<QWidget *>(&f.progress)}) {
                QVERIFY(control->palette().color(QPalette::WindowText).lightness() < 80);
                QVERIFY(control->palette().color(QPalette::Text).lightness() < 80);
                QVERIFY(control->palette().color(QPalette::ButtonText).lightness() < 80);
            }
            QVERIFY(f.table.palette().color(QPalette::Base).lightness() > 200);
            QVERIFY(f.outputFolder.palette().color(QPalette::Base).lightness() > 200);
            const QImage field = f.outputFolder.grab().toImage();
            QVERIFY(field.pixelColor(field.width() - 10, field.height() / 2).lightness() > 200);
            const QString picture = qEnvironmentVariable("QUIRELLE_TEST_PICTURES");
            if (!picture.isEmpty())
                QVERIFY(f.window.grab().save(picture + u"/dark.png"_s));
        }
        QApplication::setPalette(before);
    }

    void theSettingsDialogIsOneForTheWholeLife()
    {
        WindowFixture f;
        QList<QPointer<QDialog>> seen;
        for (int time = 0; time < 2; ++time) {
            const DialogAnswer answer([&seen](QDialog &dialog) { seen << &dialog; });
            f.press("pushButton_Setting");
            QVERIFY(answer.given());
        }
        QVERIFY(qobject_cast<SettingDialog *>(seen.at(0)));
        QCOMPARE(seen.at(0), seen.at(1));
        QVERIFY(!seen.at(0)->parent());
    }

    void theAboutDialogIsMadeAnewEachTime()
    {
        WindowFixture f;
        QPointer<QDialog> seen;
        const DialogAnswer answer([&seen](QDialog &dialog) {
            seen = &dialog;
            QVERIFY(qobject_cast<AboutDlg *>(&dialog));
            QVERIFY(!dialog.parent());
        });
        f.press("pushButton_About");
        QVERIFY(answer.given());
        QVERIFY(!seen);
    }

    void theFontFolderReachesTheEnvironment()
    {
        WindowFixture f;
        bool result = false;
        QByteArray expected = QCoreApplication::applicationDirPath().toLatin1();
        expected = expected.left(expected.lastIndexOf('.'));
        expected = expected.left(expected.lastIndexOf('/')) + "/fonts/";
        QTest::ignoreMessage(QtDebugMsg, "PCLFONTSOURCE=" + expected + "\n");
        QVERIFY(QMetaObject::invokeMethod(&f.window, "SetFontPath", Q_RETURN_ARG(bool, result)));
        QVERIFY(result);
        QCOMPARE(qgetenv("PCLFONTSOURCE"), expected);
    }
};

QTEST_MAIN(tst_MainWindow)
#include "tst_mainwindow.moc"
