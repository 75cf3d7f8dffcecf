#include "app/mainwindow.h"

#include "dialogs/aboutdlg.h"
#include "ui/contextmenu.h"
#include "ui/fittext.h"
#include "ui/icons.h"
#include "ui/jobtable.h"
#include "ui/lightpalette.h"
#include "ui_mainwindow.h"

#include <QApplication>
#include <QCloseEvent>
#include <QHeaderView>
#include <QPalette>
#include <QPixmap>
#include <QProcess>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

/// The initial column widths add up to one pixel more than the viewport. Shows the scroll bar only if they
/// are wider than that, because the user has widened a column.
void hideNeedlessScrollBar(QTableWidget &table)
{
    const bool needed = table.horizontalHeader()->length() > table.viewport()->width() + 1;
    table.setHorizontalScrollBarPolicy(needed ? Qt::ScrollBarAsNeeded : Qt::ScrollBarAlwaysOff);
}

/// Whether the column headers and the longest source text fit their columns.
bool fitColumns(const QTableWidget &table)
{
    constexpr int margin = 4;
    const QFontMetrics metrics = table.fontMetrics();
    const auto fits = [&](int column, const QString &text) {
        return metrics.horizontalAdvance(text) + 2 * margin <= table.columnWidth(column);
    };
    for (int column = 0; column < table.columnCount(); ++column) {
        if (!fits(column, table.horizontalHeaderItem(column)->text()))
            return false;
    }
    return fits(SourceColumn, QString::fromUtf16(JobSource::OnlineFile));
}

} // namespace

MainWindow::MainWindow(QWidget *parent)
    : QMainWindow(parent), ui(new Ui_MainWindow), m_settingDialog(nullptr), m_addUrlDialog(nullptr)
{
    ui->setupUi(this);
    setAcceptDrops(true);
    connectControls();
    showBackground();
    setUpCells(*ui->tableWidget);
    acceptFolderDrops();
    keepMenuUnstyled(*ui->lineEdit_OutPutPath);
}

MainWindow::~MainWindow()
{
    if (m_pProcess) {
        // Otherwise the end of this process would call ExeCmd() and start the next job.
        m_pProcess->disconnect(this);
        m_pProcess->close();
        delete m_pProcess;
    }
    delete ui;
}

void MainWindow::connectControls()
{
    // By name: destroyed() is emitted when MainWindow's own part is already destroyed, and a slot connected
    // by pointer would still be called. The form connects that slot by name as well, by contract.
    struct Connection {
        QObject *sender;
        const char *signal;
        const char *slot;
    };
    const Connection connections[] = {
        {ui->pushButton_Add, SIGNAL(clicked()), SLOT(AddFile())},
        {ui->pushButton_Remove, SIGNAL(clicked()), SLOT(DeleteFile())},
        {ui->pushButton_RemoveAll, SIGNAL(clicked()), SLOT(DeleteAllFile())},
        {ui->pushButton_Setting, SIGNAL(clicked()), SLOT(Setting())},
        {ui->pushButton_Convert, SIGNAL(clicked()), SLOT(StartConvert())},
        {ui->pushButton_OutPutPath, SIGNAL(clicked()), SLOT(AddOutputPath())},
        {ui->pushButton_About, SIGNAL(clicked()), SLOT(RegisterOrAbout())},
        {ui->tableWidget, SIGNAL(itemSelectionChanged()), SLOT(Onkeyboard())},
        {ui->pushButton_AddUrl, SIGNAL(clicked()), SLOT(AddUrl())},
        {this, SIGNAL(destroyed()), SLOT(on_MainWindow_destroyed())},
        {ui->tableWidget, SIGNAL(doubleClicked(QModelIndex)), SLOT(OpenSourceFile())},
    };
    for (const Connection &connection : connections)
        connect(connection.sender, connection.signal, this, connection.slot);
}

void MainWindow::showBackground()
{
    const qreal density = devicePixelRatioF();
    const QPixmap image(density > 1 ? u":/MyImage2x/Image/bg1.png"_s : u":/MyImage/Image/bg1.png"_s);
    QPixmap background = image.scaled(size() * density, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    background.setDevicePixelRatio(density);

    QPalette colors = lightPalette(palette());
    const QPalette ofControls = colors;
    colors.setBrush(QPalette::Window, QBrush(colors.color(QPalette::Window), background));
    setPalette(colors);
    // Controls with a style sheet, and their children, do not inherit the window's palette.
    const auto controls = findChildren<QWidget *>();
    for (QWidget *control : controls) {
        if (control->testAttribute(Qt::WA_StyleSheet))
            control->setPalette(ofControls);
    }
    // A field with a style sheet takes its background from the application's palette, not from its own.
    if (QApplication::palette().color(QPalette::Base).lightness() < 128) {
        QLineEdit &field = *ui->lineEdit_OutPutPath;
        field.setStyleSheet(field.styleSheet() + u"\nbackground-color: #FFFFFF;"_s);
    }
}

void MainWindow::fitTexts()
{
    QTableWidget &table = *ui->tableWidget;
    QHeaderView &header = *table.horizontalHeader();
    // Set for each: children of a control with a style sheet do not inherit its font.
    shrinkFont({&table, table.viewport(), &header, header.viewport()},
               [&table] { return fitColumns(table); });
    const QList<QWidget *> lowerRow{ui->pushButton_OutPutPath, ui->lineEdit_OutPutPath,
                                    ui->pushButton_Convert};
    shrinkFont(lowerRow, [&lowerRow] {
        return std::all_of(lowerRow.begin(), lowerRow.end(),
                           [](const QWidget *control) { return hasRoomForText(*control); });
    });
}

void MainWindow::InitAllChoice()
{
    setFixedSize(710, 450);
    m_bConverting = false;
    m_strPdfExt = u".pdf"_s;

    QTableWidget &table = *ui->tableWidget;
    table.setRowCount(0);
    table.setColumnCount(JobColumnCount);
    table.setFocusPolicy(Qt::NoFocus);
    table.setSelectionBehavior(QAbstractItemView::SelectRows);
    table.setHorizontalHeaderLabels(
        {tr("HTML File/URL"), tr("File Source"), tr("File Size"), tr("Information")});
    const int sixth = table.width() / 6;
    table.setColumnWidth(InputColumn, sixth * 3);
    table.setColumnWidth(SourceColumn, sixth);
    table.setColumnWidth(SizeColumn, sixth);
    table.setColumnWidth(InformationColumn, sixth);
    hideNeedlessScrollBar(table);
    connect(table.horizontalHeader(), &QHeaderView::sectionResized, &table,
            [&table] { hideNeedlessScrollBar(table); });

    setWindowTitle(tr("Quirelle"));
    showButtonImage(*ui->pushButton_About, u":MyImage/Image/About.png"_s);
    showButtonImage(*ui->pushButton_Convert, u":/MyImage/Image/start.png"_s);
    fitTexts();
}

void MainWindow::Setting()
{
    // Allowed during a run: what is saved applies from the next job on.
    m_settingDialog.exec();
}

void MainWindow::RegisterOrAbout()
{
    AboutDlg about(nullptr);
    about.exec();
}

void MainWindow::closeEvent(QCloseEvent *event)
{
    if (m_bConverting) {
        KillProcess();
        showStartButton();
        ui->progressBarA->setValue(0);
    }
    QMainWindow::closeEvent(event);
}
