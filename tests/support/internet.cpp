#include "tests/support/internet.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sched.h>
#include <string>
#include <unistd.h>

namespace
{

bool write(const char *path, const std::string &text)
{
    std::ofstream file(path);
    return static_cast<bool>(file << text << std::flush);
}

/// Lets the loopback interface run, and have the public address as well.
bool makeAddresses()
{
    const int socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq loopback{};
    std::strcpy(loopback.ifr_name, "lo");
    loopback.ifr_flags = IFF_UP | IFF_LOOPBACK | IFF_RUNNING;
    ifreq further{};
    std::strcpy(further.ifr_name, "lo:1");
    auto *address = reinterpret_cast<sockaddr_in *>(&further.ifr_addr);
    address->sin_family = AF_INET;
    ::inet_pton(AF_INET, publicAddress, &address->sin_addr);
    const bool made =
        ::ioctl(socket, SIOCSIFFLAGS, &loopback) == 0 && ::ioctl(socket, SIOCSIFADDR, &further) == 0;
    ::close(socket);
    return made;
}

} // namespace

QString playInternet(const QList<std::pair<QByteArray, QByteArray>> &names)
{
    const auto impossible = [](const char *what) {
        return QStringLiteral("no network of its own can be made here: %1: %2")
            .arg(QLatin1String(what), QString::fromLocal8Bit(std::strerror(errno)));
    };
    const std::string user = std::to_string(::geteuid());
    const std::string group = std::to_string(::getegid());
    const bool isRoot = user == "0";
    if (::unshare(CLONE_NEWNET | CLONE_NEWNS | (isRoot ? 0 : CLONE_NEWUSER)) != 0)
        return impossible("unshare");
    if (!isRoot &&
        (!write("/proc/self/setgroups", "deny") || !write("/proc/self/uid_map", user + ' ' + user + " 1") ||
         !write("/proc/self/gid_map", group + ' ' + group + " 1")))
        return impossible("user namespace");
    if (!makeAddresses())
        return impossible("addresses");
    // Others must not see these names.
    if (::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        return impossible("mount");
    std::string hosts = "127.0.0.1 localhost\n::1 localhost\n";
    for (const auto &[name, address] : names)
        hosts += address.toStdString() + ' ' + name.toStdString() + '\n';
    char file[] = "/tmp/quirelle-hosts-XXXXXX";
    const int descriptor = ::mkstemp(file);
    ::close(descriptor);
    const bool mounted = descriptor >= 0 && write(file, hosts) && ::chmod(file, 0644) == 0 &&
                         ::mount(file, "/etc/hosts", nullptr, MS_BIND, nullptr) == 0;
    const QString reason = mounted ? QString() : impossible("/etc/hosts");
    ::unlink(file);
    return reason;
}
