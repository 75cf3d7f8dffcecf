#include "engine/base/kernelfiles.h"

#ifdef __linux__
#include <linux/magic.h>
#include <sys/vfs.h>
#endif

bool isKernelFile([[maybe_unused]] int descriptor)
{
#ifdef __linux__
    struct statfs system {
    };
    if (::fstatfs(descriptor, &system) != 0)
        return false;
    // By type, not by path: they can be mounted anywhere.
    switch (static_cast<unsigned long>(system.f_type)) {
    case PROC_SUPER_MAGIC:
    case SYSFS_MAGIC:
    case CGROUP_SUPER_MAGIC:
    case CGROUP2_SUPER_MAGIC:
    case DEBUGFS_MAGIC:
    case TRACEFS_MAGIC:
    case SECURITYFS_MAGIC:
    case SELINUX_MAGIC:
    case PSTOREFS_MAGIC:
    case EFIVARFS_MAGIC:
    case BPF_FS_MAGIC:
    case NSFS_MAGIC:
    case DEVPTS_SUPER_MAGIC:
        return true;
    default:
        return false;
    }
#else
    return false;
#endif
}
