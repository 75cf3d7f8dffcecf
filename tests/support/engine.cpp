#include "tests/support/engine.h"

#include "tests/support/waiting.h"

#include <QDir>

#include <csignal>

QByteArray Conversion::flaw() const
{
    if (run.exitCode != 0)
        return (run.outOfTime ? QByteArray("did not end") : "exit code " + QByteArray::number(run.exitCode)) +
               ": " + run.errors;
    if (warnings().join() != run.errors)
        return "standard error holds more than warnings: " + run.errors;
    return pdf().complaint().toUtf8();
}

QByteArrayList Conversion::warnings() const
{
    QByteArrayList lines;
    for (const QByteArray &line : run.errors.split('\n')) {
        if (line.startsWith("quirelle: warning: "))
            lines += line + '\n';
    }
    return lines;
}

QByteArray Conversion::flawAsFailure(int exitCode) const
{
    if (run.exitCode != exitCode)
        return (run.outOfTime ? QByteArray("did not end")
                              : "exit code " + QByteArray::number(run.exitCode) + " instead of " +
                                    QByteArray::number(exitCode)) +
               ": " + run.errors;
    if (!run.errors.startsWith("quirelle: ") || !run.errors.endsWith('\n') || run.errors.count('\n') != 1)
        return "standard error is not one line with a reason: " + run.errors;
    if (!run.output.isEmpty())
        return "standard output is not empty: " + run.output;
    return {};
}

Engine::Engine() : m_environment(QProcessEnvironment::systemEnvironment())
{
    adoptOrphans();
    setVariable(QStringLiteral("TMPDIR"), m_folder.makeFolder(QStringLiteral("tmp")));
    setVariable(QStringLiteral("XDG_STATE_HOME"), m_folder.makeFolder(QStringLiteral("state")));
    setVariable(QStringLiteral("HOME"), m_folder.makeFolder(QStringLiteral("home")));
    setVariable(QStringLiteral("XDG_RUNTIME_DIR"), m_folder.makeFolder(QStringLiteral("run")));
    QFile::setPermissions(runtimeFolder(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    setIdleSeconds(qEnvironmentVariableIntValue("QUIRELLE_TEST_WARM") == 1 ? 30 : 0);
}

Engine::~Engine()
{
    if (!endServers())
        qWarning("a server does not end");
}

QString Engine::program()
{
    return QStringLiteral(QUIRELLE_ENGINE);
}

QString Engine::freshOutput()
{
    return path(QStringLiteral("output-%1.pdf").arg(++m_outputs));
}

Conversion Engine::convert(const QString &input, const QStringList &options)
{
    const QString output = freshOutput();
    return {run(options + QStringList{input, output}), output};
}

Conversion Engine::convertText(const QByteArray &html, const QStringList &options)
{
    const QString input = write(QStringLiteral("input-%1.html").arg(m_outputs + 1), html);
    return convert(input, options);
}

std::vector<Conversion> Engine::convertAll(const QList<Task> &tasks)
{
    std::vector<std::unique_ptr<QProcess>> processes;
    std::vector<Conversion> conversions;
    for (const Task &task : tasks) {
        conversions.push_back({{}, freshOutput()});
        processes.push_back(start(task.options + QStringList{task.input, conversions.back().output}));
    }
    for (size_t i = 0; i < processes.size(); ++i) {
        ProgramResult &run = conversions[i].run;
        run.outOfTime = !processes[i]->waitForFinished(90000);
        if (run.outOfTime) {
            processes[i]->kill();
            processes[i]->waitForFinished();
        } else if (processes[i]->exitStatus() == QProcess::NormalExit) {
            run.exitCode = processes[i]->exitCode();
        }
        run.output = processes[i]->readAllStandardOutput();
        run.errors = processes[i]->readAllStandardError();
    }
    return conversions;
}

std::vector<Conversion> Engine::convertTexts(const QByteArrayList &texts, const QStringList &options)
{
    QList<Task> tasks;
    for (const QByteArray &html : texts) {
        const qsizetype number = m_outputs + 1 + tasks.size();
        tasks += {write(QStringLiteral("input-%1.html").arg(number), html), options};
    }
    return convertAll(tasks);
}

ProgramResult Engine::run(const QStringList &arguments) const
{
    return runProgram(program(), arguments, {m_environment, documents(), std::chrono::seconds(90)});
}

std::unique_ptr<QProcess> Engine::start(const QStringList &arguments) const
{
    auto process = std::make_unique<QProcess>();
    process->setProcessEnvironment(m_environment);
    process->setWorkingDirectory(documents());
    process->start(program(), arguments);
    if (!process->waitForStarted())
        qFatal("%s: %s", qPrintable(program()), qPrintable(process->errorString()));
    return process;
}

void Engine::setVariable(const QString &name, const QString &value)
{
    if (value.isNull())
        m_environment.remove(name);
    else
        m_environment.insert(name, value);
}

void Engine::setIdleSeconds(int seconds)
{
    setVariable(QStringLiteral("QUIRELLE_IDLE_SECONDS"), QString::number(seconds));
}

QList<ProcessInfo> Engine::servers() const
{
    QList<ProcessInfo> found;
    for (const ProcessInfo &process : processesOf(runtimeFolder())) {
        // The guards of its browsers have its command line, too.
        if (commandLineOf(process) == "quirelle-server" && nameOf(process) != "quirelle-guard")
            found += process;
    }
    return found;
}

bool Engine::endServers() const
{
    QList<ProcessInfo> processes;
    for (const ProcessInfo &server : servers()) {
        processes += descendantsOf(server.id) + QList{server};
        ::kill(static_cast<pid_t>(server.id), SIGTERM);
        // Wakes one that has been stopped.
        ::kill(static_cast<pid_t>(server.id), SIGCONT);
    }
    return waitUntil([&] { return runningOf(processes) == 0; });
}

QString Engine::logPath() const
{
    return m_folder.path(QStringLiteral("state/quirelle/engine.log"));
}

QStringList Engine::logLines() const
{
    return QString::fromUtf8(contentOf(logPath())).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

QString Engine::leftBehind() const
{
    QStringList found;
    if (!endServers())
        found += QStringLiteral("a server");
    const auto everything = QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot;
    for (const QString &name : QDir(temporaryFolder()).entryList(everything))
        found += QStringLiteral("in the temporary folder: ") + name;
    for (const QString &name : QDir(documents()).entryList({QStringLiteral(".quirelle-*")}, everything))
        found += QStringLiteral("beside the documents: ") + name;
    for (const QString &name : QDir(runtimeFolder()).entryList(everything))
        found += QStringLiteral("in the runtime folder: ") + name;
    for (const ProcessInfo &process : processesOf(home()))
        found += QStringLiteral("process %1").arg(process.id);
    return found.join(u'\n');
}
