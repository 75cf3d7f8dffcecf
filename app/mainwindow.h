#pragma once

#include "dialogs/addurl.h"
#include "settings/settingdialog.h"

#include <QMainWindow>
#include <QString>
#include <QStringList>

class QProcess;
class Ui_MainWindow;

/// The one main window: the job list, the output folder, and the run that converts the list. Each subsystem
/// defines its members in its own folder. Everything happens on the GUI thread.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit MainWindow(QWidget *parent = nullptr);
    /// Stops a running engine.
    ~MainWindow() override;

    /// Makes the window ready for its first use: size, empty job table, title, icons. To be called once, when
    /// it is shown.
    void InitAllChoice();

    // Job list. A blocked operation, here and below, is one that returns at once, silently, while a run is
    // going.

    /// Whether Latin-1 text, ended by a zero byte, is taken for a web address; see isAddress.
    bool CheckURL(char *address);
    /// Adds a row for every address in a text of words; what is no address is dropped silently.
    void AddUrltoList(QString text);

    // Output folder.

    /// Lets the user choose a folder, starting at the last one converted to; empty when cancelled.
    QString GetOutPutFolder();

    // Conversion.

    /// The engine's options from the settings as they are stored now; see engineOptions.
    QString GetCmdArg();
    /// Stops the current engine if a run is going, and waits until it has gone. Its end is still recorded in
    /// its row.
    void KillProcess();
    /// Blanks size and information of every row.
    void ClearAllInfo();

public slots:
    /// Adds rows for chosen HTML files. Blocked.
    void AddFile();
    /// Removes the current row and the selected ones. Blocked.
    void DeleteFile();
    /// Removes every row. Blocked.
    void DeleteAllFile();
    void Setting();
    /// Starts the run, or stops it, by what the button says.
    void StartConvert();
    /// Records the job that has ended and starts the next one. Always true.
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
    /// Lets a folder or a file that is dropped on the output folder's field name the folder.
    void acceptFolderDrops();

    static QString startText();
    static QString stopText();
    void showStartButton();
    /// Judges the job just ended by its PDF, and writes that into its row.
    void recordResult(int row);

    qint32 m_nCurrentJob = 0;     ///< row of the next job; while a job runs, its row + 1
    qint32 m_nFileCount = 0;      ///< rows when the Start button was last pressed
    QString m_strOutputFolder;    ///< as returned by the last folder dialog
    QString m_strLastOutput;      ///< path of the PDF of the job started last
    QString m_strPdfExt;          ///< extension of every PDF, with its dot
    QStringList m_listInputFiles; ///< inputs at every press of the Start button, one list after another
    bool m_bConverting = false;   ///< whether a run is going
    Ui_MainWindow *ui;            ///< owned
    SettingDialog m_settingDialog;
    addurl m_addUrlDialog;
    QProcess *m_pProcess = nullptr; ///< the engine of the current job, owned; a fresh one between runs
};
