#include "engine/browser/sandbox.h"

#include "engine/base/deadline.h"
#include "engine/browser/processes.h"

#include <algorithm>
#include <fstream>
#include <optional>
#include <thread>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace
{

struct KernelSetting {
    const char *name;
    /// With this value users make no user namespaces; or not those of programs that AppArmor does not know.
    int forbidding;
    const char *advice;
};

constexpr KernelSetting settings[] = {
    {"/proc/sys/kernel/unprivileged_userns_clone", 0, "sysctl kernel.unprivileged_userns_clone=1"},
    {"/proc/sys/user/max_user_namespaces", 0, "sysctl user.max_user_namespaces=10000"},
    {"/proc/sys/kernel/apparmor_restrict_unprivileged_userns", 1,
     "sysctl kernel.apparmor_restrict_unprivileged_userns=0"},
};

std::optional<int> valueOf(const char *setting)
{
    std::ifstream file(setting);
    int value = 0;
    return file >> value ? std::optional(value) : std::nullopt;
}

/// Whether system calls of this process are filtered; nothing if it has ended.
std::optional<bool> isSandboxed(const std::string &process)
{
    std::ifstream status("/proc/" + process + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("Seccomp:"))
            return line.ends_with('2');
    }
    return std::nullopt;
}

Confinement confinementNow(int process)
{
    Confinement confinement = Confinement::Unknown;
    for (const std::string &descendant : descendantsOf(std::to_string(process))) {
        const std::optional<bool> found =
            typeOf(descendant) == "renderer" ? isSandboxed(descendant) : std::nullopt;
        if (found == false)
            return Confinement::Unconfined;
        if (found == true)
            confinement = Confinement::Sandboxed;
    }
    return confinement;
}

} // namespace

QString sandboxAdvice()
{
    QString how = u"in a container: by a seccomp profile that allows it, with the capability SYS_CHROOT"_s;
    for (const KernelSetting &setting : settings) {
        if (valueOf(setting.name) == setting.forbidding)
            how = QLatin1String(setting.advice);
    }
    return u"install the package chromium-sandbox, or let users make user namespaces (%1)"_s.arg(how);
}

Confinement confinementOfRenderers(int process)
{
    constexpr auto interval = 10ms;
    const Deadline bound = Deadline::in(1s);
    Confinement confinement = confinementNow(process);
    while (confinement == Confinement::Unconfined && !bound.passed()) {
        std::this_thread::sleep_for(interval);
        confinement = confinementNow(process);
    }
    return confinement;
}
