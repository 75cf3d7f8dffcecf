// The output folder.

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

QString lastOutputFolder()
{
    const QString folder = storedSettings().value(SettingKey::OutputFolder, QString()).toString();
    return QFile::exists(folder) ? folder : QString();
}

/// The first dragged folder, or the folder of the first dragged file; empty if the drag has no local file.
QString folderOf(const QMimeData &drag)
{
    const QString path = drag.urls().value(0).toLocalFile();
    if (path.isEmpty())
        return QString();
    const QFileInfo entry(path);
    return QDir::cleanPath(entry.isDir() ? path : entry.path());
}

/// Handles drops on a field, which by itself would insert the URL as text.
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
        // Never a move: the source of the drag would delete the file.
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
    return QFileDialog::getExistingDirectory(this, tr("Open directory"), lastOutputFolder(),
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
