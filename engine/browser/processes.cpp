#include "engine/browser/processes.h"

#include <filesystem>
#include <fstream>

namespace
{

#ifdef __linux__
template <typename Visit>
void forEachThread(const std::string &process, const Visit &visit)
{
    std::error_code ended;
    for (std::filesystem::directory_iterator thread("/proc/" + process + "/task", ended), end;
         !ended && thread != end; thread.increment(ended))
        visit(thread->path());
}

/// The field after the name, which stands in parentheses and may hold any character.
char stateOf(const std::filesystem::path &thread)
{
    std::ifstream file(thread / "stat");
    std::string line;
    std::getline(file, line);
    const size_t name = line.rfind(')');
    return name != std::string::npos && name + 2 < line.size() ? line[name + 2] : ' ';
}
#endif

} // namespace

std::vector<std::string> childrenOf([[maybe_unused]] const std::string &process)
{
    std::vector<std::string> result;
#ifdef __linux__
    forEachThread(process, [&](const std::filesystem::path &thread) {
        std::ifstream children(thread / "children");
        for (std::string child; children >> child;)
            result.push_back(child);
    });
#endif
    return result;
}

bool isBusy([[maybe_unused]] const std::string &process)
{
#ifdef __linux__
    bool busy = false;
    forEachThread(process, [&](const std::filesystem::path &thread) {
        const char state = busy ? 'R' : stateOf(thread);
        busy = state == 'R' || state == 'D';
    });
    if (busy)
        return true;
    for (const std::string &child : childrenOf(process)) {
        if (isBusy(child))
            return true;
    }
#endif
    return false;
}
