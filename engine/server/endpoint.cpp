#include "engine/server/endpoint.h"

#include "engine/finish/finish.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>

#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <climits>
#include <cstdlib>
#include <filesystem>
#include <unistd.h>

namespace
{

/// What changes how a browser started here behaves.
constexpr const char *telltaleVariables[] = {
    "HOME",
    "PATH",
    "TMPDIR",
    "TZ",
    "LANG",
    "LANGUAGE",
    "LC_ALL",
    "LC_CTYPE",
    "LC_MESSAGES",
    "LC_NUMERIC",
    "LC_TIME",
    "LC_MEASUREMENT",
    "DISPLAY",
    "CHROMIUM_FLAGS",
    "LD_LIBRARY_PATH",
    "QUIRELLE_BROWSER",
    "QUIRELLE_NO_SANDBOX",
    "QUIRELLE_IDLE_SECONDS",
    "XDG_CONFIG_HOME",
    "XDG_CACHE_HOME",
    "XDG_DATA_HOME",
    "XDG_DATA_DIRS",
    "FONTCONFIG_FILE",
    "FONTCONFIG_PATH",
    "SSL_CERT_FILE",
    "SSL_CERT_DIR",
    "http_proxy",
    "https_proxy",
    "all_proxy",
    "no_proxy",
    "HTTP_PROXY",
    "HTTPS_PROXY",
    "ALL_PROXY",
    "NO_PROXY",
    "auto_proxy",
};

/// What the system grants a process, and so what it starts.
constexpr int tellingLimits[] = {RLIMIT_AS,    RLIMIT_CPU,    RLIMIT_DATA,
                                 RLIMIT_FSIZE, RLIMIT_NOFILE, RLIMIT_NPROC};

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
    for (const char *name : telltaleVariables) {
        const char *value = ::getenv(name);
        hash.addData(QByteArray(name) + '=' + (value ? value : "") + '\0');
    }
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

std::optional<std::string> privateFolder()
{
    const char *runtime = ::getenv("XDG_RUNTIME_DIR");
    const bool hasRuntime = runtime && *runtime == '/' && isPrivateFolder(runtime);
    const std::string path = hasRuntime ? std::string(runtime) + "/quirelle"
                                        : QFile::encodeName(QDir::tempPath()).toStdString() + "/quirelle-" +
                                              std::to_string(::geteuid());
    ::mkdir(path.c_str(), S_IRWXU);
    if (!isPrivateFolder(path))
        return std::nullopt;
    return path;
}

} // namespace

std::optional<Endpoint> findEndpoint(const std::string &executable)
{
    const std::optional<std::string> folder = privateFolder();
    if (!folder)
        return std::nullopt;
    const std::string base = *folder + "/" + identity(executable).toStdString();
    Endpoint endpoint{base + ".socket", base + ".lock"};
    if (endpoint.socket.size() >= sizeof(sockaddr_un::sun_path))
        return std::nullopt;
    return endpoint;
}

bool isFileAt(int descriptor, const std::string &path)
{
    struct stat held {
    };
    struct stat there {
    };
    return ::fstat(descriptor, &held) == 0 && ::lstat(path.c_str(), &there) == 0 &&
           held.st_dev == there.st_dev && held.st_ino == there.st_ino;
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
