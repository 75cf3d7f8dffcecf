// What Start does: runs one engine process after another; the end of one starts the next.

#include "app/mainwindow.h"
#include "conversion/enginecommand.h"
#include "conversion/engineoptions.h"
#include "conversion/fontfolder.h"
#include "conversion/outputname.h"
#include "conversion/sizetext.h"
#include "joblist/filesize.h"
#include "settings/settingsfile.h"
#include "ui/icons.h"
#include "ui/jobtable.h"
#include "ui/lightpalette.h"
#include "ui_mainwindow.h"

#include <QCoreApplication>
#include <QDebug>
#include <QFile>
#include <QMessageBox>
#include <QProcess>

#include <algorithm>
#include <array>
#include <cstdlib>

#ifdef Q_OS_UNIX
#include <fcntl.h>
#include <unistd.h>
#endif

using namespace Qt::StringLiterals;

namespace
{

/// Redirects the engine's output to /dev/null: nobody reads it, and QProcess would keep all of it in memory.
/// Done in the child, so that the process object keeps its separate channels, by contract.
void discardOutput(QProcess &process)
{
#ifdef Q_OS_UNIX
    process.setChildProcessModifier([] {
        const int null = ::open("/dev/null", O_WRONLY);
        if (null < 0)
            return;
        ::dup2(null, STDOUT_FILENO);
        ::dup2(null, STDERR_FILENO);
        ::close(null);
    });
#else
    Q_UNUSED(process)
#endif
}

/// A message with a single button, light like the windows.
void warn(QWidget &window, const QString &title, const QString &text)
{
    QMessageBox box(QMessageBox::Information, title, text, QMessageBox::Yes, &window);
    box.setPalette(lightPalette(box.palette()));
    box.exec();
}

} // namespace

void MainWindow::StartConvert()
{
    // These checks apply to Stop as well, by contract.
    m_nFileCount = ui->tableWidget->rowCount();
    if (m_nFileCount < 1) {
        warn(*this, tr("Warning"), tr("No File!"));
        return;
    }
    m_listInputFiles.reserve(m_listInputFiles.size() + m_nFileCount);
    for (int row = 0; row < m_nFileCount; ++row)
        m_listInputFiles.append(jobText(*ui->tableWidget, row, InputColumn));
    if (m_listInputFiles.isEmpty())
        return;
    const QString outputFolder = ui->lineEdit_OutPutPath->text();
    if (!QFile::exists(outputFolder)) {
        warn(*this, tr("Warning"), tr("Please select a correct output folder."));
        return;
    }
    storeSettings({{SettingKey::OutputFolder, outputFolder}});

    if (ui->pushButton_Convert->text() == startText()) {
        m_nCurrentJob = 0;
        ui->pushButton_Convert->setText(stopText());
        m_bConverting = true;
        ClearAllInfo();
        showButtonImage(*ui->pushButton_Convert, u":/MyImage/Image/stop.png"_s);
        if (!ExeCmd())
            showStartButton();
    } else if (ui->pushButton_Convert->text() == stopText()) {
        KillProcess();
        showStartButton();
        ui->progressBarA->setValue(0);
    }
}

bool MainWindow::ExeCmd()
{
    // Not deleted at once: the caller may be its finished() signal. Also deletes a process that could not be
    // started.
    if (m_pProcess && m_pProcess->state() == QProcess::NotRunning)
        m_pProcess->deleteLater();
    m_pProcess = new QProcess;
    m_pProcess->setProcessChannelMode(QProcess::SeparateChannels);
    discardOutput(*m_pProcess);

    const QString engine = enginePath(QCoreApplication::applicationDirPath());
    const QString options = GetCmdArg();
    QTableWidget &table = *ui->tableWidget;
    const int jobCount = table.rowCount();
    if (m_nCurrentJob > 0)
        recordResult(m_nCurrentJob - 1);

    if (m_nCurrentJob >= jobCount) {
        m_pProcess->close();
        m_bConverting = false;
        ui->progressBarA->setValue(0);
        showStartButton();
        return true;
    }

    const QString input = jobText(table, m_nCurrentJob, InputColumn);
    const QString source = jobText(table, m_nCurrentJob, SourceColumn);
    m_strLastOutput = ui->lineEdit_OutPutPath->text() + u'/' + outputName(input, source) + m_strPdfExt;
    if (m_nCurrentJob >= 0 && m_bConverting) {
        m_pProcess->startCommand(engineCommand(engine, options, input, m_strLastOutput),
                                 QIODevice::ReadWrite);
        table.setSelectionBehavior(QAbstractItemView::SelectRows);
        table.setCurrentCell(m_nCurrentJob, SizeColumn);
        setJobText(table, m_nCurrentJob, InformationColumn, tr("Converting..."));
        ui->progressBarA->setMaximum(jobCount);
        ui->progressBarA->setValue(m_nCurrentJob + 1);
        connect(m_pProcess, SIGNAL(finished(int, QProcess::ExitStatus)), this, SLOT(ExeCmd()));
        ++m_nCurrentJob;
    }
    return true;
}

void MainWindow::recordResult(int row)
{
    // Only the file counts, never the engine's exit code.
    const qint64 bytes = fileSize(m_strLastOutput);
    if (bytes > 0) {
        setJobText(*ui->tableWidget, row, SizeColumn, sizeText(bytes));
        setJobText(*ui->tableWidget, row, InformationColumn, tr("Success"));
    } else {
        setJobText(*ui->tableWidget, row, InformationColumn, tr("Failed"));
    }
}

void MainWindow::KillProcess()
{
    if (!m_bConverting)
        return;
    // close() below emits finished() and so calls ExeCmd(), which must not start the next job.
    m_bConverting = false;
    setJobText(*ui->tableWidget, m_nCurrentJob, SizeColumn, QString());
    if (m_pProcess)
        m_pProcess->close();
}

void MainWindow::ClearAllInfo()
{
    const int rows = ui->tableWidget->rowCount();
    for (int row = 0; row < rows; ++row) {
        setJobText(*ui->tableWidget, row, SizeColumn, QString());
        setJobText(*ui->tableWidget, row, InformationColumn, QString());
    }
}

QString MainWindow::GetCmdArg()
{
    return engineOptions(storedSettings());
}

void MainWindow::on_MainWindow_destroyed()
{
    KillProcess();
}

QString MainWindow::startText()
{
    return tr("Start");
}

QString MainWindow::stopText()
{
    // The trailing space is part of the text.
    return tr("Stop ");
}

void MainWindow::showStartButton()
{
    ui->pushButton_Convert->setText(startText());
    showButtonImage(*ui->pushButton_Convert, u":/MyImage/Image/start.png"_s);
}

bool MainWindow::SetFontPath()
{
    // putenv() does not copy: the environment uses this buffer.
    static std::array<char, 1024> buffer;
    const QByteArray setting = fontFolderSetting(QCoreApplication::applicationDirPath());
    if (static_cast<std::size_t>(setting.size()) >= buffer.size())
        return false;
    buffer.fill('\0');
    std::copy(setting.cbegin(), setting.cend(), buffer.begin());
    qDebug("%s\n", buffer.data());
    return ::putenv(buffer.data()) == 0 && std::getenv("PCLFONTSOURCE") != nullptr;
}
