#include "engine/server/endpoint.h"

#include "engine/browser/environment.h"
#include "engine/finish/finish.h"
#include "engine/job/descriptor.h"
#include "engine/job/temporary.h"

#include <QCryptographicHash>

#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <climits>
#include <cstdlib>
#include <filesystem>
#include <unistd.h>
#include <vector>

namespace
{

/// What the system grants a process, and so what it starts.
constexpr int tellingLimits[] = {RLIMIT_AS,    RLIMIT_CPU,    RLIMIT_DATA,
                                 RLIMIT_FSIZE, RLIMIT_NOFILE, RLIMIT_NPROC};

/// Those by whose leave this process, and what it starts, can open files.
std::vector<gid_t> groups()
{
    std::vector<gid_t> result(static_cast<size_t>(std::max(::getgroups(0, nullptr), 0)));
    result.resize(
        static_cast<size_t>(std::max(::getgroups(static_cast<int>(result.size()), result.data()), 0)));
    result.push_back(::getegid());
    return result;
}

QByteArray identity(const std::string &executable)
{
    QCryptographicHash hash(QCryptographicHash::Sha1);
    for (const std::string &file : {executable, pdfModuleOf(executable)}) {
        struct stat info {
        };
        if (::stat(file.c_str(), &info) != 0)
            continue;
        std::error_code ignored;
        const auto written = std::filesystem::last_write_time(file, ignored).time_since_epoch();
        for (const auto number : {static_cast<qint64>(info.st_dev), static_cast<qint64>(info.st_ino),
                                  static_cast<qint64>(info.st_size), static_cast<qint64>(info.st_ctime),
                                  static_cast<qint64>(written.count())})
            hash.addData(QByteArray::number(number) + ' ');
    }
    for (const char *space :
         {"/proc/self/ns/mnt", "/proc/self/ns/net", "/proc/self/ns/user", "/proc/self/root"}) {
        char target[PATH_MAX];
        const ssize_t size = ::readlink(space, target, sizeof(target));
        hash.addData(QByteArray(target, std::max<ssize_t>(size, 0)) + '\0');
    }
    // A server has no other variables than these.
    for (const std::string &variable : passedEnvironment())
        hash.addData(QByteArray::fromStdString(variable) + '\0');
    for (const gid_t group : groups())
        hash.addData(QByteArray::number(group) + ' ');
    for (const int kind : tellingLimits) {
        rlimit limit{};
        // The other one can be changed, up to this.
        if (::getrlimit(kind, &limit) == 0)
            hash.addData(QByteArray::number(static_cast<qulonglong>(limit.rlim_max)) + ' ');
    }
    return hash.result().toHex().left(16);
}

/// Whether this is a folder of this user's that nobody else can enter.
bool isPrivateFolder(const std::string &path)
{
    struct stat info {
    };
    return ::lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == ::geteuid() &&
           (info.st_mode & (S_IRWXG | S_IRWXO)) == 0;
}

/// Where it may be; the second one if sockets in the first would have too long a path.
std::vector<std::string> folders()
{
    const char *runtime = ::getenv("XDG_RUNTIME_DIR");
    if (runtime && *runtime == '/' && isPrivateFolder(runtime))
        return {std::string(runtime) + "/quirelle"};
    const std::string name = "/quirelle-" + std::to_string(::geteuid());
    return {temporaryFolder() + name, systemTemporaryFolder() + name};
}

} // namespace

std::optional<Endpoint> findEndpoint(const std::string &executable)
{
    const std::string name = identity(executable).toStdString();
    for (const std::string &folder : folders()) {
        const std::string base = folder + "/" + name;
        Endpoint endpoint{base + ".socket", base + ".lock"};
        if (endpoint.socket.size() >= sizeof(sockaddr_un::sun_path))
            continue;
        ::mkdir(folder.c_str(), S_IRWXU);
        return isPrivateFolder(folder) ? std::optional(endpoint) : std::nullopt;
    }
    return std::nullopt;
}

void removeEndpoint(const Endpoint &endpoint, int lock)
{
    if (!isFileAt(lock, endpoint.lock))
        return;
    // First the socket: who finds no socket but the lock waits a moment.
    ::unlink(endpoint.socket.c_str());
    ::unlink(endpoint.lock.c_str());
    ::rmdir(endpoint.socket.substr(0, endpoint.socket.rfind('/')).c_str());
}

bool peerIsSameUser(int socket)
{
#ifdef __linux__
    struct ucred peer {
    };
    socklen_t size = sizeof(peer);
    return ::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == ::geteuid();
#else
    uid_t user = 0;
    gid_t group = 0;
    return ::getpeereid(socket, &user, &group) == 0 && user == ::geteuid();
#endif
}

int idleSeconds()
{
    bool isNumber = false;
    const int seconds = qEnvironmentVariableIntValue("QUIRELLE_IDLE_SECONDS", &isNumber);
    return isNumber ? std::max(seconds, 0) : 30;
}
