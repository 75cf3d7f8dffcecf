// Where the PDFs go.

#include "app/mainwindow.h"
#include "settings/settingsfile.h"
#include "ui_mainwindow.h"

#include <QDir>
#include <QDropEvent>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QMimeData>

namespace
{

QString lastFolderConvertedTo()
{
    const QString folder = storedSettings().value(SettingKey::OutputFolder, QString()).toString();
    return QFile::exists(folder) ? folder : QString();
}

/// The folder that a drag names: the first of its folders and files, or that file's folder. Empty where it
/// has none.
QString folderOf(const QMimeData &drag)
{
    const QString path = drag.urls().value(0).toLocalFile();
    if (path.isEmpty())
        return QString();
    const QFileInfo entry(path);
    return QDir::cleanPath(entry.isDir() ? path : entry.path());
}

/// For a field: the field itself would take the text of such a drag, which is an address.
class FolderDrops : public QObject
{
public:
    explicit FolderDrops(QLineEdit &field) : QObject(&field), m_field(field)
    {
        field.installEventFilter(this);
    }

    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() != QEvent::DragEnter && event->type() != QEvent::DragMove &&
            event->type() != QEvent::Drop)
            return false;
        auto &drag = static_cast<QDropEvent &>(*event);
        const QString folder = folderOf(*drag.mimeData());
        if (folder.isEmpty())
            return false;
        // Never a move: whoever drags would remove the file.
        drag.setDropAction(Qt::CopyAction);
        drag.accept();
        if (event->type() == QEvent::Drop)
            m_field.setText(folder);
        return true;
    }

private:
    QLineEdit &m_field;
};

} // namespace

void MainWindow::acceptFolderDrops()
{
    new FolderDrops(*ui->lineEdit_OutPutPath);
}

QString MainWindow::GetOutPutFolder()
{
    return QFileDialog::getExistingDirectory(this, tr("Open directory"), lastFolderConvertedTo(),
                                             QFileDialog::ShowDirsOnly | QFileDialog::DontResolveSymlinks);
}

void MainWindow::AddOutputPath()
{
    if (m_bConverting)
        return;
    // A cancelled dialog empties the field, by contract.
    m_strOutputFolder = GetOutPutFolder();
    ui->lineEdit_OutPutPath->setText(m_strOutputFolder);
}
