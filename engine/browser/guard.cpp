#include "engine/browser/guard.h"

#include "engine/job/failure.h"

#include <sys/wait.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <unistd.h>
#ifdef __linux__
#include <sys/prctl.h>
#else
extern char **environ;
#endif

namespace
{

/// A pipe whose ends lie above the descriptors that the program expects, and are closed in other programs.
class Pipe
{
public:
    Pipe()
    {
        std::array<int, 2> ends{};
        if (::pipe(ends.data()) != 0)
            throw Failure(
                ExitCode::NoBrowser,
                QStringLiteral("cannot make a pipe: %1").arg(QString::fromLocal8Bit(strerror(errno))));
        for (size_t i = 0; i < ends.size(); ++i) {
            m_ends[i] = ::fcntl(ends[i], F_DUPFD_CLOEXEC, firstFreeDescriptor);
            ::close(ends[i]);
        }
        if (m_ends[0] < 0 || m_ends[1] < 0)
            throw Failure(ExitCode::NoBrowser, QStringLiteral("no file descriptor left"));
    }
    Pipe(const Pipe &) = delete;
    Pipe &operator=(const Pipe &) = delete;
    ~Pipe()
    {
        for (const int end : m_ends) {
            if (end >= 0)
                ::close(end);
        }
    }

    int readEnd() const { return m_ends[0]; }
    int writeEnd() const { return m_ends[1]; }
    int takeReadEnd() { return std::exchange(m_ends[0], -1); }
    int takeWriteEnd() { return std::exchange(m_ends[1], -1); }

private:
    static constexpr int firstFreeDescriptor = 5;
    std::array<int, 2> m_ends{-1, -1};
};

struct Program {
    std::string path;
    std::vector<std::string> arguments;
    std::vector<std::string> environment;
};

void replaceAll(std::vector<std::string> &texts, const std::string &what, const std::string &by)
{
    for (std::string &text : texts) {
        const size_t place = text.find(what);
        if (place != std::string::npos)
            text.replace(place, what.size(), by);
    }
}

std::vector<char *> pointersTo(std::vector<std::string> &texts)
{
    std::vector<char *> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string &text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

/// This process's environment with `changes` (NAME=value each) made to it.
std::vector<std::string> environmentWith(const std::vector<std::string> &changes)
{
    std::vector<std::string> result;
    for (char **entry = environ; *entry; ++entry) {
        const std::string text = *entry;
        const std::string name = text.substr(0, text.find('=') + 1);
        bool changed = false;
        for (const std::string &change : changes)
            changed = changed || change.compare(0, name.size(), name) == 0;
        if (!changed)
            result.push_back(text);
    }
    result.insert(result.end(), changes.begin(), changes.end());
    return result;
}

void say(int descriptor, const std::string &line)
{
    [[maybe_unused]] const ssize_t written = ::write(descriptor, line.data(), line.size());
}

void closeFrom(int first)
{
#ifdef __linux__
    ::close_range(static_cast<unsigned>(first), ~0U, 0);
#else
    for (int descriptor = first; descriptor < ::getdtablesize(); ++descriptor)
        ::close(descriptor);
#endif
}

[[noreturn]] void becomeProgram(Program &program, int input, int output, int errors)
{
#ifdef __linux__
    // Should the guard itself be killed, the program does not outlive it.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
#endif
    for (const int number : {SIGCHLD, SIGINT, SIGHUP, SIGQUIT, SIGTERM, SIGPIPE, SIGXFSZ})
        ::signal(number, SIG_DFL);
    const int nothing = ::open("/dev/null", O_RDWR);
    ::dup2(nothing, STDIN_FILENO);
    ::dup2(nothing, STDOUT_FILENO);
    ::dup2(errors, STDERR_FILENO);
    ::dup2(input, 3);
    ::dup2(output, 4);
    closeFrom(5);
    ::execve(program.path.c_str(), pointersTo(program.arguments).data(),
             pointersTo(program.environment).data());
    say(STDERR_FILENO, program.path + ": " + strerror(errno) + "\n");
    ::_exit(127);
}

/// The processes that this one is the parent of.
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

/// Kills what has become this process's child until none is left. On Linux orphans become children of the
/// guard, so none escapes by having left the program's group or session.
void killToTheLast()
{
    for (;;) {
        killChildren();
        if (::waitpid(-1, nullptr, 0) < 0 && errno != EINTR)
            return;
    }
}

void closeAllBut(int keptDescriptor)
{
    ::close(STDIN_FILENO);
    ::close(STDOUT_FILENO);
    ::close(STDERR_FILENO);
    for (int descriptor = STDERR_FILENO + 1; descriptor < keptDescriptor; ++descriptor)
        ::close(descriptor);
    closeFrom(keptDescriptor + 1);
}

/// The guard's whole life, in a process forked from one that may have several threads: only system calls and
/// memory allocation, which the C library keeps usable after a fork.
[[noreturn]] void guard(Program &program, std::string folder, const Pipe &input, const Pipe &output,
                        const Pipe &errors, const Pipe &leash)
{
    ::setsid();
    for (const int number : {SIGINT, SIGHUP, SIGQUIT, SIGTERM, SIGPIPE})
        ::signal(number, SIG_IGN);
    ::signal(SIGCHLD, SIG_DFL);
#ifdef __linux__
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    ::prctl(PR_SET_NAME, "quirelle-guard");
#endif
    if (!::mkdtemp(folder.data())) {
        say(errors.writeEnd(), "cannot make a temporary folder (" + folder + "): " + strerror(errno) + "\n");
        ::_exit(1);
    }
    replaceAll(program.arguments, "%DIR%", folder);
    replaceAll(program.environment, "%DIR%", folder);

    const pid_t child = ::fork();
    if (child == 0) {
        ::setpgid(0, 0);
        becomeProgram(program, input.readEnd(), output.writeEnd(), errors.writeEnd());
    }
    ::setpgid(child, child);
    const int held = leash.readEnd();
    closeAllBut(held);
    [[maybe_unused]] const int changed = ::chdir("/");
    char byte = 0;
    while (::read(held, &byte, 1) < 0 && errno == EINTR) {
    }
    std::error_code ignored;
    if (child > 0) {
        ::kill(-child, SIGKILL);
        killChildren();
        // Their ends take a while; what they still write meanwhile is removed after it.
        std::filesystem::remove_all(folder, ignored);
        killToTheLast();
    }
    std::filesystem::remove_all(folder, ignored);
    ::_exit(0);
}

} // namespace

GuardedProcess::GuardedProcess(const std::string &program, const std::vector<std::string> &arguments,
                               const std::vector<std::string> &environment,
                               const std::string &temporaryFolder)
{
    Program toStart{program, {program}, environmentWith(environment)};
    toStart.arguments.insert(toStart.arguments.end(), arguments.begin(), arguments.end());
    Pipe input;
    Pipe output;
    Pipe errors;
    Pipe leash;
    m_guard = ::fork();
    if (m_guard < 0)
        throw Failure(
            ExitCode::NoBrowser,
            QStringLiteral("cannot start a process: %1").arg(QString::fromLocal8Bit(strerror(errno))));
    if (m_guard == 0)
        guard(toStart, temporaryFolder + "/quirelle-XXXXXX", input, output, errors, leash);
    m_toProgram = input.takeWriteEnd();
    m_fromProgram = output.takeReadEnd();
    m_standardError = errors.takeReadEnd();
    m_leash = leash.takeWriteEnd();
}

void GuardedProcess::end()
{
    if (m_leash >= 0)
        ::close(std::exchange(m_leash, -1));
}

GuardedProcess::~GuardedProcess()
{
    end();
    for (const int descriptor : {m_toProgram, m_fromProgram, m_standardError})
        ::close(descriptor);
    while (::waitpid(m_guard, nullptr, 0) < 0 && errno == EINTR) {
    }
}
