#include "dialogs/addurl.h"
#include "settings/settingsfile.h"

#include <QClipboard>
#include <QDialogButtonBox>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QMetaMethod>
#include <QMimeData>
#include <QPushButton>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <QTextEdit>
#include <QTimer>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <functional>
#include <memory>
#include <unistd.h>

namespace
{

/// Runs an answer on the modal dialog of this class as soon as one is open.
template <typename Dialog>
void whenOpen(const std::function<void(Dialog *)> &answer)
{
    auto poll = std::make_shared<QTimer>();
    QObject::connect(poll.get(), &QTimer::timeout, qApp, [poll, answer]() mutable {
        auto *dialog = qobject_cast<Dialog *>(QApplication::activeModalWidget());
        if (!poll || !dialog || !dialog->isVisible())
            return;
        poll->stop();
        // The timer owns this function, and goes with its last owner when the answer is given.
        const std::shared_ptr<QTimer> last = std::move(poll);
        answer(dialog);
    });
    poll->start(5);
}

/// Types the path into the open file dialog, and presses Enter.
void choose(const QString &path)
{
    whenOpen<QFileDialog>([path](QFileDialog *dialog) {
        auto *name = dialog->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"));
        name->setText(path);
        QTest::keyClick(name, Qt::Key_Return);
        if (dialog->isVisible()) {
            qCritical("the file dialog refused the path");
            dialog->reject();
        }
    });
}

QString storedListFolder()
{
    return QSettings(settingsFilePath(), QSettings::IniFormat)
        .value(QStringLiteral("/SettingInfo/ListFilePath"), QStringLiteral("none"))
        .toString();
}

} // namespace

class TestAddUrl : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
        QVERIFY(m_folder.isValid());
    }
    void init() { QFile::remove(settingsFilePath()); }
    void cleanupTestCase() { QFile::remove(settingsFilePath()); }

    void isOfOneSize()
    {
        addurl dialog(nullptr);
        QCOMPARE(dialog.objectName(), QStringLiteral("addurl"));
        QCOMPARE(dialog.windowTitle(), QStringLiteral("Dialog"));
        QCOMPARE(dialog.minimumSize(), QSize(401, 300));
        QCOMPARE(dialog.maximumSize(), QSize(401, 300));
        QCOMPARE(box(dialog)->geometry(), QRect(10, 10, 381, 241));
        auto *row = dialog.findChild<QWidget *>(QStringLiteral("layoutWidget"));
        QCOMPARE(row->geometry(), QRect(10, 260, 381, 32));
        auto *layout = dialog.findChild<QHBoxLayout *>(QStringLiteral("horizontalLayout"));
        QCOMPARE(layout->parentWidget(), row);
        QCOMPARE(layout->count(), 3);
        QCOMPARE(layout->itemAt(0)->widget(), button(dialog, "pushButton_LoadTXT"));
        QCOMPARE(layout->itemAt(1)->widget(), button(dialog, "pushButton_Clear"));
        QCOMPARE(layout->itemAt(2)->widget(), buttonBox(dialog));
        QCOMPARE(button(dialog, "pushButton_LoadTXT")->text(), QStringLiteral("Use File List"));
        QCOMPARE(button(dialog, "pushButton_Clear")->text(), QStringLiteral("Clear"));
        QCOMPARE(buttonBox(dialog)->orientation(), Qt::Horizontal);
        QCOMPARE(buttonBox(dialog)->standardButtons(), QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    }

    void nothingIsCutOff_data()
    {
        QTest::addColumn<double>("factor");
        QTest::newRow("default font") << 1.0;
        QTest::newRow("a fifth larger") << 1.2;
    }
    void nothingIsCutOff()
    {
        QFETCH(double, factor);
        const QFont before = QApplication::font();
        QFont font = before;
        font.setPointSizeF(font.pointSizeF() * factor);
        QApplication::setFont(font);
        addurl dialog(nullptr);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        const QList<QPushButton *> buttons = dialog.findChildren<QPushButton *>();
        QCOMPARE(buttons.size(), 4);
        for (const QPushButton *each : buttons) {
            QVERIFY(each->width() >= each->fontMetrics().horizontalAdvance(each->text()) + 4);
            QVERIFY(each->height() >= each->fontMetrics().height());
            QVERIFY(dialog.rect().contains(QRect(each->mapTo(&dialog, QPoint()), each->size())));
        }
        QApplication::setFont(before);
    }

    void slotsStandInTheirOrder()
    {
        const QMetaObject &meta = addurl::staticMetaObject;
        const QList<QByteArray> expected{"on_buttonBox_accepted()", "on_buttonBox_LoadTXT()",
                                         "on_buttonBox_Clear()"};
        QCOMPARE(meta.methodCount() - meta.methodOffset(), expected.size());
        for (int i = 0; i < expected.size(); ++i) {
            const QMetaMethod method = meta.method(meta.methodOffset() + i);
            QCOMPARE(method.methodSignature(), expected.at(i));
            QCOMPARE(method.methodType(), QMetaMethod::Slot);
            QCOMPARE(method.access(), QMetaMethod::Private);
        }
    }

    void slotIsConnectedByName_data()
    {
        QTest::addColumn<QString>("control");
        QTest::addColumn<QByteArray>("signal");
        QTest::addColumn<QByteArray>("slot");
        QTest::newRow("load") << "pushButton_LoadTXT" << QByteArray(SIGNAL(clicked()))
                              << QByteArray(SLOT(on_buttonBox_LoadTXT()));
        QTest::newRow("clear") << "pushButton_Clear" << QByteArray(SIGNAL(clicked()))
                               << QByteArray(SLOT(on_buttonBox_Clear()));
        QTest::newRow("take over") << "buttonBox" << QByteArray(SIGNAL(accepted()))
                                   << QByteArray(SLOT(on_buttonBox_accepted()));
        QTest::newRow("accept") << "buttonBox" << QByteArray(SIGNAL(accepted()))
                                << QByteArray(SLOT(accept()));
        QTest::newRow("reject") << "buttonBox" << QByteArray(SIGNAL(rejected()))
                                << QByteArray(SLOT(reject()));
    }
    void slotIsConnectedByName()
    {
        QFETCH(QString, control);
        QFETCH(QByteArray, signal);
        QFETCH(QByteArray, slot);
        const addurl dialog;
        const auto *sender = dialog.findChild<QWidget *>(control);
        QVERIFY(QObject::disconnect(sender, signal, &dialog, slot));
        QVERIFY(!QObject::disconnect(sender, signal, &dialog, slot));
    }

    void startsEmpty()
    {
        addurl dialog(nullptr);
        QVERIFY(dialog.m_strURLContent.isEmpty());
        QVERIFY(box(dialog)->toPlainText().isEmpty());
    }

    void okHandsTheTextOverUntouched()
    {
        addurl dialog(nullptr);
        const QString typed = QStringLiteral("  http://a.bc\n\nnot an address\tb.cd  ");
        box(dialog)->setPlainText(typed);
        QCOMPARE(run(dialog, QDialogButtonBox::Ok), int(QDialog::Accepted));
        QCOMPARE(dialog.m_strURLContent, typed);
    }

    void okAgainHandsTheSameTextOverAgain()
    {
        addurl dialog(nullptr);
        box(dialog)->setPlainText(QStringLiteral("a.bc"));
        run(dialog, QDialogButtonBox::Ok);
        dialog.m_strURLContent.clear();
        QString shown;
        whenOpen<addurl>([&](addurl *open) {
            shown = box(*open)->toPlainText();
            buttonBox(*open)->button(QDialogButtonBox::Ok)->click();
        });
        QCOMPARE(dialog.exec(), int(QDialog::Accepted));
        QCOMPARE(shown, QStringLiteral("a.bc"));
        QCOMPARE(dialog.m_strURLContent, QStringLiteral("a.bc"));
    }

    void cancelKeepsTheEditedTextButHandsNothingOver()
    {
        addurl dialog(nullptr);
        box(dialog)->setPlainText(QStringLiteral("a.bc"));
        run(dialog, QDialogButtonBox::Ok);
        box(dialog)->setPlainText(QStringLiteral("d.ef"));
        QCOMPARE(run(dialog, QDialogButtonBox::Cancel), int(QDialog::Rejected));
        QCOMPARE(dialog.m_strURLContent, QStringLiteral("a.bc"));
        QCOMPARE(box(dialog)->toPlainText(), QStringLiteral("d.ef"));
    }

    void escapeAndClosingRejectAsWell_data()
    {
        QTest::addColumn<bool>("escape");
        QTest::newRow("Escape") << true;
        QTest::newRow("closing the window") << false;
    }
    void escapeAndClosingRejectAsWell()
    {
        QFETCH(bool, escape);
        addurl dialog(nullptr);
        box(dialog)->setPlainText(QStringLiteral("a.bc"));
        whenOpen<addurl>([escape](addurl *open) {
            if (escape)
                QTest::keyClick(box(*open), Qt::Key_Escape);
            else
                open->close();
        });
        QCOMPARE(dialog.exec(), int(QDialog::Rejected));
        QVERIFY(dialog.m_strURLContent.isEmpty());
    }

    void enterInTheBoxBreaksTheLine()
    {
        addurl dialog(nullptr);
        whenOpen<addurl>([](addurl *open) {
            QTest::keyClicks(box(*open), QStringLiteral("a.bc"));
            QTest::keyClick(box(*open), Qt::Key_Return);
            QTest::keyClicks(box(*open), QStringLiteral("d.ef"));
            QTest::keyClick(box(*open), Qt::Key_Tab);
            buttonBox(*open)->button(QDialogButtonBox::Ok)->click();
        });
        QCOMPARE(dialog.exec(), int(QDialog::Accepted));
        QCOMPARE(dialog.m_strURLContent, QStringLiteral("a.bc\nd.ef"));
    }

    void everyShowingBeginsInTheBox()
    {
        addurl dialog(nullptr);
        for (int showing = 0; showing < 2; ++showing) {
            dialog.show();
            QVERIFY(QTest::qWaitForWindowActive(&dialog));
            QCOMPARE(dialog.focusWidget(), box(dialog));
            button(dialog, "pushButton_Clear")->setFocus();
            dialog.hide();
        }
    }

    void clearEmptiesTheBoxOnly()
    {
        addurl dialog(nullptr);
        box(dialog)->setPlainText(QStringLiteral("a.bc"));
        run(dialog, QDialogButtonBox::Ok);
        button(dialog, "pushButton_Clear")->click();
        QVERIFY(box(dialog)->toPlainText().isEmpty());
        QCOMPARE(dialog.m_strURLContent, QStringLiteral("a.bc"));
        QCOMPARE(run(dialog, QDialogButtonBox::Ok), int(QDialog::Accepted));
        QVERIFY(dialog.m_strURLContent.isEmpty());
    }

    void getUrlContentTakesTheTextOver()
    {
        addurl dialog(nullptr);
        box(dialog)->setPlainText(QStringLiteral("a.bc"));
        QCOMPARE(dialog.GetURLContent(), QStringLiteral("a.bc"));
        QCOMPARE(dialog.m_strURLContent, QStringLiteral("a.bc"));
    }

    void loadedTextReplacesTheOldOne_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("text");
        QTest::newRow("lines") << QByteArray("http://a.bc\nd.ef\n") << "http://a.bc\nd.ef\n";
        QTest::newRow("CRLF") << QByteArray("http://a.bc\r\nd.ef\r\n") << "http://a.bc\nd.ef\n";
        QTest::newRow("UTF-8") << QByteArray("http://a.bc/\xc3\xa4\n") << QStringLiteral("http://a.bc/ä\n");
        QTest::newRow("UTF-8 with a mark") << QByteArray("\xef\xbb\xbfhttp://a.bc/\xc3\xa4\r\nd.ef")
                                           << QStringLiteral("http://a.bc/ä\nd.ef");
        QTest::newRow("UTF-16 with a mark") << QByteArray("\xff\xfe"
                                                          "a\0.\0b\0c\0",
                                                          10)
                                            << "a.bc";
        QTest::newRow("not trimmed, not tested")
            << QByteArray("  \n not an address, \t\n") << "  \n not an address, \t\n";
        QTest::newRow("empty") << QByteArray("") << "";
        QTest::newRow("HTML") << QByteArray("<html><body><p>a.bc</p><p><b>d</b>.ef</p></body></html>")
                              << "a.bc\nd.ef";
        QTest::newRow("a tag further down is text")
            << QByteArray("a.bc\n<b>d.ef</b>\n") << "a.bc\n<b>d.ef</b>\n";
    }
    void loadedTextReplacesTheOldOne()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, text);
        addurl dialog(nullptr);
        box(dialog)->setPlainText(QStringLiteral("what was there"));
        load(dialog, write(QStringLiteral("list.txt"), bytes));
        QCOMPARE(box(dialog)->toPlainText(), text);
        run(dialog, QDialogButtonBox::Ok);
        QCOMPARE(dialog.m_strURLContent, text);
    }

    void aSecondListReplacesTheFirst()
    {
        addurl dialog(nullptr);
        load(dialog, write(QStringLiteral("first.txt"), "a.bc\n"));
        load(dialog, write(QStringLiteral("second.txt"), "d.ef\n"));
        QCOMPARE(box(dialog)->toPlainText(), QStringLiteral("d.ef\n"));
    }

    void theFileDialogAsksAsItMust()
    {
        addurl dialog(nullptr);
        QString caption;
        QStringList filters;
        QFileDialog::FileMode mode = QFileDialog::AnyFile;
        QWidget *parent = nullptr;
        whenOpen<QFileDialog>([&](QFileDialog *open) {
            caption = open->windowTitle();
            filters = open->nameFilters();
            mode = open->fileMode();
            parent = open->parentWidget();
            open->reject();
        });
        button(dialog, "pushButton_LoadTXT")->click();
        QCOMPARE(caption, QStringLiteral("Select one or more files to open"));
        QCOMPARE(filters, (QStringList{QStringLiteral("ALl Supported Files(*. rtf *.txt *.ini *.)"),
                                       QStringLiteral("RTF File(*.rtf)"), QStringLiteral("TXT File(*.txt)"),
                                       QStringLiteral("INI File(*.ini)"), QStringLiteral("All Files(*.*)")}));
        QCOMPARE(mode, QFileDialog::ExistingFile);
        QCOMPARE(parent, &dialog);
    }

    void whatIsPastedIsPlainText()
    {
        addurl dialog(nullptr);
        auto *data = new QMimeData;
        data->setHtml(QStringLiteral("<p style='color:white;font-size:40pt'><img src='x.png'>www.a.bc</p>"));
        data->setText(QStringLiteral("www.a.bc"));
        QApplication::clipboard()->setMimeData(data);
        box(dialog)->paste();
        QCOMPARE(box(dialog)->toPlainText(), QStringLiteral("www.a.bc"));
        const QTextCharFormat format = box(dialog)->textCursor().charFormat();
        QVERIFY(!format.hasProperty(QTextFormat::ForegroundBrush));
        QVERIFY(!format.hasProperty(QTextFormat::FontPointSize));
    }

    void anAddressBehindAPastedPictureIsKept()
    {
        addurl dialog(nullptr);
        auto *data = new QMimeData;
        data->setHtml(QStringLiteral("<img src='x.png'>www.a.bc"));
        QApplication::clipboard()->setMimeData(data);
        box(dialog)->paste();
        QVERIFY(!box(dialog)->toPlainText().contains(QChar::ObjectReplacementCharacter));
    }

    void itIsLightOnADarkDesktop()
    {
        const QPalette before = QApplication::palette();
        QApplication::setPalette(QPalette(QColor(0x2d, 0x2d, 0x30)));
        const addurl dialog(nullptr);
        QApplication::setPalette(before);
        QVERIFY(dialog.palette().color(QPalette::Window).lightness() > 200);
        QVERIFY(box(dialog)->palette().color(QPalette::Base).lightness() > 200);
        QVERIFY(box(dialog)->palette().color(QPalette::Text).lightness() < 60);
    }

    void aCancelledFileDialogChangesNothing()
    {
        addurl dialog(nullptr);
        box(dialog)->setPlainText(QStringLiteral("a.bc"));
        whenOpen<QFileDialog>([](QFileDialog *open) { open->reject(); });
        button(dialog, "pushButton_LoadTXT")->click();
        QCOMPARE(box(dialog)->toPlainText(), QStringLiteral("a.bc"));
        QVERIFY(!QFile::exists(settingsFilePath()));
    }

    void theListsFolderIsRememberedAndStartedAt()
    {
        addurl dialog(nullptr);
        load(dialog, write(QStringLiteral("lists/urls.txt"), "a.bc\n"));
        const QString folder = m_folder.filePath(QStringLiteral("lists"));
        QCOMPARE(storedListFolder(), folder);
        QString startedAt;
        whenOpen<QFileDialog>([&](QFileDialog *open) {
            startedAt = open->directory().absolutePath();
            open->reject();
        });
        button(dialog, "pushButton_LoadTXT")->click();
        QCOMPARE(startedAt, folder);
    }

    void theSettingsFileIsTheOwnersAlone()
    {
        addurl dialog(nullptr);
        load(dialog, write(QStringLiteral("list.txt"), "a.bc\n"));
        constexpr QFile::Permissions others =
            QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther | QFile::WriteOther;
        QVERIFY(QFile::exists(settingsFilePath()));
        QVERIFY(!(QFile::permissions(settingsFilePath()) & others));
    }

    void aFifoIsNotWaitedFor()
    {
        const QString path = m_folder.filePath(QStringLiteral("fifo.txt"));
        QCOMPARE(::mkfifo(QFile::encodeName(path).constData(), 0600), 0);
        addurl dialog(nullptr);
        box(dialog)->setPlainText(QStringLiteral("a.bc"));
        load(dialog, path);
        QCOMPARE(box(dialog)->toPlainText(), QStringLiteral("a.bc"));
        QCOMPARE(storedListFolder(), m_folder.path());
    }

    void anUnreadableFileLeavesTheTextButIsRemembered()
    {
        // A socket exists, and cannot be opened by anyone, the superuser included.
        QVERIFY(QDir(m_folder.path()).mkpath(QStringLiteral("closed")));
        const QString path = m_folder.filePath(QStringLiteral("closed/list.txt"));
        const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        qstrncpy(address.sun_path, QFile::encodeName(path).constData(), sizeof address.sun_path);
        QCOMPARE(::bind(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
        QVERIFY(!QFile(path).open(QIODevice::ReadOnly));

        addurl dialog(nullptr);
        box(dialog)->setPlainText(QStringLiteral("a.bc"));
        load(dialog, path);
        QCOMPARE(box(dialog)->toPlainText(), QStringLiteral("a.bc"));
        QCOMPARE(storedListFolder(), m_folder.filePath(QStringLiteral("closed")));
        ::close(socket);
    }

    void tenMegabytesLoadInAMoment()
    {
        QByteArray list;
        int count = 0;
        while (list.size() < 10'000'000)
            list += "http://www.site" + QByteArray::number(++count) + ".example/some/path/page.html\r\n";
        const QString path = write(QStringLiteral("long.txt"), list);
        addurl dialog(nullptr);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        QElapsedTimer timer;
        timer.start();
        load(dialog, path);
        const qint64 taken = timer.elapsed();
        qInfo("%lld bytes, %d addresses: %lld ms, file dialog included", qlonglong(list.size()), count,
              qlonglong(taken));
        QCOMPARE(box(dialog)->toPlainText(),
                 QString::fromLatin1(list).replace(QLatin1String("\r\n"), QLatin1String("\n")));
        // A timeout that detects a hang and is long enough for an instrumented build.
        QVERIFY(taken < 20000);
    }

    void oneLongLineLoadsToo_data()
    {
        QTest::addColumn<QByteArray>("list");
        QTest::newRow("addresses behind each other")
            << QByteArray("http://www.site.example/page.html ").repeated(120'000);
        QTest::newRow("nothing to wrap at") << QByteArray(4'000'000, 'x');
    }
    void oneLongLineLoadsToo()
    {
        QFETCH(QByteArray, list);
        const QString path = write(QStringLiteral("line.txt"), list);
        addurl dialog(nullptr);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        QElapsedTimer timer;
        timer.start();
        load(dialog, path);
        qInfo("%lld bytes in one line: %lld ms", qlonglong(list.size()), qlonglong(timer.elapsed()));
        QVERIFY(timer.elapsed() < 30000);
        QCOMPARE(box(dialog)->toPlainText(), QString::fromLatin1(list));
    }

private:
    static QTextEdit *box(const QDialog &dialog)
    {
        return dialog.findChild<QTextEdit *>(QStringLiteral("textEdit_URL"));
    }
    static QPushButton *button(const QDialog &dialog, const char *name)
    {
        return dialog.findChild<QPushButton *>(QLatin1String(name));
    }
    static QDialogButtonBox *buttonBox(const QDialog &dialog)
    {
        return dialog.findChild<QDialogButtonBox *>(QStringLiteral("buttonBox"));
    }
    static int run(addurl &dialog, QDialogButtonBox::StandardButton answer)
    {
        whenOpen<addurl>([answer](addurl *open) { buttonBox(*open)->button(answer)->click(); });
        return dialog.exec();
    }
    static void load(addurl &dialog, const QString &path)
    {
        choose(path);
        button(dialog, "pushButton_LoadTXT")->click();
    }
    /// Writes a file below the test's folder, and gives its path.
    QString write(const QString &name, const QByteArray &bytes) const
    {
        QString path = m_folder.filePath(name);
        QDir().mkpath(QFileInfo(path).absolutePath());
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
            qFatal("cannot write the list file");
        return path;
    }

    QTemporaryDir m_folder;
};

QTEST_MAIN(TestAddUrl)
#include "tst_addurl.moc"
