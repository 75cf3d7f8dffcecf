// Adding jobs to the list and removing them.

#include "app/mainwindow.h"
#include "joblist/address.h"
#include "joblist/filesize.h"
#include "settings/settingsfile.h"
#include "ui/jobtable.h"
#include "ui_mainwindow.h"

#include <QDesktopServices>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileDialog>
#include <QMimeData>
#include <QUrl>

#include <functional>
#include <set>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{

QString storedInputFolder()
{
    return storedSettings().value(SettingKey::InputFolder, QString()).toString();
}

void storeInputFolder(const QString &file)
{
    // Cut at a backslash only, by contract; elsewhere this stores the file's path. A file dialog opens its
    // folder.
    storeSettings({{SettingKey::InputFolder, file.left(file.lastIndexOf(u'\\'))}});
}

QList<Job> jobsOf(const QStringList &inputs, const char16_t *source)
{
    const QString sourceText = QString::fromUtf16(source);
    QList<Job> jobs;
    jobs.reserve(inputs.size());
    for (const QString &input : inputs)
        jobs.append({input, sourceText});
    return jobs;
}

} // namespace

void MainWindow::AddFile()
{
    if (m_bConverting)
        return;
    const QStringList files = QFileDialog::getOpenFileNames(
        this, tr("Select one or more files to open"), storedInputFolder(),
        tr("All Supported Files (*.html *.htm);;HTML File (*.html);;HTM File (*.htm)"));
    if (files.isEmpty())
        return;
    storeInputFolder(files.first());
    appendJobs(*ui->tableWidget, jobsOf(files, JobSource::LocalFile));
}

void MainWindow::dragEnterEvent(QDragEnterEvent *event)
{
    if (event->mimeData()->hasFormat(u"text/uri-list"_s))
        event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent *event)
{
    // Allowed during a run: the new rows are converted with the others.
    QList<Job> jobs;
    const QList<QUrl> urls = event->mimeData()->urls();
    for (const QUrl &url : urls) {
        const QString path = url.toLocalFile();
        // The first URL that is no local file ends the drop; files before it are added.
        if (path.isEmpty())
            break;
        jobs.append({path, dropHasContent(path) ? QString::fromUtf16(JobSource::LocalFile) : QString()});
    }
    appendJobs(*ui->tableWidget, jobs);
}

void MainWindow::AddUrl()
{
    if (m_bConverting)
        return;
    if (m_addUrlDialog.exec() != QDialog::Accepted)
        return;
    if (!m_addUrlDialog.m_strURLContent.isEmpty())
        AddUrltoList(m_addUrlDialog.m_strURLContent);
}

void MainWindow::AddUrltoList(QString text)
{
    QStringList addresses = splitAddresses(std::move(text));
    addresses.removeIf([this](const QString &address) {
        // The engine would get the address only up to the null character, while the PDF is named after all of
        // it.
        return address.contains(QChar(0)) || !CheckURL(address.toLatin1().data());
    });
    appendJobs(*ui->tableWidget, jobsOf(addresses, JobSource::OnlineFile));
}

bool MainWindow::CheckURL(char *address)
{
    return isAddress(address);
}

void MainWindow::DeleteFile()
{
    if (m_bConverting)
        return;
    QTableWidget &table = *ui->tableWidget;
    // The current row first, even if it is not selected.
    if (table.currentRow() >= 0)
        table.removeRow(table.currentRow());
    std::set<int, std::greater<>> rows;
    const QModelIndexList selected = table.selectionModel()->selectedIndexes();
    for (const QModelIndex &index : selected)
        rows.insert(index.row());
    // For speed: updating the selection at each removal takes longer than the removals.
    table.clearSelection();
    // From the last to the first, so that a removal does not shift the rows still to be removed.
    for (const int row : rows)
        table.removeRow(row);
}

void MainWindow::DeleteAllFile()
{
    if (!m_bConverting)
        ui->tableWidget->setRowCount(0);
}

void MainWindow::OpenSourceFile()
{
    // Always the first entry, whichever row was double-clicked, by contract.
    QDesktopServices::openUrl(QUrl(jobText(*ui->tableWidget, 0, InputColumn), QUrl::TolerantMode));
}

void MainWindow::Onkeyboard() {}
