#include "engine/client/start.h"

#include "engine/base/descriptor.h"
#include "engine/base/environment.h"

#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace
{

constexpr int waitingConnections = 256;

/// A listening socket; replaces one left by an earlier server. None on failure.
Descriptor listenAt(const Endpoint &endpoint)
{
    Descriptor descriptor(::socket(AF_UNIX, SOCK_STREAM, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    endpoint.socket.copy(address.sun_path, sizeof(address.sun_path) - 1);
    ::unlink(endpoint.socket.c_str());
    if (::bind(descriptor.get(), reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0 ||
        ::listen(descriptor.get(), waitingConnections) != 0)
        descriptor.reset();
    return descriptor;
}

[[noreturn]] void executeServer(int listening, int lock, const Endpoint &endpoint,
                                const std::string &executable)
{
    ::setsid();
    // Fork twice: this process ends at once, and the server is not a child of the engine.
    if (::fork() != 0)
        ::_exit(0);
    // Move both above the numbers that they get below.
    const int firstFree = serverLock + 1;
    const int heldSocket = ::fcntl(listening, F_DUPFD, firstFree);
    const int heldLock = ::fcntl(lock, F_DUPFD, firstFree);
    if (heldSocket < 0 || heldLock < 0) {
        // Out of descriptors.
        removeEndpoint(endpoint, lock);
        ::_exit(1);
    }
    ::dup2(heldSocket, serverSocket);
    ::dup2(heldLock, serverLock);
    closeDescriptorsFrom(firstFree);
    const int null = ::open("/dev/null", O_RDWR);
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        // The server must not keep the caller's files open.
        if (::dup2(null, standard) < 0)
            ::close(standard);
    }
    // It has one of these numbers if the caller had closed that.
    if (null > STDERR_FILENO)
        ::close(null);
    ::umask(S_IRWXG | S_IRWXO);
    [[maybe_unused]] const int changed = ::chdir("/");
    for (const int number : {SIGINT, SIGHUP, SIGQUIT, SIGTERM, SIGPIPE, SIGCHLD})
        ::signal(number, SIG_DFL);
    // SIGTERM stays blocked until the server can handle it and remove its files (runServer()).
    sigset_t blocked;
    ::sigemptyset(&blocked);
    ::sigaddset(&blocked, SIGTERM);
    ::sigprocmask(SIG_SETMASK, &blocked, nullptr);
    char name[sizeof(serverName)];
    std::char_traits<char>::copy(name, serverName, sizeof(serverName));
    char *arguments[] = {name, nullptr};
    std::vector<std::string> environment = passedEnvironment();
    ::execve(executable.c_str(), arguments, pointersTo(environment).data());
    ::_exit(127);
}

} // namespace

StartOutcome startServer(const Endpoint &endpoint, const std::string &executable)
{
    const Descriptor lock(
        ::open(endpoint.lock.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
    // A server that has just ended has removed the folder.
    if (!lock)
        return errno == ENOENT ? StartOutcome::SomebodyElse : StartOutcome::Impossible;
    // The lock belongs to the open file description, which the server inherits: it is released when the last
    // holder ends. A server that has ended meanwhile has removed the file.
    if (::flock(lock.get(), LOCK_EX | LOCK_NB) != 0 || !isFileAt(lock.get(), endpoint.lock))
        return StartOutcome::SomebodyElse;
    const Descriptor listening = listenAt(endpoint);
    const pid_t child = listening ? ::fork() : -1;
    if (child == 0)
        executeServer(listening.get(), lock.get(), endpoint, executable);
    if (child > 0)
        ::waitpid(child, nullptr, 0);
    else
        removeEndpoint(endpoint, lock.get());
    return child > 0 ? StartOutcome::Started : StartOutcome::Impossible;
}
