#include "engine/browser/threadwatch.h"

#include "engine/browser/processes.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>
#include <utility>

namespace
{

#ifdef __linux__
/// As the kernel shortens them, beside the main threads.
constexpr std::string_view attendants[] = {"Chrome_IOThread", "Chrome_ChildIOT", "DevToolsPipeHan",
                                           "Compositor",      "CompositorTileW", "VizCompositorTh"};
/// A worker's own takes messages as well, which are done in less, in seconds.
constexpr std::string_view workers[] = {"DedicatedWorker", "SharedWorker th", "ServiceWorker t"};
constexpr double messageTime = 0.001;
/// How far two readings of a main thread's time may be apart that were taken at about the same time, in
/// seconds.
constexpr double readingTime = 0.0005;

bool isOneOf(const auto &names, const std::string &name)
{
    return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

struct State {
    std::string name;
    bool isBusy; ///< runs, is ready to, or waits for a disk
};

State stateOf(const std::string &thread)
{
    std::ifstream file(thread + "/stat");
    std::string line;
    std::getline(file, line);
    // The name stands in parentheses and may hold any character.
    const size_t begin = line.find('(');
    const size_t end = line.rfind(')');
    if (begin == std::string::npos || end + 2 >= line.size())
        return {{}, false};
    const char state = line[end + 2];
    return {line.substr(begin + 1, end - begin - 1), state == 'R' || state == 'D'};
}
#endif

} // namespace

ThreadWatch::Use ThreadWatch::useOf([[maybe_unused]] const std::string &thread)
{
    Use use;
#ifdef __linux__
    std::ifstream file(thread + "/schedstat");
    double nanoseconds = 0;
    double waited = 0;
    file >> nanoseconds >> waited >> use.turns;
    use.time = nanoseconds / 1e9;
#endif
    return use;
}

bool ThreadWatch::hasWorked([[maybe_unused]] const std::string &process)
{
    bool any = false;
#ifdef __linux__
    std::error_code ended;
    for (std::filesystem::directory_iterator each("/proc/" + process + "/task", ended), end;
         !ended && each != end; each.increment(ended)) {
        if (each->path().filename() == process)
            continue;
        const std::string thread = each->path().string();
        const Use now = useOf(thread);
        const Use before = std::exchange(m_uses[thread], now);
        const State state = stateOf(thread);
        if (isOneOf(attendants, state.name))
            continue;
        const bool hasRun =
            isOneOf(workers, state.name) ? now.time - before.time > messageTime : now.turns != before.turns;
        any = any || hasRun || state.isBusy;
    }
#endif
    return any;
}

void ThreadWatch::compare(const std::string &renderer, const std::map<std::string, double> &mainThreadTimes)
{
    const double time = useOf("/proc/" + renderer + "/task/" + renderer).time;
    for (const auto &[frame, frameTime] : mainThreadTimes) {
        const double lead = time - frameTime;
        Range &range = m_leads[frame].try_emplace(renderer, Range{lead, lead}).first->second;
        range = {std::min(range.least, lead), std::max(range.greatest, lead)};
    }
}

bool ThreadWatch::mayShowPage(const std::string &renderer) const
{
    const auto spread = [](const Range &range) { return range.greatest - range.least; };
    return std::any_of(m_leads.begin(), m_leads.end(), [&](const auto &frame) {
        const auto its = frame.second.find(renderer);
        if (its == frame.second.end())
            return false;
        const auto &steadiest = *std::min_element(
            frame.second.begin(), frame.second.end(),
            [&](const auto &one, const auto &other) { return spread(one.second) < spread(other.second); });
        return spread(its->second) <= 2 * spread(steadiest.second) + readingTime;
    });
}

ThreadWatch::Work ThreadWatch::sinceLast(const std::map<std::string, double> &mainThreadTimes)
{
    std::vector<std::string> renderers;
    Work work;
    for (const std::string &process : descendantsOf(m_browser)) {
        if (isRenderer(process)) {
            renderers.push_back(process);
            compare(process, mainThreadTimes);
        } else if (hasWorked(process)) {
            work.ofBrowser = true;
        }
    }
    for (const std::string &process : renderers) {
        if (hasWorked(process) && mayShowPage(process))
            work.ofPage = true;
    }
    return work;
}
