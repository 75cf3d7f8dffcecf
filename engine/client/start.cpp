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

/// The listening socket in the place of one that an earlier server may have left; -1 on failure.
int listenAt(const Endpoint &endpoint)
{
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    endpoint.socket.copy(address.sun_path, sizeof(address.sun_path) - 1);
    ::unlink(endpoint.socket.c_str());
    if (descriptor >= 0 &&
        ::bind(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0 &&
        ::listen(descriptor, waitingConnections) == 0)
        return descriptor;
    if (descriptor >= 0)
        ::close(descriptor);
    return -1;
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

[[noreturn]] void becomeServer(int listening, int lock, const Endpoint &endpoint,
                               const std::string &executable)
{
    ::setsid();
    // The first process ends at once, so that nobody has to wait for the server's end.
    if (::fork() != 0)
        ::_exit(0);
    // Out of the way of the places that they go to.
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
    closeFrom(firstFree);
    const int nothing = ::open("/dev/null", O_RDWR);
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        // Better none than the caller's.
        if (::dup2(nothing, standard) < 0)
            ::close(standard);
    }
    // It may be one of these, where the caller had closed it.
    if (nothing > STDERR_FILENO)
        ::close(nothing);
    ::umask(S_IRWXG | S_IRWXO);
    [[maybe_unused]] const int changed = ::chdir("/");
    for (const int number : {SIGINT, SIGHUP, SIGQUIT, SIGTERM, SIGPIPE, SIGCHLD})
        ::signal(number, SIG_DFL);
    // The request to end waits until the server can take it and leave nothing.
    sigset_t ending;
    ::sigemptyset(&ending);
    ::sigaddset(&ending, SIGTERM);
    ::sigprocmask(SIG_SETMASK, &ending, nullptr);
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
    const int lock =
        ::open(endpoint.lock.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR);
    // A server that ends takes the folder with it.
    if (lock < 0)
        return errno == ENOENT ? StartOutcome::SomebodyElse : StartOutcome::Impossible;
    // The lock belongs to the open file, which the server inherits: it is free again when the last holder has
    // ended. One that ended in the meantime has removed the file.
    if (::flock(lock, LOCK_EX | LOCK_NB) != 0 || !isFileAt(lock, endpoint.lock)) {
        ::close(lock);
        return StartOutcome::SomebodyElse;
    }
    const int listening = listenAt(endpoint);
    const pid_t child = listening >= 0 ? ::fork() : -1;
    if (child == 0)
        becomeServer(listening, lock, endpoint, executable);
    if (child > 0)
        ::waitpid(child, nullptr, 0);
    else
        removeEndpoint(endpoint, lock);
    ::close(lock);
    if (listening >= 0)
        ::close(listening);
    return child > 0 ? StartOutcome::Started : StartOutcome::Impossible;
}
