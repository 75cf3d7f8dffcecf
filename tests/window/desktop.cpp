#include "tests/window/desktop.h"

#include <QDir>
#include <QRegularExpression>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

constexpr int patience = 20'000; // milliseconds for a program to be up, or to be done

bool startProgram(QProcess &process, const QString &program, const QStringList &arguments,
                  const QProcessEnvironment &environment)
{
    process.setProcessEnvironment(environment);
    process.setStandardErrorFile(QProcess::nullDevice());
    process.start(program, arguments);
    if (process.waitForStarted(patience))
        return true;
    qWarning("%s cannot be started: %s", qPrintable(program), qPrintable(process.errorString()));
    return false;
}

/// The first line that a program prints; empty if it ends before.
QString firstLine(QProcess &process)
{
    while (!process.canReadLine()) {
        if (!process.waitForReadyRead(patience))
            return QString();
    }
    return QString::fromLocal8Bit(process.readLine()).trimmed();
}

void stop(QProcess &process)
{
    if (process.state() == QProcess::NotRunning)
        return;
    process.terminate();
    if (!process.waitForFinished(patience))
        process.kill();
    process.waitForFinished(patience);
}

} // namespace

Desktop::Desktop()
{
    const QProcessEnvironment own = QProcessEnvironment::systemEnvironment();
    for (const QString &name : {u"PATH"_s, u"LANG"_s, u"LC_ALL"_s, u"USER"_s, u"QUIRELLE_NO_SANDBOX"_s,
                                u"QUIRELLE_BROWSER"_s, u"QUIRELLE_IDLE_SECONDS"_s, u"ASAN_OPTIONS"_s,
                                u"LSAN_OPTIONS"_s, u"UBSAN_OPTIONS"_s, u"TSAN_OPTIONS"_s}) {
        if (own.contains(name))
            m_environment.insert(name, own.value(name));
    }
    m_environment.insert(u"QT_LINUX_ACCESSIBILITY_ALWAYS_ON"_s, u"1"_s);
    makeFolders();
    makeOpener();
}

void Desktop::makeFolders()
{
    struct Place {
        QString variable;
        QString folder;
    };
    // Short names: sockets are made in some of them.
    const Place places[] = {
        {u"HOME"_s, u"home"_s},
        {u"XDG_CONFIG_HOME"_s, u"home/config"_s},
        {u"XDG_DATA_HOME"_s, u"home/data"_s},
        {u"XDG_CACHE_HOME"_s, u"home/cache"_s},
        {u"XDG_STATE_HOME"_s, u"home/state"_s},
        {u"XDG_RUNTIME_DIR"_s, u"run"_s},
        {u"TMPDIR"_s, u"tmp"_s},
    };
    for (const Place &place : places) {
        const QString folder = file(place.folder);
        QDir().mkpath(folder);
        QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        m_environment.insert(place.variable, folder);
    }
}

void Desktop::makeOpener()
{
    QDir().mkpath(file(u"bin"_s));
    QFile opener(file(u"bin/xdg-open"_s));
    if (!opener.open(QIODevice::WriteOnly))
        return;
    opener.write("#!/bin/sh\nprintf '%s\\n' \"$1\" >>\"$HOME/opened\"\n");
    opener.setPermissions(opener.permissions() | QFile::ExeOwner);
    m_environment.insert(u"PATH"_s, file(u"bin"_s) + u':' + m_environment.value(u"PATH"_s));
}

QStringList Desktop::opened() const
{
    QFile list(file(u"home/opened"_s));
    if (!list.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(list.readAll()).split(u'\n', Qt::SkipEmptyParts);
}

Desktop::~Desktop()
{
    // The server last: the others would only complain.
    stop(m_windowManager);
    stop(m_bus);
    stop(m_server);
}

bool Desktop::start(QSize screen)
{
    return m_folder.isValid() && startServer(screen) && startBus() && startWindowManager();
}

bool Desktop::startServer(QSize screen)
{
    // The server chooses a free display and prints its number when it is ready.
    const QString shape = u"%1x%2x24"_s.arg(screen.width()).arg(screen.height());
    if (!startProgram(m_server, u"Xvfb"_s,
                      {u"-displayfd"_s, u"1"_s, u"-screen"_s, u"0"_s, shape, u"-dpi"_s, u"96"_s,
                       u"-nolisten"_s, u"tcp"_s, u"-noreset"_s},
                      m_environment))
        return false;
    const QString display = firstLine(m_server);
    if (display.isEmpty()) {
        qWarning("Xvfb found no display");
        return false;
    }
    m_environment.insert(u"DISPLAY"_s, u':' + display);
    return true;
}

bool Desktop::startBus()
{
    if (!startProgram(m_bus, u"dbus-daemon"_s,
                      {u"--session"_s, u"--nofork"_s, u"--nopidfile"_s, u"--print-address=1"_s,
                       u"--address=unix:dir="_s + file(u"run"_s)},
                      m_environment))
        return false;
    const QString address = firstLine(m_bus);
    if (address.isEmpty()) {
        qWarning("there is no session bus");
        return false;
    }
    m_environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, address);
    return true;
}

bool Desktop::startWindowManager()
{
    if (!startProgram(m_windowManager, u"openbox"_s, {u"--sm-disable"_s}, m_environment))
        return false;
    const bool up = QTest::qWaitFor(
        [this] {
            const auto answer = ask(u"xprop"_s, {u"-root"_s, u"_NET_SUPPORTING_WM_CHECK"_s}, true);
            return answer && answer->contains("window id");
        },
        patience);
    if (!up)
        qWarning("the window manager does not come up");
    return up;
}

std::optional<QByteArray> Desktop::ask(const QString &program, const QStringList &arguments,
                                       bool failureIsExpected) const
{
    QProcess process;
    process.setProcessEnvironment(m_environment);
    process.start(program, arguments);
    const bool done = process.waitForFinished(patience);
    if (done && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0)
        return process.readAllStandardOutput();
    if (!failureIsExpected)
        qWarning("%s %s: %s %s", qPrintable(program), qPrintable(arguments.join(u' ')),
                 process.readAllStandardError().constData(), qPrintable(process.errorString()));
    return std::nullopt;
}

QList<WindowId> Desktop::windows(const QString &title) const
{
    QList<WindowId> found;
    const QString pattern = u'^' + QRegularExpression::escape(title) + u'$';
    const auto answer = ask(u"xdotool"_s, {u"search"_s, u"--onlyvisible"_s, u"--name"_s, pattern}, true);
    const QList<QByteArray> lines = answer.value_or(QByteArray()).split('\n');
    for (const QByteArray &line : lines) {
        const WindowId window = line.toULongLong();
        // The search does not tell upper case from lower.
        const auto name =
            window ? ask(u"xdotool"_s, {u"getwindowname"_s, QString::number(window)}, true) : std::nullopt;
        if (name && QString::fromUtf8(*name) == title + u'\n')
            found << window;
    }
    return found;
}

WindowId Desktop::activeWindow() const
{
    const auto answer = ask(u"xdotool"_s, {u"getactivewindow"_s}, true);
    return answer ? answer->trimmed().toULongLong() : 0;
}

QRect Desktop::geometry(WindowId window) const
{
    const auto answer = ask(u"xwininfo"_s, {u"-id"_s, QString::number(window)}, true);
    const QString text = QString::fromUtf8(answer.value_or(QByteArray()));
    const auto number = [&text](const QString &label) {
        const QRegularExpression line(label + u":\\s*(-?\\d+)"_s);
        return line.match(text).captured(1).toInt();
    };
    return {number(u"Absolute upper-left X"_s), number(u"Absolute upper-left Y"_s), number(u"Width"_s),
            number(u"Height"_s)};
}

QString Desktop::property(WindowId window, const QString &name) const
{
    // Numbers as numbers, also where they are a picture, and of a long one only the beginning.
    const auto answer = ask(u"xprop"_s, {u"-len"_s, u"4096"_s, u"-f"_s, u"_NET_WM_ICON"_s, u"32c"_s, u"-id"_s,
                                         QString::number(window), name});
    return QString::fromUtf8(answer.value_or(QByteArray()));
}

QImage Desktop::screenshot(WindowId window) const
{
    return screenshot(geometry(window));
}

QImage Desktop::screenshot(QRect part) const
{
    const QString shape = u"%1x%2+%3+%4"_s.arg(part.width()).arg(part.height()).arg(part.x()).arg(part.y());
    const auto picture = ask(
        u"import"_s, {u"-silent"_s, u"-window"_s, u"root"_s, u"-crop"_s, shape, u"+repage"_s, u"png:-"_s});
    return QImage::fromData(picture.value_or(QByteArray()), "png").convertToFormat(QImage::Format_RGB32);
}

void Desktop::tell(const QStringList &orders) const
{
    ask(u"xdotool"_s, orders);
}

void Desktop::moveMouse(QPoint to) const
{
    tell({u"mousemove"_s, QString::number(to.x()), QString::number(to.y())});
}

void Desktop::click(QPoint at) const
{
    tell({u"mousemove"_s, QString::number(at.x()), QString::number(at.y()), u"click"_s, u"1"_s});
}

void Desktop::clickWith(const QString &modifier, QPoint at) const
{
    tell({u"keydown"_s, modifier, u"mousemove"_s, QString::number(at.x()), QString::number(at.y()),
          u"click"_s, u"1"_s, u"keyup"_s, modifier});
}

void Desktop::doubleClick(QPoint at) const
{
    tell({u"mousemove"_s, QString::number(at.x()), QString::number(at.y()), u"click"_s, u"--repeat"_s, u"2"_s,
          u"--delay"_s, u"40"_s, u"1"_s});
}

void Desktop::pressMouse() const
{
    tell({u"mousedown"_s, u"1"_s});
}

void Desktop::releaseMouse() const
{
    tell({u"mouseup"_s, u"1"_s});
}

void Desktop::pressKey(const QString &key) const
{
    tell({u"key"_s, key});
}

void Desktop::type(const QString &text) const
{
    const QStringList lines = text.split(u'\n');
    for (const QString &line : lines) {
        if (&line != &lines.first())
            pressKey(u"Return"_s);
        if (!line.isEmpty())
            tell({u"type"_s, u"--delay"_s, u"4"_s, u"--"_s, line});
    }
}
