#pragma once

#include "dialogs/addurl.h"
#include "settings/settingdialog.h"

#include <QMainWindow>
#include <QString>
#include <QStringList>

class QProcess;
class Ui_MainWindow;

/// The main window: the job list, the output folder, and the run that converts the list. Each subsystem
/// defines its members in its own folder. Used on the GUI thread only.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit MainWindow(QWidget *parent = nullptr);
    /// Stops a running engine.
    ~MainWindow() override;

    /// Sets size, empty job table, title and icons. To be called once, when the window is shown.
    void InitAllChoice();

    // Job list. Operations marked "Blocked", here and below, do nothing during a run.

    /// Whether null-terminated Latin-1 text counts as a web address; see isAddress.
    bool CheckURL(char *address);
    /// Adds a row for every address among the words of a text; silently ignores other words.
    void AddUrltoList(QString text);

    // Output folder.

    /// Lets the user choose a folder, starting at the last output folder; empty if cancelled.
    QString GetOutPutFolder();

    // Conversion.

    /// The engine's options from the currently stored settings; see engineOptions.
    QString GetCmdArg();
    /// During a run, kills the current engine and waits until it has ended. Its result is still written to
    /// its row.
    void KillProcess();
    /// Clears size and information of every row.
    void ClearAllInfo();

public slots:
    /// Adds rows for chosen HTML files. Blocked.
    void AddFile();
    /// Removes the current row and the selected ones. Blocked.
    void DeleteFile();
    /// Removes every row. Blocked.
    void DeleteAllFile();
    void Setting();
    /// Starts or stops the run, depending on the text of the button.
    void StartConvert();
    /// Records the result of the job that has ended and starts the next one. Always returns true.
    bool ExeCmd();
    /// Lets the user choose the output folder; a cancelled choice empties the field. Blocked.
    void AddOutputPath();
    /// Names the folder "fonts/" beside the bundle in the environment variable PCLFONTSOURCE. Returns whether
    /// it is set.
    bool SetFontPath();
    void RegisterOrAbout();
    /// Does nothing.
    void Onkeyboard();
    /// Adds rows for addresses that the user enters. Blocked.
    void AddUrl();
    /// Opens the first entry of the list with the system's default handler.
    void OpenSourceFile();

private slots:
    void on_MainWindow_destroyed();

protected:
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dropEvent(QDropEvent *event) override;
    /// Stops a running engine.
    void closeEvent(QCloseEvent *event) override;

private:
    void connectControls();
    void showBackground();
    void fitTexts();
    /// A folder dropped on the output field becomes the output folder; so does the folder of a dropped file.
    void acceptFolderDrops();

    static QString startText();
    static QString stopText();
    void showStartButton();
    /// Writes into the row whether the job that has just ended left a PDF, and its size.
    void recordResult(int row);

    qint32 m_nCurrentJob = 0;     ///< row of the next job; while a job runs, its row + 1
    qint32 m_nFileCount = 0;      ///< number of rows when the Start button was last pressed
    QString m_strOutputFolder;    ///< as returned by the last folder dialog
    QString m_strLastOutput;      ///< path of the PDF of the job started last
    QString m_strPdfExt;          ///< extension of every PDF, with its dot
    QStringList m_listInputFiles; ///< inputs at every press of the Start button, one list after another
    bool m_bConverting = false;   ///< during a run
    Ui_MainWindow *ui;            ///< owned
    SettingDialog m_settingDialog;
    addurl m_addUrlDialog;
    QProcess *m_pProcess = nullptr; ///< the engine of the current job, owned; an unused one between runs
};
