// Where the PDFs go.

#include "app/mainwindow.h"
#include "settings/settingsfile.h"
#include "ui_mainwindow.h"

#include <QFile>
#include <QFileDialog>

namespace
{

QString lastFolderConvertedTo()
{
    const QString folder = storedSettings().value(SettingKey::OutputFolder, QString()).toString();
    return QFile::exists(folder) ? folder : QString();
}

} // namespace

QString MainWindow::GetOutPutFolder()
{
    return QFileDialog::getExistingDirectory(this, tr("Open directory"), lastFolderConvertedTo(),
                                             QFileDialog::ShowDirsOnly | QFileDialog::DontResolveSymlinks);
}

void MainWindow::AddOutputPath()
{
    if (m_bConverting)
        return;
    // A cancelled dialog empties the field: this is meant.
    m_strOutputFolder = GetOutPutFolder();
    ui->lineEdit_OutPutPath->setText(m_strOutputFolder);
}
