#include "dialogs/aboutdlg.h"
#include "tests/app/readability.h"
#include "tests/app/windowfixture.h"

#include <QComboBox>
#include <QContextMenuEvent>
#include <QMenu>
#include <QMessageBox>
#include <QPointer>
#include <QTextEdit>
#include <QToolTip>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

constexpr double minimumContrast = 4.5; // WCAG 2, level AA, for text of ordinary size
constexpr double minimumWhenDisabled = 2;
constexpr double minimumFont = 8; // points

QPalette lightDesktop()
{
    return QPalette(QColor(0xef, 0xef, 0xef));
}

/// A dark palette, as desktops set it.
QPalette darkDesktop(QColor window, QColor base, QColor highlight)
{
    QPalette palette(window, window);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        palette.setColor(role, QColor(0xee, 0xee, 0xee));
        palette.setColor(QPalette::Disabled, role, QColor(0x88, 0x88, 0x88));
    }
    palette.setColor(QPalette::PlaceholderText, QColor(0xa6, 0xa6, 0xa6));
    palette.setColor(QPalette::Base, base);
    palette.setColor(QPalette::AlternateBase, window);
    palette.setColor(QPalette::Highlight, highlight);
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, QColor(0x62, 0xa8, 0xff));
    palette.setColor(QPalette::ToolTipBase, window);
    palette.setColor(QPalette::ToolTipText, QColor(0xee, 0xee, 0xee));
    return palette;
}

using Look = std::function<void(const QString &name, QWidget &window)>;

/// Asks a control for its menu as the mouse does.
void lookAtMenuOf(QWidget &control, const QString &name, const Look &look)
{
    const QPoint middle = control.rect().center();
    QContextMenuEvent request(QContextMenuEvent::Mouse, middle, control.mapToGlobal(middle));
    QApplication::sendEvent(&control, &request);
    const QPointer<QMenu> menu = qobject_cast<QMenu *>(QApplication::activePopupWidget());
    QVERIFY2(menu, qPrintable(name));
    look(name, *menu);
    menu->close();
    QTRY_VERIFY(!menu);
}

void lookAtDialogOf(WindowFixture &f, const char *button, const QString &name, const Look &look)
{
    const DialogAnswer answer([&](QDialog &dialog) { look(name, dialog); });
    f.press(button);
    QVERIFY(answer.given());
}

void lookAtMainWindow(const Look &look)
{
    WindowFixture f;
    f.addRow(u"/home/user/page.html"_s);
    f.addRow(u"www.example.org"_s, JobSource::OnlineFile);
    setJobText(f.table, 0, SizeColumn, u"12.345Kb"_s);
    setJobText(f.table, 0, InformationColumn, u"Success"_s);
    f.table.selectRow(0);
    f.outputFolder.setText(u"/home/user/out"_s);
    look(u"main window"_s, f.window);
    lookAtMenuOf(f.outputFolder, u"menu of the output folder"_s, look);
    QToolTip::showText(QPoint(), u"Add HTML files"_s, &f.control<QWidget>("pushButton_Add"));
    const auto windows = QApplication::topLevelWidgets();
    for (QWidget *window : windows) {
        if (window->inherits("QTipLabel"))
            look(u"tool tip"_s, *window);
    }
    lookAtDialogOf(f, "pushButton_Add", u"file dialog"_s, look);
    f.outputFolder.setText(u"/nowhere"_s);
    lookAtDialogOf(f, "pushButton_Convert", u"warning"_s, look);
    lookAtDialogOf(f, "pushButton_OutPutPath", u"folder dialog"_s, look);
}

void lookAtSettings(const Look &look)
{
    SettingDialog dialog;
    auto &title = *dialog.findChild<QLineEdit *>(u"lineEdit_Title"_s);
    title.setText(u"Annual report"_s);
    dialog.show();
    look(u"settings"_s, dialog);
    lookAtMenuOf(title, u"menu of the title"_s, look);
    lookAtMenuOf(*dialog.findChild<QTextEdit *>(u"textEdit"_s)->viewport(), u"menu of the hint"_s, look);
    auto &papers = *dialog.findChild<QComboBox *>(u"comboBox_PageSize"_s);
    papers.showPopup();
    look(u"list of papers"_s, *papers.view()->window());
    papers.hidePopup();
}

void lookAtAddresses(const Look &look)
{
    addurl dialog;
    dialog.show();
    look(u"addresses, empty"_s, dialog);
    auto &box = *dialog.findChild<QTextEdit *>();
    box.setPlainText(u"www.example.org"_s);
    look(u"addresses"_s, dialog);
    lookAtMenuOf(*box.viewport(), u"menu of the addresses"_s, look);
}

void lookAtAbout(const Look &look)
{
    AboutDlg dialog;
    dialog.show();
    look(u"about"_s, dialog);
    lookAtMenuOf(*dialog.findChild<QTextEdit *>()->viewport(), u"menu of the about text"_s, look);
}

/// Calls back with everything that the program can show, one after another.
void lookAtAll(const Look &look)
{
    lookAtMainWindow(look);
    lookAtSettings(look);
    lookAtAddresses(look);
    lookAtAbout(look);
}

/// Saves a screenshot if a folder for it is given.
void keepPicture(const QString &name, QWidget &window)
{
    const QString folder = qEnvironmentVariable("QUIRELLE_TEST_PICTURES");
    if (!folder.isEmpty())
        QVERIFY(window.grab().save(folder + u'/' + name + u".png"_s));
}

} // namespace

class tst_Readability : public QObject
{
    Q_OBJECT

private slots:
    void textsStandOut_data()
    {
        QTest::addColumn<QPalette>("desktop");
        QTest::newRow("light") << lightDesktop();
        QTest::newRow("dark") << darkDesktop(0x353535, 0x2d2d2d, 0x15539e);
        QTest::newRow("darker") << darkDesktop(0x202326, 0x141618, 0x1d6fa5);
    }

    void textsStandOut()
    {
        QFETCH(const QPalette, desktop);
        const QPalette paletteBefore = QApplication::palette();
        const QFont fontBefore = QApplication::font();
        QApplication::setPalette(desktop);
        // Its pixels have the text's whole colour.
        QFont sharp = fontBefore;
        sharp.setStyleStrategy(QFont::NoAntialias);
        QApplication::setFont(sharp);
        int texts = 0;
        QStringList pale;
        lookAtAll([&](const QString &name, QWidget &window) {
            const QList<TextContrast> found = textContrasts(window);
            QVERIFY2(!found.isEmpty(), qPrintable(name));
            for (const TextContrast &text : found) {
                ++texts;
                if (text.ratio < (text.isDisabled ? minimumWhenDisabled : minimumContrast))
                    pale << u"%1, %2: %3"_s.arg(name, text.where).arg(text.ratio, 0, 'f', 2);
            }
            keepPicture(QLatin1String(QTest::currentDataTag()) + u'-' + name, window);
        });
        QApplication::setFont(fontBefore);
        QApplication::setPalette(paletteBefore);
        QVERIFY2(pale.isEmpty(), qPrintable(pale.join(u'\n')));
        QVERIFY(texts > 80);
    }

    void aChangeOfThemeLeavesThemReadable_data()
    {
        QTest::addColumn<QPalette>("before");
        QTest::addColumn<QPalette>("after");
        const QPalette dark = darkDesktop(0x353535, 0x2d2d2d, 0x15539e);
        QTest::newRow("to dark") << lightDesktop() << dark;
        QTest::newRow("to light") << dark << lightDesktop();
    }

    void aChangeOfThemeLeavesThemReadable()
    {
        QFETCH(const QPalette, before);
        QFETCH(const QPalette, after);
        const QPalette own = QApplication::palette();
        QApplication::setPalette(before);
        WindowFixture f;
        f.addRow(u"/home/user/page.html"_s);
        f.outputFolder.setText(u"/home/user/out"_s);
        SettingDialog settings;
        settings.show();
        addurl addresses;
        addresses.show();
        addresses.hide();
        QApplication::setPalette(after);
        addresses.show();
        QStringList pale;
        for (QWidget *window : {static_cast<QWidget *>(&f.window), static_cast<QWidget *>(&settings),
                                static_cast<QWidget *>(&addresses)}) {
            QCoreApplication::processEvents();
            const QList<TextContrast> found = textContrasts(*window);
            for (const TextContrast &text : found) {
                if (text.ratio < minimumContrast)
                    pale << u"%1: %2"_s.arg(text.where).arg(text.ratio, 0, 'f', 2);
            }
        }
        QApplication::setPalette(own);
        QVERIFY2(pale.isEmpty(), qPrintable(pale.join(u'\n')));
    }

    void textsAreWhole_data()
    {
        QTest::addColumn<double>("factor");
        QTest::newRow("font as it is") << 1.0;
        QTest::newRow("font a third larger") << 4.0 / 3;
        QTest::newRow("font of twice the size") << 2.0;
    }

    void textsAreWhole()
    {
        QFETCH(const double, factor);
        const QFont before = QApplication::font();
        QFont font = before;
        font.setPointSizeF(font.pointSizeF() * factor);
        QApplication::setFont(font);
        QStringList cut;
        QStringList tiny;
        lookAtAll([&](const QString &name, QWidget &window) {
            // Qt's own, which users can widen.
            if (qobject_cast<QFileDialog *>(&window))
                return;
            const QStringList found = cutTexts(window);
            for (const QString &text : found)
                cut << name + u": "_s + text;
            keepPicture(QString::number(factor) + u'-' + name, window);
            const auto controls = window.findChildren<const QWidget *>();
            for (const QWidget *control : controls) {
                const double size = QFontInfo(control->font()).pointSizeF();
                const double wanted = QFontInfo(QApplication::font(control)).pointSizeF();
                if (size < (factor > 1 ? std::min(minimumFont, wanted) : wanted))
                    tiny << name + u": "_s + control->objectName();
            }
        });
        QApplication::setFont(before);
        // Nothing is made smaller where everything fits, and nothing too small to be read.
        QVERIFY2(tiny.isEmpty(), qPrintable(tiny.join(u'\n')));
        QVERIFY2(cut.isEmpty(), qPrintable(cut.join(u'\n')));
    }
};

QTEST_MAIN(tst_Readability)
#include "tst_readability.moc"
