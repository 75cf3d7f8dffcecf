#include "engine/base/modules.h"

#include <climits>
#include <cstdlib>
#include <unistd.h>
#ifdef __APPLE__
#include <mach-o/dyld.h>
#endif

namespace
{

std::string beside(const std::string &executable, const char *name)
{
    return executable.substr(0, executable.rfind('/') + 1) + name;
}

} // namespace

std::string executablePath()
{
    char path[PATH_MAX];
#ifdef __APPLE__
    char found[PATH_MAX];
    uint32_t size = sizeof(found);
    return _NSGetExecutablePath(found, &size) == 0 && ::realpath(found, path) ? path : "";
#else
    const ssize_t size = ::readlink("/proc/self/exe", path, sizeof(path));
    return {path, static_cast<size_t>(size > 0 ? size : 0)};
#endif
}

std::string engineModuleOf(const std::string &executable)
{
    return beside(executable, QUIRELLE_ENGINE_MODULE);
}

std::string pdfModuleOf(const std::string &executable)
{
    return beside(executable, QUIRELLE_PDF_MODULE);
}

std::string hyphenationModuleOf(const std::string &executable)
{
    return beside(executable, QUIRELLE_HYPHENATION_MODULE);
}
