#include "dialogs/addurl.h"

#include "settings/settingsfile.h"
#include "ui/fittext.h"
#include "ui/lightpalette.h"
#include "ui_addurl.h"

#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QLayout>
#include <QPushButton>
#include <QTextStream>

#include <algorithm>

namespace
{

/// A list may have megabytes in one line, which is laid out as a whole: choose fast text layout.
void useFastLayout(QTextEdit *box)
{
    // Searching for word boundaries takes minutes in a line that has none.
    box->setWordWrapMode(QTextOption::WrapAnywhere);
    // Without kerning, simple scripts need no shaping: half the time.
    QFont font = box->font();
    font.setKerning(false);
    font.setStyleStrategy(QFont::PreferNoShaping);
    box->setFont(font);
}

bool hasRoomForTexts(const QWidget &row)
{
    row.layout()->activate();
    const auto buttons = row.findChildren<const QPushButton *>();
    return std::all_of(buttons.begin(), buttons.end(),
                       [](const QPushButton *button) { return hasRoomForText(*button); });
}

} // namespace

addurl::addurl(QWidget *parent) : QDialog(parent), ui(new Ui_addurl)
{
    ui->setupUi(this);
    setFixedSize(401, 300);
    setPalette(lightPalette(palette()));
    useFastLayout(ui->textEdit_URL);
    shrinkFont({ui->layoutWidget}, [this] { return hasRoomForTexts(*ui->layoutWidget); });
    connect(ui->pushButton_LoadTXT, SIGNAL(clicked()), this, SLOT(on_buttonBox_LoadTXT()));
    connect(ui->pushButton_Clear, SIGNAL(clicked()), this, SLOT(on_buttonBox_Clear()));
}

addurl::~addurl()
{
    delete ui;
}

QString addurl::GetURLContent()
{
    m_strURLContent = ui->textEdit_URL->toPlainText();
    return m_strURLContent;
}

void addurl::showEvent(QShowEvent *event)
{
    // Otherwise the button that closed the dialog the last time keeps the focus.
    ui->textEdit_URL->setFocus();
    QDialog::showEvent(event);
}

void addurl::on_buttonBox_accepted()
{
    GetURLContent();
}

void addurl::on_buttonBox_LoadTXT()
{
    // Caption and filter are spelled like this by contract.
    const QString path = QFileDialog::getOpenFileName(
        this, tr("Select one or more files to open"),
        storedSettings().value(SettingKey::ListFilePath, QString()).toString(),
        tr("ALl Supported Files(*. rtf *.txt *.ini *.);;RTF File(*.rtf);;TXT File(*.txt);;"
           "INI File(*.ini);;All Files(*.*)"));
    if (path.isEmpty())
        return;
    QFile file(path);
    // Opening a FIFO would block, and a device may have no end.
    if (QFileInfo(path).isFile() && file.open(QIODevice::ReadOnly))
        ui->textEdit_URL->setText(QTextStream(&file).readAll());
    // The folder is remembered whether or not the file could be read.
    storeSettings({{SettingKey::ListFilePath, path.left(path.lastIndexOf(QLatin1Char('/')))}});
}

void addurl::on_buttonBox_Clear()
{
    ui->textEdit_URL->clear();
}
