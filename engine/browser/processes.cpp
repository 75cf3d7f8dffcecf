#include "engine/browser/processes.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string_view>

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

std::string typeOf([[maybe_unused]] const std::string &process)
{
    std::string type;
#ifdef __linux__
    std::ifstream file("/proc/" + process + "/cmdline");
    // Reading fails, and leaves the line empty, if the process has just ended.
    std::string line;
    std::getline(file, line);
    const std::string option = "--type=";
    if (const size_t begin = line.find(option); begin != std::string::npos)
        type = line.substr(begin + option.size());
    // The arguments end with null characters, those of a process that a zygote has made with blanks.
    type.resize(std::min(type.find_first_of(std::string_view(" \0", 2)), type.size()));
#endif
    return type;
}
