#include "settings/settingdialog.h"

#include "settings/choices.h"
#include "settings/settingsfile.h"
#include "ui/contextmenu.h"
#include "ui/fittext.h"
#include "ui/lightpalette.h"
#include "ui_settingdialog.h"

#include <QAbstractItemView>
#include <QEvent>
#include <QMessageBox>
#include <QtMath>

#include <algorithm>
#include <initializer_list>
#include <utility>

namespace
{

constexpr QColor g_hintColour(0x45, 0x4c, 0x57);

QString read(const QSettings &settings, const char16_t *key, const QVariant &whenAbsent)
{
    return settings.value(QString::fromUtf16(key), whenAbsent).toString();
}

int readNumber(const QSettings &settings, const char16_t *key)
{
    return read(settings, key, 0).toInt();
}

int readIndex(const QSettings &settings, const char16_t *key, int count)
{
    const int index = readNumber(settings, key);
    return index < 0 || index >= count ? 0 : index;
}

/// A length of paper in mm, 1 to 3000; empty where it is none.
QString readMeasure(const QSettings &settings, const char16_t *key)
{
    const int length = readNumber(settings, key);
    return length >= 1 && length <= 3000 ? QString::number(length) : QString();
}

QString readText(const QSettings &settings, const char16_t *key)
{
    return read(settings, key, QString()).left(g_maximumTextLength);
}

bool readFlag(const QSettings &settings, const char16_t *key)
{
    return read(settings, key, QString()) == QLatin1String("True");
}

QString flagText(bool on)
{
    return on ? QStringLiteral("True") : QStringLiteral("False");
}

/// Lets the controls behind these labels begin in one line.
void alignLabels(std::initializer_list<QLabel *> labels)
{
    int width = 0;
    for (QLabel *label : labels)
        label->setMinimumWidth(0);
    for (const QLabel *label : labels)
        width = std::max(width, label->sizeHint().width());
    for (QLabel *label : labels)
        label->setMinimumWidth(width);
}

bool isFontSize(int points)
{
    return points >= g_minimumFontSize && points <= g_maximumFontSize;
}

} // namespace

SettingDialog::SettingDialog(QWidget *parent) : QDialog(parent), ui(new Ui_SettingDialog)
{
    ui->setupUi(this);
    // Completion would turn a typed 7 into the listed 72.
    ui->comboBox_FontSize->setCompleter(nullptr);
    connect(ui->pushButton_Ok, SIGNAL(clicked()), this, SLOT(OnButtonOk()));
    connect(ui->pushButton_Reset, SIGNAL(clicked()), this, SLOT(OnButtonReset()));
    connect(ui->comboBox_PageSize, SIGNAL(currentIndexChanged(int)), this, SLOT(OnChangePageSize()));

    paintBackground();

    IniAllChoice();
    LoadInfo();
    // The hint by itself: a control with a style sheet takes no font from its window.
    shrinkFont({this, ui->textEdit}, [this] {
        layOutPanel();
        return hasRoomForTexts();
    });
}

SettingDialog::~SettingDialog()
{
    delete ui;
}

void SettingDialog::paintBackground()
{
    const QPixmap image(QStringLiteral(":/MyImage/Image/bg1.png"));
    if (image.isNull())
        return;
    QPalette colours = lightPalette(palette());
    colours.setBrush(QPalette::Window, image.scaled(size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
    setPalette(colours);

    colours.setColor(QPalette::Text, g_hintColour);
    ui->textEdit->setPalette(colours);
    keepMenuUnstyled(*ui->textEdit);
}

void SettingDialog::layOutPanel()
{
    alignLabels({ui->label_2, ui->label, ui->label_7});
    alignLabels({ui->label_8, ui->label_3, ui->label_4});
    ui->textEdit->document()->setDocumentMargin(0);
    ui->textEdit->setFixedHeight(qCeil(ui->textEdit->document()->size().height()));
}

bool SettingDialog::hasRoomForTexts() const
{
    for (const QWidget *part : {ui->widget, ui->layoutWidget}) {
        part->layout()->activate();
        const auto controls = part->findChildren<const QWidget *>(QString(), Qt::FindDirectChildrenOnly);
        for (const QWidget *control : controls) {
            if (!part->rect().contains(control->geometry()) || !hasRoomForText(*control))
                return false;
        }
    }
    return ui->textEdit->document()->idealWidth() <= ui->textEdit->width();
}

void SettingDialog::showEvent(QShowEvent *event)
{
    // Here and not in the constructor: view() creates the list, which slows down start-up.
    for (const QLabel *label : {ui->label_2, ui->label, ui->label_6}) {
        auto *list = qobject_cast<QComboBox *>(label->buddy());
        list->view()->setAccessibleName(label->text());
        if (list->lineEdit())
            list->lineEdit()->setAccessibleName(label->text());
    }
    // Otherwise the button that closed the dialog the last time keeps the focus.
    ui->comboBox_PageSize->setFocus();
    QDialog::showEvent(event);
}

void SettingDialog::IniAllChoice()
{
    ui->comboBox_PageSize->clear();
    for (const Choice &paper : g_paperSizes)
        ui->comboBox_PageSize->addItem(tr(paper.text));
    ui->comboBox_PageSize->setCurrentIndex(0);
    ui->comboBox_Orientation->clear();
    for (const Choice &orientation : g_orientations)
        ui->comboBox_Orientation->addItem(tr(orientation.text));
    ui->comboBox_Orientation->setCurrentIndex(0);
    ui->lineEdit_Title->setText(QString());
    ui->comboBox_FontSize->clear();
    for (const char *fontSize : g_fontSizes)
        ui->comboBox_FontSize->addItem(tr(fontSize));
    ui->lineEdit_AuthUser->setText(QString());
    ui->checkBox_NoWebLink->setChecked(false);
    ui->checkBox_Grayscale->setChecked(false);
    ui->checkBox_DisJs->setChecked(false);
    ui->checkBox_NotLoadImages->setChecked(false);
    ui->checkBox_LowQuality->setChecked(false);
    ui->checkBox_NoBackground->setChecked(false);
}

void SettingDialog::LoadInfo()
{
    const QSettings settings = storedSettings();
    ui->comboBox_PageSize->setCurrentIndex(
        readIndex(settings, SettingKey::PaperSizeModel, ui->comboBox_PageSize->count()));
    // Custom paper sizes and the number of copies have no control: read and checked, but unused.
    [[maybe_unused]] const QString paperWidth = readMeasure(settings, SettingKey::PaperWidth);
    [[maybe_unused]] const QString paperHeight = readMeasure(settings, SettingKey::PaperHeight);
    [[maybe_unused]] const int copies = readNumber(settings, SettingKey::CopyNumber);
    ui->comboBox_Orientation->setCurrentIndex(
        readIndex(settings, SettingKey::Orientation, ui->comboBox_Orientation->count()));
    showFontSize(readNumber(settings, SettingKey::FontSize));
    ui->lineEdit_Title->setText(readText(settings, SettingKey::Title));
    ui->lineEdit_AuthUser->setText(readText(settings, SettingKey::AuthUser));
    ui->lineEdit_Password->setText(readText(settings, SettingKey::Password));
    ui->lineEdit_Proxy->setText(readText(settings, SettingKey::Proxy));
    ui->checkBox_NoWebLink->setChecked(readFlag(settings, SettingKey::NoWebLink));
    ui->checkBox_Grayscale->setChecked(readFlag(settings, SettingKey::Grayscale));
    ui->checkBox_DisJs->setChecked(readFlag(settings, SettingKey::DisableJs));
    ui->checkBox_NotLoadImages->setChecked(readFlag(settings, SettingKey::NoImages));
    ui->checkBox_LowQuality->setChecked(readFlag(settings, SettingKey::LowQuality));
    ui->checkBox_NoBackground->setChecked(readFlag(settings, SettingKey::NoBackground));
}

void SettingDialog::showFontSize(int points)
{
    QComboBox *list = ui->comboBox_FontSize;
    if (!isFontSize(points)) {
        list->setCurrentIndex(0);
        return;
    }
    const QString text = QString::number(points);
    int index = list->findText(text, Qt::MatchExactly | Qt::MatchCaseSensitive);
    if (index < 0) {
        list->addItem(text);
        index = list->count() - 1;
    }
    list->setCurrentIndex(index);
}

void SettingDialog::SaveInfo()
{
    const int paper = ui->comboBox_PageSize->currentIndex();
    const bool paperChosen = paper >= 0 && paper < ui->comboBox_PageSize->count();
    const int fontSize = ui->comboBox_FontSize->currentText().toInt();
    const QString empty = QLatin1String("");
    storeSettings({
        {SettingKey::PaperSizeModel, paperChosen ? QString::number(paper) : empty},
        {SettingKey::PaperWidth, empty},
        {SettingKey::PaperHeight, empty},
        {SettingKey::CopyNumber, empty},
        {SettingKey::Orientation, QString::number(ui->comboBox_Orientation->currentIndex())},
        {SettingKey::FontSize, QString::number(isFontSize(fontSize) ? fontSize : 0)},
        {SettingKey::Title, ui->lineEdit_Title->text().left(g_maximumTextLength)},
        {SettingKey::AuthUser, ui->lineEdit_AuthUser->text().left(g_maximumTextLength)},
        {SettingKey::Password, ui->lineEdit_Password->text().left(g_maximumTextLength)},
        {SettingKey::Proxy, ui->lineEdit_Proxy->text().left(g_maximumTextLength)},
        {SettingKey::NoWebLink, flagText(ui->checkBox_NoWebLink->isChecked())},
        {SettingKey::Grayscale, flagText(ui->checkBox_Grayscale->isChecked())},
        {SettingKey::DisableJs, flagText(ui->checkBox_DisJs->isChecked())},
        {SettingKey::NoImages, flagText(ui->checkBox_NotLoadImages->isChecked())},
        {SettingKey::LowQuality, flagText(ui->checkBox_LowQuality->isChecked())},
        {SettingKey::NoBackground, flagText(ui->checkBox_NoBackground->isChecked())},
    });
}

bool SettingDialog::eventFilter(QObject *watched, QEvent *event)
{
    const QString title = tr("ee");
    QMessageBox::information(this, title, tr("event"), QMessageBox::Yes);
    if (event->type() == QEvent::FocusOut) {
        QMessageBox::information(this, title, tr("focueout"), QMessageBox::Yes);
        if (watched == ui->comboBox_FontSize)
            QMessageBox::information(this, title, tr("kill focusout"), QMessageBox::Yes);
    }
    return false;
}

void SettingDialog::OnButtonOk()
{
    SaveInfo();
    accept();
}

void SettingDialog::OnButtonCancel()
{
    close();
}

void SettingDialog::OnButtonReset()
{
    IniAllChoice();
}

void SettingDialog::OnChangePageSize() {}

void SettingDialog::OnFontSizeKillForce() {}
