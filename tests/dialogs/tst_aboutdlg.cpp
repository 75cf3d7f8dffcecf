#include "dialogs/aboutdlg.h"
#include "dialogs/product.h"

#include <QDesktopServices>
#include <QMetaMethod>
#include <QPushButton>
#include <QScrollBar>
#include <QTest>
#include <QTextBlock>
#include <QTextEdit>
#include <QTextFragment>
#include <QTranslator>
#include <QUrl>

/// Stands in for the user's browser.
class UsersBrowser : public QObject
{
    Q_OBJECT

public slots:
    void open(const QUrl &url) { opened.append(url); }

public:
    QList<QUrl> opened;
};

/// Answers every text of one context with that text in brackets.
class Bracketing : public QTranslator
{
    Q_OBJECT

public:
    QString translate(const char *context, const char *source, const char *, int) const override
    {
        return qstrcmp(context, "AboutDlg") == 0
                   ? QLatin1Char('[') + QString::fromUtf8(source) + QLatin1Char(']')
                   : QString();
    }
    bool isEmpty() const override { return false; }
};

class TestAboutDlg : public QObject
{
    Q_OBJECT

private slots:
    void isOfOneSize()
    {
        AboutDlg dialog(nullptr);
        QCOMPARE(dialog.objectName(), QStringLiteral("AboutDlg"));
        QCOMPARE(dialog.windowTitle(), QStringLiteral("About "));
        QCOMPARE(dialog.minimumSize(), QSize(360, 200));
        QCOMPARE(dialog.maximumSize(), QSize(360, 200));
        QCOMPARE(dialog.size(), QSize(360, 200));
        QCOMPARE(text(dialog)->geometry(), QRect(-10, 20, 381, 111));
        QCOMPARE(text(dialog)->styleSheet(), QStringLiteral("background-color:transparent;"));
        QCOMPARE(button(dialog)->geometry(), QRect(10, 140, 341, 41));
        QCOMPARE(button(dialog)->text(), QStringLiteral("Visit Our Homepage"));
    }

    void hasOneSlot()
    {
        const QMetaObject &meta = AboutDlg::staticMetaObject;
        QCOMPARE(meta.methodCount() - meta.methodOffset(), 1);
        const QMetaMethod method = meta.method(meta.methodOffset());
        QCOMPARE(method.methodSignature(), QByteArray("VisitURL()"));
        QCOMPARE(method.methodType(), QMetaMethod::Slot);
        QCOMPARE(method.access(), QMetaMethod::Public);
    }

    void theSlotIsConnectedByName()
    {
        const AboutDlg dialog;
        const auto *control = dialog.findChild<QPushButton *>(QStringLiteral("pushButton_URL"));
        QVERIFY(QObject::disconnect(control, SIGNAL(clicked()), &dialog, SLOT(VisitURL())));
        QVERIFY(!QObject::disconnect(control, SIGNAL(clicked()), &dialog, SLOT(VisitURL())));
    }

    void paragraph_data()
    {
        QTest::addColumn<int>("number");
        QTest::addColumn<QString>("content");
        QTest::addColumn<QString>("family");
        QTest::addColumn<int>("weight");
        QTest::addColumn<QString>("colour");
        QTest::newRow("thanks") << 0 << "Thank you for purchasing our software!"
                                << "SimSun" << 600 << "#0055ff";
        QTest::newRow("rule") << 1 << "------------------------------------------"
                              << "SimSun" << 600 << "#000000";
        QTest::newRow("product") << 2 << "Quirelle " QUIRELLE_VERSION " "
                                 << "MS Shell Dlg 2" << 400 << "";
        QTest::newRow("rights") << 3 << QStringLiteral("Copyright © 2026 Quirelle. All rights reserved.")
                                << "MS Shell Dlg 2" << 400 << "";
        QTest::newRow("homepage") << 4 << "https://www.quirelle.example/"
                                  << "SimSun" << 600 << "#0000ff";
        QTest::newRow("support") << 5 << "support@quirelle.example"
                                 << "MS Shell Dlg 2" << 400 << "";
    }
    void paragraph()
    {
        QFETCH(int, number);
        QFETCH(QString, content);
        QFETCH(QString, family);
        QFETCH(int, weight);
        QFETCH(QString, colour);
        AboutDlg dialog(nullptr);
        const QTextBlock block = text(dialog)->document()->findBlockByNumber(number);
        QCOMPARE(block.text(), content);
        expectCentredWithoutMargins(block);
        const QTextCharFormat format = block.begin().fragment().charFormat();
        QCOMPARE(format.fontFamilies().toStringList(), QStringList{family});
        QCOMPARE(format.fontPointSize(), 12.0);
        QCOMPARE(format.fontWeight(), weight);
        QCOMPARE(format.hasProperty(QTextFormat::ForegroundBrush), !colour.isEmpty());
        if (!colour.isEmpty())
            QCOMPARE(format.foreground().color(), QColor(colour));
    }

    void theSeventhParagraphIsEmptyAndTheLast()
    {
        AboutDlg dialog(nullptr);
        const QTextDocument *document = text(dialog)->document();
        QCOMPARE(document->blockCount(), 7);
        const QTextBlock last = document->lastBlock();
        QCOMPARE(last.text(), QString());
        expectCentredWithoutMargins(last);
        QCOMPARE(last.charFormat().fontFamilies().toStringList(),
                 QStringList{QStringLiteral("MS Shell Dlg 2")});
    }

    void theBlankBehindTheVersionHasItsOwnFont()
    {
        AboutDlg dialog(nullptr);
        QTextBlock::iterator piece = text(dialog)->document()->findBlockByNumber(2).begin();
        ++piece;
        QCOMPARE(piece.fragment().text(), QStringLiteral(" "));
        QCOMPARE(piece.fragment().charFormat().fontFamilies().toStringList(),
                 QStringList{QStringLiteral("SimSun")});
    }

    void theHomepageIsAnUnderlinedLinkToItself()
    {
        AboutDlg dialog(nullptr);
        const QTextCharFormat format =
            text(dialog)->document()->findBlockByNumber(4).begin().fragment().charFormat();
        QVERIFY(format.isAnchor());
        QVERIFY(format.fontUnderline());
        QCOMPARE(format.anchorHref(), QString::fromUtf8(Product::Homepage));
    }

    void theBoxIsReadOnlyAndShowsAllSixLines()
    {
        AboutDlg dialog(nullptr);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        QVERIFY(text(dialog)->isReadOnly());
        QVERIFY(!text(dialog)->verticalScrollBar()->isVisible());
        QTextCursor end(text(dialog)->document()->findBlockByNumber(5));
        QVERIFY(text(dialog)->cursorRect(end).bottom() <= text(dialog)->viewport()->height());
        // Both edges of the box lie outside of the dialog; the widest line must not.
        for (QTextBlock block = text(dialog)->document()->begin(); block.isValid(); block = block.next())
            QVERIFY2(block.layout()->lineCount() == 1 && block.layout()->lineAt(0).naturalTextWidth() < 350,
                     qPrintable(block.text()));
    }

    void theButtonOpensTheHomepage()
    {
        UsersBrowser browser;
        QDesktopServices::setUrlHandler(QStringLiteral("https"), &browser, "open");
        AboutDlg dialog(nullptr);
        button(dialog)->click();
        QCOMPARE(browser.opened, QList<QUrl>{QUrl(QStringLiteral("https://www.quirelle.example/"))});
        QDesktopServices::unsetUrlHandler(QStringLiteral("https"));
    }

    void theLinkOpensTheHomepageAndShowsTheHand()
    {
        UsersBrowser browser;
        QDesktopServices::setUrlHandler(QStringLiteral("https"), &browser, "open");
        AboutDlg dialog(nullptr);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        QWidget *box = text(dialog)->viewport();
        QTextCursor cursor(text(dialog)->document()->findBlockByNumber(4));
        cursor.movePosition(QTextCursor::NextCharacter, QTextCursor::MoveAnchor, 12);
        const QPoint link = text(dialog)->cursorRect(cursor).center();
        const QPoint beside(link.x(),
                            text(dialog)->cursorRect(QTextCursor(text(dialog)->document())).center().y());

        QTest::mouseMove(box, beside);
        QCOMPARE(box->cursor().shape(), Qt::IBeamCursor);
        QTest::mouseMove(box, link);
        QCOMPARE(box->cursor().shape(), Qt::PointingHandCursor);
        QTest::mouseClick(box, Qt::LeftButton, {}, beside);
        QTest::mouseClick(box, Qt::RightButton, {}, link);
        QTest::mousePress(box, Qt::LeftButton, {}, beside);
        QTest::mouseRelease(box, Qt::LeftButton, {}, link);
        QCOMPARE(browser.opened.size(), 0);
        QTest::mouseClick(box, Qt::LeftButton, {}, link);
        QCOMPARE(browser.opened, QList<QUrl>{QUrl(QStringLiteral("https://www.quirelle.example/"))});
        QDesktopServices::unsetUrlHandler(QStringLiteral("https"));
    }

    void drawingTheMouseOverTheLinkSelectsItsText()
    {
        UsersBrowser browser;
        QDesktopServices::setUrlHandler(QStringLiteral("https"), &browser, "open");
        AboutDlg dialog(nullptr);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        QWidget *box = text(dialog)->viewport();
        QTextCursor cursor(text(dialog)->document()->findBlockByNumber(4));
        cursor.movePosition(QTextCursor::NextCharacter, QTextCursor::MoveAnchor, 5);
        const QPoint from = text(dialog)->cursorRect(cursor).center();
        cursor.movePosition(QTextCursor::NextCharacter, QTextCursor::MoveAnchor, 10);
        const QPoint to = text(dialog)->cursorRect(cursor).center();
        QTest::mousePress(box, Qt::LeftButton, {}, from);
        QMouseEvent move(QEvent::MouseMove, to, box->mapToGlobal(to), Qt::NoButton, Qt::LeftButton, {});
        QApplication::sendEvent(box, &move);
        QTest::mouseRelease(box, Qt::LeftButton, {}, to);
        QVERIFY(text(dialog)->textCursor().hasSelection());
        QCOMPARE(browser.opened.size(), 0);
        QDesktopServices::unsetUrlHandler(QStringLiteral("https"));
    }

    void enterPressesTheButtonAndEscapeCloses()
    {
        UsersBrowser browser;
        QDesktopServices::setUrlHandler(QStringLiteral("https"), &browser, "open");
        AboutDlg dialog(nullptr);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        QTest::keyClick(&dialog, Qt::Key_Return);
        QCOMPARE(browser.opened.size(), 1);
        QTest::keyClick(&dialog, Qt::Key_Escape);
        QVERIFY(!dialog.isVisible());
        QDesktopServices::unsetUrlHandler(QStringLiteral("https"));
    }

    void allTextsAreTranslatedInItsOwnContext()
    {
        Bracketing translator;
        QVERIFY(QCoreApplication::installTranslator(&translator));
        AboutDlg dialog(nullptr);
        QCOMPARE(dialog.windowTitle(), QStringLiteral("[About ]"));
        QCOMPARE(button(dialog)->text(), QStringLiteral("[Visit Our Homepage]"));
        const QStringList lines = text(dialog)->toPlainText().split(QLatin1Char('\n'));
        QCOMPARE(lines.at(0), QStringLiteral("[Thank you for purchasing our software!]"));
        QCOMPARE(lines.at(2), QStringLiteral("[Quirelle " QUIRELLE_VERSION "] "));
        QCOMPARE(lines.at(3), QStringLiteral("[Copyright © 2026 Quirelle. All rights reserved.]"));
        QCoreApplication::removeTranslator(&translator);
    }

    void theTextIsDarkOnLightAlsoOnADarkDesktop()
    {
        const QPalette before = QApplication::palette();
        QPalette dark(QColor(0x2d, 0x2d, 0x30));
        QApplication::setPalette(dark);
        const AboutDlg dialog(nullptr);
        QApplication::setPalette(before);
        QVERIFY(dark.color(QPalette::WindowText).lightness() > 127);
        QVERIFY(dialog.palette().color(QPalette::Window).lightness() > 200);
        QVERIFY(text(dialog)->palette().color(QPalette::Text).lightness() < 60);
    }

private:
    static QTextEdit *text(const QDialog &dialog)
    {
        return dialog.findChild<QTextEdit *>(QStringLiteral("textEdit"));
    }
    static QPushButton *button(const QDialog &dialog)
    {
        return dialog.findChild<QPushButton *>(QStringLiteral("pushButton_URL"));
    }
    static void expectCentredWithoutMargins(const QTextBlock &block)
    {
        const QTextBlockFormat format = block.blockFormat();
        QCOMPARE(format.alignment() & Qt::AlignHorizontal_Mask, Qt::AlignHCenter);
        QCOMPARE(format.topMargin() + format.bottomMargin() + format.leftMargin() + format.rightMargin(),
                 0.0);
    }
};

QTEST_MAIN(TestAboutDlg)
#include "tst_aboutdlg.moc"
