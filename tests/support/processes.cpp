#include "tests/support/processes.h"

#include "tests/support/temporaryfolder.h"

#include <QDir>
#include <QFileInfo>
#include <QSet>

#include <sys/prctl.h>

#include <optional>
#include <unistd.h>

namespace
{

QString fileOf(qint64 id, const char *name)
{
    return QStringLiteral("/proc/%1/%2").arg(id).arg(QLatin1String(name));
}

/// From the state on; what stands in front of it is the name.
QList<QByteArray> statusOf(qint64 id)
{
    const QByteArray line = contentOf(fileOf(id, "stat"));
    // The name in parentheses may hold anything.
    return line.mid(line.lastIndexOf(')') + 2).split(' ');
}

std::optional<ProcessInfo> processInfo(qint64 id)
{
    const QList<QByteArray> fields = statusOf(id);
    if (fields.size() < 20)
        return std::nullopt;
    return ProcessInfo{id, fields[1].toLongLong(), fields[19].toULongLong(), fields[0].at(0)};
}

QList<ProcessInfo> allProcesses()
{
    QList<ProcessInfo> result;
    for (const QString &name : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs)) {
        bool isNumber = false;
        const qint64 id = name.toLongLong(&isNumber);
        if (!isNumber)
            continue;
        if (const auto info = processInfo(id))
            result += *info;
    }
    return result;
}

/// The inodes of the sockets that listen.
QHash<QByteArray, int> listeningSockets()
{
    QHash<QByteArray, int> result;
    for (const char *table : {"/proc/net/tcp", "/proc/net/tcp6"}) {
        for (const QByteArray &line : contentOf(QLatin1String(table)).split('\n')) {
            const QList<QByteArray> fields = line.simplified().split(' ');
            if (fields.size() > 9 && fields[3] == "0A")
                result.insert(fields[9], fields[1].mid(fields[1].lastIndexOf(':') + 1).toInt(nullptr, 16));
        }
    }
    return result;
}

} // namespace

QList<ProcessInfo> descendantsOf(qint64 id)
{
    const QList<ProcessInfo> all = allProcesses();
    QList<ProcessInfo> result;
    QList<qint64> parents{id};
    while (!parents.isEmpty()) {
        const qint64 parent = parents.takeFirst();
        for (const ProcessInfo &process : all) {
            if (process.parent == parent) {
                result += process;
                parents += process.id;
            }
        }
    }
    return result;
}

bool isRunning(const ProcessInfo &process)
{
    const auto now = processInfo(process.id);
    return now && *now == process && now->state != 'Z' && now->state != 'X';
}

qsizetype runningOf(const QList<ProcessInfo> &processes)
{
    return std::count_if(processes.begin(), processes.end(), isRunning);
}

QByteArray commandLineOf(const ProcessInfo &process)
{
    return contentOf(fileOf(process.id, "cmdline")).replace('\0', ' ').trimmed();
}

QByteArray nameOf(const ProcessInfo &process)
{
    return contentOf(fileOf(process.id, "comm")).trimmed();
}

qint64 ticksOf(const ProcessInfo &process)
{
    const QList<QByteArray> fields = statusOf(process.id);
    return fields.value(11).toLongLong() + fields.value(12).toLongLong();
}

QString folderOf(const ProcessInfo &process)
{
    return QFileInfo(fileOf(process.id, "cwd")).symLinkTarget();
}

qint64 sessionOf(const ProcessInfo &process)
{
    return statusOf(process.id).value(3).toLongLong();
}

qint64 terminalOf(const ProcessInfo &process)
{
    return statusOf(process.id).value(4).toLongLong();
}

QStringList openFilesOf(const ProcessInfo &process)
{
    QStringList result;
    const QDir folder(fileOf(process.id, "fd"));
    for (const QString &number :
         folder.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot | QDir::Hidden)) {
        QByteArray target(4096, '\0');
        const ssize_t size = ::readlink(QFile::encodeName(folder.filePath(number)).constData(), target.data(),
                                        static_cast<size_t>(target.size()));
        if (size > 0)
            result += number + QLatin1Char(' ') + QFile::decodeName(target.left(size));
    }
    return result;
}

QList<ProcessInfo> browsersIn(const QList<ProcessInfo> &processes)
{
    QList<ProcessInfo> found;
    for (const ProcessInfo &process : processes) {
        const QByteArray line = commandLineOf(process);
        if (line.contains("--remote-debugging-pipe") && !line.contains("--type=") &&
            nameOf(process) != "sh" && !line.startsWith("/bin/sh "))
            found += process;
    }
    return found;
}

QList<int> listeningPortsOf(const QList<ProcessInfo> &processes)
{
    const QHash<QByteArray, int> sockets = listeningSockets();
    QList<int> result;
    for (const ProcessInfo &process : processes) {
        for (const QString &file : openFilesOf(process)) {
            const qsizetype at = file.indexOf(QLatin1String("socket:["));
            if (at < 0)
                continue;
            const QByteArray inode = file.mid(at + 8).chopped(1).toLatin1();
            if (sockets.contains(inode))
                result += sockets.value(inode);
        }
    }
    return result;
}

QList<ProcessInfo> processesMentioning(const QByteArray &text)
{
    QList<ProcessInfo> result;
    for (const ProcessInfo &process : allProcesses()) {
        if (process.id == ::getpid() || !isRunning(process))
            continue;
        if (contentOf(fileOf(process.id, "cmdline")).contains(text) ||
            contentOf(fileOf(process.id, "environ")).contains(text))
            result += process;
    }
    return result;
}

QList<ProcessInfo> processesOf(const QString &folder)
{
    QList<ProcessInfo> result = processesMentioning(QFile::encodeName(folder));
    for (const ProcessInfo &process : descendantsOf(::getpid())) {
        if (isRunning(process) && !isOpen(process) && nameOf(process).startsWith("quirelle") &&
            !result.contains(process))
            result += process;
    }
    return result;
}

void adoptOrphans()
{
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
}

bool isOpen(const ProcessInfo &process)
{
    return QFile(fileOf(process.id, "environ")).open(QFile::ReadOnly);
}
