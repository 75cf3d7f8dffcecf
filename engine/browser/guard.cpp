#include "engine/browser/guard.h"

#include "engine/base/environment.h"
#include "engine/browser/profilefolder.h"
#include "engine/job/failure.h"

#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <optional>
#include <unistd.h>
#include <utility>
#ifdef __linux__
#include <sys/prctl.h>
#endif

namespace
{

/// A pipe whose ends are numbered above the descriptors that the program expects.
Pipe newPipe()
{
    constexpr int firstFreeDescriptor = 6;
    std::optional<Pipe> pipe = makePipe(firstFreeDescriptor);
    if (!pipe)
        throw Failure(ExitCode::NoBrowser,
                      QStringLiteral("cannot make a pipe: %1").arg(QString::fromLocal8Bit(strerror(errno))));
    return std::move(*pipe);
}

struct Program {
    std::string path;
    std::vector<std::string> arguments;
    std::vector<std::string> environment;
    std::vector<GuardedProcess::File> files;
};

void replaceAll(std::vector<std::string> &texts, const std::string &what, const std::string &by)
{
    for (std::string &text : texts) {
        const size_t place = text.find(what);
        if (place != std::string::npos)
            text.replace(place, what.size(), by);
    }
}

void writeLine(int descriptor, const std::string &line)
{
    [[maybe_unused]] const ssize_t written = ::write(descriptor, line.data(), line.size());
}

/// `folder` is the private folder, which the program starts in.
[[noreturn]] void execute(Program &program, int input, int output, int errors, int folder)
{
    constexpr int folderNumber = 5;
    [[maybe_unused]] const int changed = ::fchdir(folder);
#ifdef __linux__
    // If the guard itself is killed, so is the program.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
#endif
    for (const int number : {SIGCHLD, SIGINT, SIGHUP, SIGQUIT, SIGTERM, SIGPIPE, SIGXFSZ})
        ::signal(number, SIG_DFL);
    const int heldFolder = ::fcntl(folder, F_DUPFD, folderNumber);
    const int null = ::open("/dev/null", O_RDWR);
    ::dup2(null, STDIN_FILENO);
    ::dup2(null, STDOUT_FILENO);
    ::dup2(errors, STDERR_FILENO);
    ::dup2(input, 3);
    ::dup2(output, 4);
    // The program holds the folder's lock too: a browser started by a shell script can outlive the guard, and
    // its folder must not be removed while it runs.
    ::dup2(heldFolder, folderNumber);
    closeDescriptorsFrom(folderNumber + 1);
    ::execve(program.path.c_str(), pointersTo(program.arguments).data(),
             pointersTo(program.environment).data());
    writeLine(STDERR_FILENO, program.path + ": " + strerror(errno) + "\n");
    ::_exit(127);
}

void writeFiles(const std::string &privateFolder, const std::vector<GuardedProcess::File> &files)
{
    for (const GuardedProcess::File &file : files) {
        const std::string folder = privateFolder + '/' + file.folder;
        ::mkdir(folder.c_str(), S_IRWXU);
        std::ofstream(folder + '/' + file.name) << file.content;
    }
}

/// The child processes of this one.
std::vector<pid_t> children()
{
    std::vector<pid_t> result;
#ifdef __linux__
    std::ifstream list("/proc/thread-self/children");
    for (pid_t child = 0; list >> child;)
        result.push_back(child);
#endif
    return result;
}

void killChildren()
{
    for (const pid_t child : children())
        ::kill(child, SIGKILL);
}

/// Kills children until none is left. On Linux the guard is a subreaper: orphaned descendants become its
/// children, also those that left the program's process group or session.
void killAllDescendants()
{
    for (;;) {
        killChildren();
        if (::waitpid(-1, nullptr, 0) < 0 && errno != EINTR)
            return;
    }
}

void closeAllBut(int lifeline, int lock)
{
    const int last = std::max(lifeline, lock);
    for (int descriptor = 0; descriptor < last; ++descriptor) {
        if (descriptor != lifeline && descriptor != lock)
            ::close(descriptor);
    }
    closeDescriptorsFrom(last + 1);
}

/// Runs in the guard process. That is forked from a process that may have several threads, so it uses only
/// system calls and memory allocation, which the C library keeps usable after a fork.
[[noreturn]] void guard(Program &program, const std::string &temporaryFolder, const Pipe &input,
                        const Pipe &output, const Pipe &errors, const Pipe &lifeline)
{
    ::setsid();
    for (const int number : {SIGINT, SIGHUP, SIGQUIT, SIGTERM, SIGPIPE})
        ::signal(number, SIG_IGN);
    ::signal(SIGCHLD, SIG_DFL);
#ifdef __linux__
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    ::prctl(PR_SET_NAME, "quirelle-guard");
#endif
    const ProfileFolder folder(temporaryFolder);
    if (!folder) {
        writeLine(errors.writeEnd.get(), "cannot make a temporary folder in " + temporaryFolder + " (" +
                                             strerror(errno) + "): name another one in TMPDIR\n");
        ::_exit(1);
    }
    replaceAll(program.arguments, "%DIR%", folder.path());
    replaceAll(program.environment, "%DIR%", folder.path());
    writeFiles(folder.path(), program.files);

    const pid_t child = ::fork();
    if (child == 0) {
        ::setpgid(0, 0);
        execute(program, input.readEnd.get(), output.writeEnd.get(), errors.writeEnd.get(), folder.lock());
    }
    ::setpgid(child, child);
    const int held = lifeline.readEnd.get();
    closeAllBut(held, folder.lock());
    [[maybe_unused]] const int changed = ::chdir("/");
    // While the program starts.
    removeLeftProfileFolders(temporaryFolder);
    char byte = 0;
    while (::read(held, &byte, 1) < 0 && errno == EINTR) {
    }
    if (child > 0) {
        ::kill(-child, SIGKILL);
        killChildren();
        // Remove the folder while they die, and below what they still wrote.
        folder.remove();
        killAllDescendants();
    }
    folder.remove();
    ::_exit(0);
}

} // namespace

GuardedProcess::GuardedProcess(const std::string &program, const std::vector<std::string> &arguments,
                               const std::vector<std::string> &environment,
                               const std::string &temporaryFolder, const std::vector<File> &files)
{
    Program toStart{program, {program}, environment, files};
    toStart.arguments.insert(toStart.arguments.end(), arguments.begin(), arguments.end());
    Pipe input = newPipe();
    Pipe output = newPipe();
    Pipe errors = newPipe();
    Pipe lifeline = newPipe();
    m_guard = ::fork();
    if (m_guard < 0)
        throw Failure(
            ExitCode::NoBrowser,
            QStringLiteral("cannot start a process: %1").arg(QString::fromLocal8Bit(strerror(errno))));
    if (m_guard == 0)
        guard(toStart, temporaryFolder, input, output, errors, lifeline);
    m_toProgram = std::move(input.writeEnd);
    m_fromProgram = std::move(output.readEnd);
    m_standardError = std::move(errors.readEnd);
    m_lifeline = std::move(lifeline.writeEnd);
}

void GuardedProcess::end()
{
    m_lifeline.reset();
}

GuardedProcess::~GuardedProcess()
{
    end();
    while (::waitpid(m_guard, nullptr, 0) < 0 && errno == EINTR) {
    }
}
