#include "tests/window/program.h"

#include <QSettings>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

constexpr int patience = 20'000; // milliseconds

const QString filesTitle = u"Select one or more files to open"_s;

/// The control below that has the keyboard.
std::optional<Accessible> focusedIn(const Accessible &below)
{
    // The list of a combo box that has been closed keeps its current entry, and tables have many cells.
    if (!below.isShowing() || below.role() == "table"_L1 || below.role() == "list"_L1)
        return std::nullopt;
    if (below.isFocused())
        return below;
    const QList<Accessible> children = below.children();
    for (const Accessible &child : children) {
        if (auto found = focusedIn(child))
            return found;
    }
    return std::nullopt;
}

} // namespace

Program::Program(const Desktop &desktop, const AccessibilityBus &bus, const QString &bundle)
    : m_desktop(desktop), m_bus(bus), m_bundle(bundle)
{
}

Program::~Program()
{
    if (isRunning()) {
        m_process.kill();
        m_process.waitForFinished(patience);
    }
}

bool Program::start(int scale)
{
    m_scale = scale;
    QProcessEnvironment environment = m_desktop.environment();
    if (scale != 1)
        environment.insert(u"QT_SCALE_FACTOR"_s, QString::number(scale));
    m_process.setProcessEnvironment(environment);
    m_process.setProcessChannelMode(QProcess::ForwardedChannels);
    m_process.setWorkingDirectory(m_desktop.folder());
    m_process.start(m_bundle + u"/Contents/MacOS/Quirelle"_s, QStringList());
    if (!m_process.waitForStarted(patience)) {
        qWarning("the program cannot be started: %s", qPrintable(m_process.errorString()));
        return false;
    }
    return waitForWindow();
}

bool Program::waitForWindow()
{
    const bool mapped = QTest::qWaitFor(
        [this] {
            const QList<WindowId> windows = m_desktop.windows(u"Quirelle"_s);
            m_window = windows.value(0);
            return m_window != 0 && m_desktop.activeWindow() == m_window;
        },
        patience);
    if (!mapped) {
        qWarning("the main window does not come up");
        return false;
    }
    const bool readable = QTest::qWaitFor(
        [this] {
            m_application = m_bus.application(m_process.processId());
            m_table = m_application.find(u"table"_s);
            m_start = m_application.find(u"push button"_s, u"Start"_s);
            m_outputFolder = m_application.find(u"text"_s, u"Output folder"_s);
            m_progress = m_application.find(u"progress bar"_s);
            return !m_table.isNull() && !m_start.isNull() && !m_outputFolder.isNull() && !m_progress.isNull();
        },
        patience);
    if (!readable)
        qWarning("the main window does not tell what it shows");
    return readable;
}

std::optional<int> Program::close()
{
    m_desktop.ask(u"xdotool"_s, {u"windowactivate"_s, u"--sync"_s, QString::number(m_window)});
    m_desktop.pressKey(u"alt+F4"_s);
    if (!m_process.waitForFinished(patience) || m_process.exitStatus() != QProcess::NormalExit)
        return std::nullopt;
    return m_process.exitCode();
}

QString Program::settingsFile() const
{
    return m_bundle + u"/Contents/MacOS/quirelleinfo.ini"_s;
}

QString Program::setting(const QString &key) const
{
    return QSettings(settingsFile(), QSettings::IniFormat).value(u"/SettingInfo/"_s + key).toString();
}

QStringList Program::row(int index) const
{
    QStringList texts;
    for (int column = 0; column < 4; ++column)
        texts << m_table.cell(index, column).name();
    return texts;
}

QStringList Program::columnTexts(int column) const
{
    QStringList texts;
    const int rows = rowCount();
    for (int index = 0; index < rows; ++index)
        texts << m_table.cell(index, column).name();
    return texts;
}

QStringList Program::headers() const
{
    QStringList texts;
    const QList<Accessible> below = m_table.children();
    for (const Accessible &child : below) {
        if (child.role() == "table column header"_L1 || child.role() == "column header"_L1)
            texts << child.name();
    }
    return texts;
}

QList<int> Program::selectedRows() const
{
    QList<int> selected;
    const int rows = rowCount();
    for (int index = 0; index < rows; ++index) {
        if (m_table.cell(index, 0).isSelected())
            selected << index;
    }
    return selected;
}

QPoint Program::onScreen(QPoint inForm) const
{
    return m_desktop.geometry(m_window).topLeft() + inForm * m_scale;
}

QRect Program::onScreen(QRect inForm) const
{
    return {onScreen(inForm.topLeft()), inForm.size() * m_scale};
}

void Program::click(QRect inForm) const
{
    m_desktop.click(onScreen(inForm).center());
}

void Program::click(const Accessible &control) const
{
    m_desktop.click(control.extents().center());
}

QPoint Program::rowOnScreen(int row) const
{
    return m_table.cell(row, 0).extents().center();
}

std::optional<Dialog> Program::dialog(const QString &title) const
{
    Dialog found;
    const bool up = QTest::qWaitFor(
        [&] {
            found.window = m_desktop.windows(title).value(0);
            if (found.window == 0 || m_desktop.activeWindow() != found.window)
                return false;
            const QList<Accessible> windows = m_application.children();
            for (const Accessible &window : windows) {
                if (window.name() == title && window.isShowing()) {
                    found.content = window;
                    return true;
                }
            }
            return false;
        },
        patience);
    if (up)
        return found;
    qWarning("there is no dialog \"%s\"", qPrintable(title));
    return std::nullopt;
}

bool Program::isGone(const QString &title) const
{
    return QTest::qWaitFor([&] { return m_desktop.windows(title).isEmpty(); }, patience);
}

bool Program::walkTo(const Accessible &control, const Accessible &in) const
{
    constexpr int farthest = 20;
    for (int step = 0; step < farthest; ++step) {
        std::optional<Accessible> now;
        if (!QTest::qWaitFor([&] { return (now = focusedIn(in)).has_value(); }, patience))
            break;
        if (control.isFocused())
            return true;
        m_desktop.pressKey(u"Tab"_s);
        if (!QTest::qWaitFor([&now] { return !now->isFocused(); }, patience))
            break;
    }
    qWarning("the tabulator key does not get to \"%s\"", qPrintable(control.name()));
    return false;
}

bool Program::fill(const Accessible &entry, const QString &text) const
{
    click(entry);
    if (!QTest::qWaitFor([&entry] { return entry.isFocused(); }, patience)) {
        qWarning("an entry does not take the keyboard");
        return false;
    }
    m_desktop.pressKey(u"ctrl+a"_s);
    if (text.isEmpty())
        m_desktop.pressKey(u"Delete"_s);
    else
        m_desktop.type(text);
    if (QTest::qWaitFor([&] { return entry.text() == text; }, patience))
        return true;
    qWarning("an entry holds \"%s\" instead of \"%s\"", qPrintable(entry.text()), qPrintable(text));
    return false;
}

bool Program::answerFileDialog(const QString &title, const QString &text) const
{
    const auto files = dialog(title);
    if (!files)
        return false;
    const Accessible name = files->content.find(u"text"_s, u"File name:"_s);
    const Accessible folder = files->content.find(u"text"_s, u"Directory:"_s);
    if (!fill(name.isNull() ? folder : name, text))
        return false;
    m_desktop.pressKey(u"Return"_s);
    return isGone(title);
}

bool Program::addFiles(const QStringList &paths) const
{
    const int before = rowCount();
    click(Place::AddFiles);
    if (!answerFileDialog(filesTitle, u'"' + paths.join(u"\" \""_s) + u'"'))
        return false;
    return QTest::qWaitFor([&] { return rowCount() == before + int(paths.size()); }, patience);
}

bool Program::addAddresses(const QString &text) const
{
    click(Place::AddAddresses);
    const auto entry = dialog(u"Dialog"_s);
    if (!entry)
        return false;
    const Accessible box = entry->content.find(u"text"_s);
    if (!fill(box, text))
        return false;
    click(entry->button(u"OK"_s));
    return isGone(u"Dialog"_s);
}

bool Program::chooseOutputFolder(const QString &folder) const
{
    click(Place::OutputFolder);
    return answerFileDialog(u"Open directory"_s, folder) &&
           QTest::qWaitFor([&] { return outputFolder() == folder; }, patience);
}

bool Program::typeOutputFolder(const QString &folder) const
{
    return fill(m_outputFolder, folder);
}
