#include "engine/client/endpoint.h"

#include "engine/base/descriptor.h"
#include "engine/base/environment.h"
#include "engine/base/modules.h"
#include "engine/base/temporary.h"

#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace
{

/// Resource limits that a browser inherits: clients share a server only if these are equal.
constexpr int comparedLimits[] = {RLIMIT_AS,    RLIMIT_CPU,    RLIMIT_DATA,
                                  RLIMIT_FSIZE, RLIMIT_NOFILE, RLIMIT_NPROC};

/// The supplementary groups and the effective group of this process.
std::vector<gid_t> groups()
{
    std::vector<gid_t> result(static_cast<size_t>(std::max(::getgroups(0, nullptr), 0)));
    result.resize(
        static_cast<size_t>(std::max(::getgroups(static_cast<int>(result.size()), result.data()), 0)));
    result.push_back(::getegid());
    return result;
}

/// An FNV-1a hash.
class Hash
{
public:
    void add(std::string_view text)
    {
        for (const char byte : text)
            addByte(static_cast<unsigned char>(byte));
        addByte(0);
    }
    template <typename Number>
    void addNumber(Number number)
    {
        add(std::to_string(number));
    }
    std::string hex() const
    {
        char text[17];
        std::snprintf(text, sizeof(text), "%016llx", static_cast<unsigned long long>(m_value));
        return text;
    }

private:
    void addByte(unsigned char byte) { m_value = (m_value ^ byte) * 0x100000001b3; }

    uint64_t m_value = 0xcbf29ce484222325;
};

timespec modificationTime(const struct stat &info)
{
#ifdef __APPLE__
    return info.st_mtimespec;
#else
    return info.st_mtim;
#endif
}

/// A hash of all that must be equal for clients to share a server.
std::string identity(const std::string &executable)
{
    Hash hash;
    for (const std::string &file : {executable, engineModuleOf(executable), pdfModuleOf(executable)}) {
        struct stat info {
        };
        if (::stat(file.c_str(), &info) != 0)
            continue;
        hash.addNumber(info.st_dev);
        hash.addNumber(info.st_ino);
        hash.addNumber(info.st_size);
        hash.addNumber(info.st_ctime);
        hash.addNumber(modificationTime(info).tv_sec);
        hash.addNumber(modificationTime(info).tv_nsec);
    }
    for (const char *space :
         {"/proc/self/ns/mnt", "/proc/self/ns/net", "/proc/self/ns/user", "/proc/self/root"}) {
        char target[PATH_MAX];
        const ssize_t size = ::readlink(space, target, sizeof(target));
        hash.add({target, static_cast<size_t>(std::max<ssize_t>(size, 0))});
    }
    // The server inherits exactly these variables.
    for (const std::string &variable : passedEnvironment())
        hash.add(variable);
    for (const gid_t group : groups())
        hash.addNumber(group);
    for (const int kind : comparedLimits) {
        rlimit limit{};
        // Hard limits only: a process can change its soft limits up to these.
        if (::getrlimit(kind, &limit) == 0)
            hash.addNumber(limit.rlim_max);
    }
    return hash.hex();
}

/// Whether this is a folder of this user that no other user can enter.
bool isPrivateFolder(const std::string &path)
{
    struct stat info {
    };
    return ::lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == ::geteuid() &&
           (info.st_mode & (S_IRWXG | S_IRWXO)) == 0;
}

/// The folders for the endpoint in order of preference; a later one is used if the socket's path would be too
/// long in the ones before.
std::vector<std::string> folders()
{
    const char *runtime = ::getenv("XDG_RUNTIME_DIR");
    if (runtime && *runtime == '/' && isPrivateFolder(runtime))
        return {std::string(runtime) + "/quirelle"};
    const std::string name = "/quirelle-" + std::to_string(::geteuid());
    return {temporaryFolder() + name, systemTemporaryFolder() + name};
}

} // namespace

std::optional<Endpoint> findEndpoint(const std::string &executable, IfNone ifNone)
{
    const std::string name = identity(executable);
    for (const std::string &folder : folders()) {
        const std::string base = folder + "/" + name;
        Endpoint endpoint{base + ".socket", base + ".lock"};
        if (endpoint.socket.size() >= sizeof(sockaddr_un::sun_path))
            continue;
        if (ifNone == IfNone::Start)
            ::mkdir(folder.c_str(), S_IRWXU);
        return isPrivateFolder(folder) ? std::optional(endpoint) : std::nullopt;
    }
    return std::nullopt;
}

void removeEndpoint(const Endpoint &endpoint, int lock)
{
    if (!isFileAt(lock, endpoint.lock))
        return;
    // The socket first: a client that finds the lock but no socket waits and tries again.
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
    constexpr int defaultSeconds = 30;
    const char *text = ::getenv("QUIRELLE_IDLE_SECONDS");
    if (!text || !*text)
        return defaultSeconds;
    char *end = nullptr;
    errno = 0;
    const long seconds = std::strtol(text, &end, 10);
    if (*end || errno != 0 || seconds > INT_MAX)
        return defaultSeconds;
    return static_cast<int>(std::max(seconds, 0L));
}
