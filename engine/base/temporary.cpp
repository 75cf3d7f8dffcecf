#include "engine/base/temporary.h"

#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace
{

bool canHoldFiles(const char *path)
{
    struct stat info {
    };
    return *path == '/' && ::stat(path, &info) == 0 && S_ISDIR(info.st_mode) &&
           ::faccessat(AT_FDCWD, path, W_OK | X_OK, AT_EACCESS) == 0;
}

} // namespace

std::string systemTemporaryFolder()
{
    return P_tmpdir;
}

std::string temporaryFolder()
{
    const char *chosen = ::getenv("TMPDIR");
    return chosen && canHoldFiles(chosen) ? chosen : systemTemporaryFolder();
}
