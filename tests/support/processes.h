#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

/// Reads the running processes from /proc.

struct ProcessInfo {
    qint64 id = 0;
    qint64 parent = 0;
    /// In clock ticks since the system's start: tells a process from a later one of the same id.
    quint64 started = 0;
    char state = '?';

    bool operator==(const ProcessInfo &other) const { return id == other.id && started == other.started; }
};

/// The processes that descend from `id`, without itself, children before grandchildren.
QList<ProcessInfo> descendantsOf(qint64 id);

/// Whether this very process still runs; a zombie does not.
bool isRunning(const ProcessInfo &process);
/// How many of these still run.
qsizetype runningOf(const QList<ProcessInfo> &processes);

/// The arguments of a process, separated by blanks.
QByteArray commandLineOf(const ProcessInfo &process);

/// The name that it goes by in lists, at most 15 bytes.
QByteArray nameOf(const ProcessInfo &process);

/// The processor time that it has used, in clock ticks.
qint64 ticksOf(const ProcessInfo &process);

/// The folder it is in, the session it belongs to, and the number of its terminal, 0 for none.
QString folderOf(const ProcessInfo &process);
qint64 sessionOf(const ProcessInfo &process);
qint64 terminalOf(const ProcessInfo &process);

/// What the descriptors of a process are open on, as "number path".
QStringList openFilesOf(const ProcessInfo &process);

/// The browsers' main processes among these, without the shell scripts that may lie around them.
QList<ProcessInfo> browsersIn(const QList<ProcessInfo> &processes);

/// The TCP ports, of both address families, that these processes listen on.
QList<int> listeningPortsOf(const QList<ProcessInfo> &processes);

/// All processes whose arguments or environment hold `text`.
QList<ProcessInfo> processesMentioning(const QByteArray &text);

/// All processes of engines that have `folder` for their temporary or runtime files. As an ordinary user it
/// cannot be read whose those of the engine itself are: then they are all that descend from this program,
/// which adopts servers for that once it has called adoptOrphans().
QList<ProcessInfo> processesOf(const QString &folder);
void adoptOrphans();

/// Whether the environment, descriptors and folder of this process can be read: not of the engine's own by an
/// ordinary user.
bool isOpen(const ProcessInfo &process);
