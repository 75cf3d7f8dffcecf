#pragma once

#include "tests/window/accessible.h"
#include "tests/window/desktop.h"

#include <QProcess>
#include <QRect>
#include <QString>
#include <QStringList>

#include <optional>

/// Where the controls of the main window lie, in pixels of its form.
namespace Place
{
inline constexpr QRect AddFiles(10, 10, 85, 81);
inline constexpr QRect AddAddresses(130, 10, 85, 81);
inline constexpr QRect Remove(250, 10, 85, 81);
inline constexpr QRect RemoveAll(370, 10, 85, 81);
inline constexpr QRect Settings(490, 10, 85, 81);
inline constexpr QRect About(610, 10, 85, 81);
inline constexpr QRect Table(10, 90, 691, 261);
inline constexpr QRect OutputFolder(80, 360, 141, 51);
inline constexpr QRect OutputFolderField(230, 376, 301, 20);
inline constexpr QRect Start(580, 360, 111, 53);
inline constexpr QRect Progress(10, 420, 691, 20);
/// Between the top buttons, where there is nothing.
inline constexpr QPoint Nowhere(112, 50);
} // namespace Place

/// A window of the program that is in front of its user.
struct Dialog {
    WindowId window = 0;
    Accessible content;

    /// The push button with this text; null where there is none.
    Accessible button(const QString &text) const { return content.find(QStringLiteral("push button"), text); }
};

/// The program, run from a bundle on a desktop and used with mouse and keyboard. Errors are reported as
/// warnings, and the function returns false.
class Program
{
public:
    /// The bundle must be one that may be written to: the settings lie in it.
    Program(const Desktop &desktop, const AccessibilityBus &bus, const QString &bundle);
    /// Kills it if it still runs.
    ~Program();
    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;

    /// Starts it and waits until its window can be worked with. Scale is that of the screen.
    bool start(int scale = 1);
    /// Closes the main window as the user of this window manager does. The exit code; nothing if it runs on.
    std::optional<int> close();
    bool isRunning() const { return m_process.state() == QProcess::Running; }

    WindowId window() const { return m_window; }
    QString settingsFile() const;
    /// A value of the settings file; null where there is none.
    QString setting(const QString &key) const;

    // What the main window shows.
    int rowCount() const { return m_table.rowCount(); }
    /// Texts of the four columns.
    QStringList row(int index) const;
    QStringList columnTexts(int column) const;
    QStringList headers() const;
    QList<int> selectedRows() const;
    /// "Start" or "Stop ".
    QString startButtonText() const { return m_start.name(); }
    QString outputFolder() const { return m_outputFolder.text(); }
    int progress() const { return int(m_progress.value()); }
    int progressEnd() const { return int(m_progress.maximum()); }
    bool isIdle() const { return startButtonText() == QLatin1String("Start"); }

    // What the user does with it.
    QPoint onScreen(QPoint inForm) const;
    QRect onScreen(QRect inForm) const;
    void click(QRect inForm) const;
    void click(const Accessible &control) const;
    /// Middle of the first cell of a row.
    QPoint rowOnScreen(int row) const;

    /// Waits for a dialog with this title to come up and have the keyboard.
    std::optional<Dialog> dialog(const QString &title) const;
    /// Waits until there is no window with this title.
    bool isGone(const QString &title) const;

    bool addFiles(const QStringList &paths) const;
    bool addAddresses(const QString &text) const;
    /// Through the dialog.
    bool chooseOutputFolder(const QString &folder) const;
    /// Into the field.
    bool typeOutputFolder(const QString &folder) const;
    /// Types into the file dialog with this title and has it accepted.
    bool answerFileDialog(const QString &title, const QString &text) const;
    /// Walks to a control of a window with the tabulator key.
    bool walkTo(const Accessible &control, const Accessible &in) const;
    /// Replaces what an entry holds, by keyboard.
    bool fill(const Accessible &entry, const QString &text) const;

private:
    bool waitForWindow();

    const Desktop &m_desktop;
    const AccessibilityBus &m_bus;
    const QString m_bundle;
    QProcess m_process;
    int m_scale = 1;
    WindowId m_window = 0;
    Accessible m_application;
    Accessible m_table;
    Accessible m_start;
    Accessible m_outputFolder;
    Accessible m_progress;
};
