#include "app/mainwindow.h"

#include "app/icons.h"
#include "app/images.h"
#include "joblist/jobtable.h"
#include "ui_mainwindow.h"

#include <QApplication>
#include <QCloseEvent>
#include <QHeaderView>
#include <QPalette>
#include <QPixmap>
#include <QProcess>

using namespace Qt::StringLiterals;

namespace
{

/// What the window's colours are while its background stays a light image, whatever the system's theme is.
struct RoleColor {
    QPalette::ColorRole role;
    QRgb color;
};

constexpr RoleColor lightColors[] = {
    {QPalette::WindowText, 0xff1a1f24}, {QPalette::Text, 0xff1a1f24},
    {QPalette::ButtonText, 0xff1a1f24}, {QPalette::PlaceholderText, 0xff6b7680},
    {QPalette::Base, 0xffffffff},       {QPalette::AlternateBase, 0xfff5f7f9},
    {QPalette::Button, 0xfff0f2f4},     {QPalette::Light, 0xffffffff},
    {QPalette::Midlight, 0xfff7f8f9},   {QPalette::Mid, 0xffb4babf},
    {QPalette::Dark, 0xff9aa1a7},       {QPalette::Shadow, 0xff6f767c},
};
// Behind the image: the style takes the shades of frames from it.
constexpr QRgb windowColor = 0xfff0f2f4;

void setLightColors(QPalette &palette)
{
    for (const RoleColor &entry : lightColors)
        palette.setColor(entry.role, QColor::fromRgb(entry.color));
}

/// The widths that the columns start with are one pixel more than the frame leaves. That is no reason for a
/// scroll bar; a column widened by the user is.
void hideNeedlessScrollBar(QTableWidget &table)
{
    const bool needed = table.horizontalHeader()->length() > table.viewport()->width() + 1;
    table.setHorizontalScrollBarPolicy(needed ? Qt::ScrollBarAsNeeded : Qt::ScrollBarAlwaysOff);
}

} // namespace

MainWindow::MainWindow(QWidget *parent)
    : QMainWindow(parent), ui(new Ui_MainWindow), m_settingDialog(nullptr), m_addUrlDialog(nullptr)
{
    registerImages();
    ui->setupUi(this);
    setAcceptDrops(true);
    connectControls();
    showBackground();
}

MainWindow::~MainWindow()
{
    if (m_pProcess) {
        // The end of this process must not start anything in a window that is going.
        m_pProcess->disconnect(this);
        m_pProcess->close();
        delete m_pProcess;
    }
    delete ui;
}

void MainWindow::connectControls()
{
    // By name: a window that is being destroyed says so when its own part is gone already, and then a slot
    // connected by pointer would still be called. The form connects that slot a second time, by the slot's
    // name; both are meant.
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
    const QPixmap image(u":/MyImage/Image/bg1.png"_s);
    QPixmap background = image.scaled(size() * density, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    background.setDevicePixelRatio(density);

    QPalette colors = palette();
    colors.setBrush(QPalette::Window, QBrush(QColor::fromRgb(windowColor), background));
    setLightColors(colors);
    setPalette(colors);
    // Controls with a style sheet, and what is within them, take no colours from their window.
    const auto controls = findChildren<QWidget *>();
    for (QWidget *control : controls) {
        if (control->testAttribute(Qt::WA_StyleSheet)) {
            QPalette own = control->palette();
            setLightColors(own);
            own.setColor(QPalette::Window, QColor::fromRgb(windowColor));
            control->setPalette(own);
        }
    }
    // A field with a style sheet is filled from the application's colours, whatever its own are.
    if (QApplication::palette().color(QPalette::Base).lightness() < 128) {
        QLineEdit &field = *ui->lineEdit_OutPutPath;
        field.setStyleSheet(field.styleSheet() + u"\nbackground-color: #FFFFFF;"_s);
    }
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
