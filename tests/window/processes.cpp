#include "tests/window/processes.h"

#include <QDir>
#include <QFile>
#include <QHash>

#include <sys/prctl.h>
#include <sys/wait.h>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

struct Process {
    qint64 parent = 0;
    QString name;
};

QHash<qint64, Process> runningProcesses()
{
    QHash<qint64, Process> processes;
    const QStringList ids = QDir(u"/proc"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &id : ids) {
        QFile file(u"/proc/"_s + id + u"/stat"_s);
        if (id.toLongLong() == 0 || !file.open(QIODevice::ReadOnly))
            continue;
        // "pid (name) state parent …", and the name may hold anything.
        const QString line = QString::fromUtf8(file.readAll());
        const qsizetype nameEnd = line.lastIndexOf(u')');
        const QStringList rest = line.mid(nameEnd + 2).split(u' ');
        if (rest.size() < 2 || rest.at(0) == "Z"_L1 || rest.at(0) == "X"_L1)
            continue;
        const qsizetype nameStart = line.indexOf(u'(') + 1;
        processes.insert(id.toLongLong(),
                         {rest.at(1).toLongLong(), line.mid(nameStart, nameEnd - nameStart)});
    }
    return processes;
}

bool descendsFrom(const QHash<qint64, Process> &processes, qint64 id, qint64 ancestor)
{
    for (; id > 1; id = processes.value(id).parent) {
        if (id == ancestor)
            return true;
    }
    return false;
}

} // namespace

void becomeSubreaper()
{
    ::prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0);
}

void reapDescendants()
{
    while (::waitpid(-1, nullptr, WNOHANG) > 0) {
    }
}

QStringList engineProcesses()
{
    QStringList names;
    const QHash<qint64, Process> processes = runningProcesses();
    for (auto process = processes.cbegin(); process != processes.cend(); ++process) {
        const QString &name = process->name;
        const bool wanted = name == "quirelle"_L1 || name.startsWith("chrom"_L1) ||
                            name.startsWith("headless"_L1) || name.contains("google-chrome"_L1);
        if (wanted && descendsFrom(processes, process.key(), ::getpid()))
            names << name;
    }
    return names;
}

qint64 serverProcess()
{
    const QHash<qint64, Process> processes = runningProcesses();
    for (auto process = processes.cbegin(); process != processes.cend(); ++process) {
        QFile arguments(u"/proc/%1/cmdline"_s.arg(process.key()));
        if (process->name == "quirelle-server"_L1 && descendsFrom(processes, process.key(), ::getpid()) &&
            arguments.open(QIODevice::ReadOnly) && arguments.readAll().startsWith("quirelle-server"))
            return process.key();
    }
    return 0;
}
