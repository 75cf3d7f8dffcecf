#include "engine/browser/processes.h"

#include <filesystem>
#include <fstream>

namespace
{

constexpr int maximumDepth = 16;

void addDescendants(const std::string &process, int depth, std::vector<std::string> &all)
{
    if (depth == 0)
        return;
    for (const std::string &child : childrenOf(process)) {
        all.push_back(child);
        addDescendants(child, depth - 1, all);
    }
}

} // namespace

std::vector<std::string> childrenOf([[maybe_unused]] const std::string &process)
{
    std::vector<std::string> result;
#ifdef __linux__
    std::error_code ended;
    for (std::filesystem::directory_iterator thread("/proc/" + process + "/task", ended), end;
         !ended && thread != end; thread.increment(ended)) {
        std::ifstream children(thread->path() / "children");
        for (std::string child; children >> child;)
            result.push_back(child);
    }
#endif
    return result;
}

std::vector<std::string> descendantsOf(const std::string &process)
{
    std::vector<std::string> result;
    addDescendants(process, maximumDepth, result);
    return result;
}

bool isRenderer([[maybe_unused]] const std::string &process)
{
#ifdef __linux__
    std::ifstream file("/proc/" + process + "/cmdline");
    // Reading fails, and leaves the line empty, if the process has just ended.
    std::string line;
    std::getline(file, line);
    return line.find("--type=renderer") != std::string::npos;
#else
    return false;
#endif
}
