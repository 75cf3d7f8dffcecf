#pragma once

#include <QByteArray>
#include <QImage>
#include <QList>
#include <QPoint>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRect>
#include <QSize>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <optional>

/// An X window as X knows it.
using WindowId = quint64;

/// A separate desktop: an X server without a screen on a free display, a window manager, a session bus with
/// accessibility, a handler for files and addresses that only records them, and an empty home folder. All of
/// it ends with the object.
class Desktop
{
public:
    Desktop();
    ~Desktop();
    Desktop(const Desktop &) = delete;
    Desktop &operator=(const Desktop &) = delete;

    /// Whether everything runs; if not, a warning says what is missing.
    bool start(QSize screen);

    /// What a program started on this desktop is to be given: the display, the bus, the home and no more of
    /// the caller's own desktop than PATH and the locale.
    const QProcessEnvironment &environment() const { return m_environment; }
    /// For the programs that are started from now on.
    void setVariable(const QString &name, const QString &value) { m_environment.insert(name, value); }
    /// A folder for whatever the desktop's user has. Removed with the desktop.
    QString folder() const { return m_folder.path(); }
    /// A file in that folder.
    QString file(const QString &name) const { return m_folder.filePath(name); }

    /// What the desktop's handler of files and addresses was asked to open so far.
    QStringList opened() const;

    /// What a program says on standard output; nothing if it fails. A failure is a warning unless it is
    /// expected.
    std::optional<QByteArray> ask(const QString &program, const QStringList &arguments,
                                  bool failureIsExpected = false) const;

    /// Visible windows with exactly this title.
    QList<WindowId> windows(const QString &title) const;
    WindowId activeWindow() const;
    /// Where a window lies on the screen, in pixels, without its frame.
    QRect geometry(WindowId window) const;
    /// A property, as xprop prints it.
    QString property(WindowId window, const QString &name) const;

    QImage screenshot(WindowId window) const;
    QImage screenshot(QRect part) const;

    // Mouse and keyboard.
    void moveMouse(QPoint to) const;
    void click(QPoint at) const;
    void clickWith(const QString &modifier, QPoint at) const;
    void doubleClick(QPoint at) const;
    void pressMouse() const;
    void releaseMouse() const;
    /// Keys by their X names, such as "Return", "alt+F4".
    void pressKey(const QString &key) const;
    void type(const QString &text) const;

private:
    void makeFolders();
    void makeOpener();
    bool startServer(QSize screen);
    bool startBus();
    bool startWindowManager();
    void tell(const QStringList &orders) const;

    QTemporaryDir m_folder;
    QProcessEnvironment m_environment;
    QProcess m_server;
    QProcess m_bus;
    QProcess m_windowManager;
};
