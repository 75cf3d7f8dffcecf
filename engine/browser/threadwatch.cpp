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
/// Threads that draw, and that find fonts for renderers that wait for them; the kernel cuts names to 15
/// characters.
constexpr std::string_view serviceThreads[] = {"sandbox_ipc_thr", "Compositor", "VizCompositorTh"};
/// Threads that carry messages, those of the engine's commands among them, as main threads do.
constexpr std::string_view messageThreads[] = {"Chrome_IOThread", "Chrome_ChildIOT", "DevToolsPipeHan"};
/// Of worker threads, the engine's commands are such messages as well.
constexpr std::string_view workerThreads[] = {"DedicatedWorker", "SharedWorker th", "ServiceWorker t"};
/// Who takes no more processor time than this, in seconds, has handled messages.
constexpr double messageTime = 0.001;
/// Maximum difference in seconds of two readings of a main thread's time, taken at about the same moment.
constexpr double readingTime = 0.0005;

bool isOneOf(const auto &names, const std::string &name)
{
    return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

struct State {
    std::string name;
    bool isBusy; ///< running, runnable or waiting for a disk
};

State stateOf(const std::string &thread)
{
    std::ifstream file(thread + "/stat");
    std::string line;
    std::getline(file, line);
    // The name is in parentheses and may contain any character.
    const size_t begin = line.find('(');
    const size_t end = line.rfind(')');
    if (begin == std::string::npos || end + 2 >= line.size())
        return {{}, false};
    const char state = line[end + 2];
    return {line.substr(begin + 1, end - begin - 1), state == 'R' || state == 'D'};
}
#endif

} // namespace

void ThreadWatch::Use::read([[maybe_unused]] const std::string &thread)
{
#ifdef __linux__
    std::ifstream file(thread + "/schedstat");
    double nanoseconds = 0;
    double waited = 0;
    file >> nanoseconds >> waited >> turns;
    time = nanoseconds / 1e9;
#endif
}

ThreadWatch::Activity ThreadWatch::activityOf([[maybe_unused]] const std::string &process,
                                              [[maybe_unused]] const std::string &type)
{
    Activity activity = Activity::None;
#ifdef __linux__
    std::error_code ended;
    for (std::filesystem::directory_iterator each("/proc/" + process + "/task", ended), end;
         !ended && each != end; each.increment(ended)) {
        const std::string thread = each->path().string();
        Use &now = m_uses[thread];
        if (now.isOfService)
            continue;
        const State state = stateOf(thread);
        now.isOfService = isOneOf(serviceThreads, state.name);
        if (now.isOfService)
            continue;
        const bool isMain = each->path().filename() == process && type != "utility";
        if (isMain || isOneOf(messageThreads, state.name)) {
            // Something waits for it; what it has done is not told from the engine's commands.
            if (state.isBusy)
                activity = std::max(activity, Activity::Messages);
            continue;
        }
        const Use before = now;
        now.read(thread);
        if (state.isBusy || now.time - before.time > messageTime)
            activity = Activity::Work;
        else if (now.turns != before.turns && !isOneOf(workerThreads, state.name))
            activity = std::max(activity, Activity::Messages);
    }
#endif
    return activity;
}

void ThreadWatch::compare(const std::string &renderer, const std::map<std::string, double> &mainThreadTimes)
{
    Use mainThread;
    mainThread.read("/proc/" + renderer + "/task/" + renderer);
    for (const auto &[frame, frameTime] : mainThreadTimes) {
        const double lead = mainThread.time - frameTime;
        Range &range = m_leads[frame].try_emplace(renderer, Range{lead, lead}).first->second;
        range = {std::min(range.minimum, lead), std::max(range.maximum, lead)};
    }
}

bool ThreadWatch::mayShowPage(const std::string &renderer) const
{
    if (m_leads.empty())
        return true;
    const auto spread = [](const Range &range) { return range.maximum - range.minimum; };
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
        const std::string type = typeOf(process);
        if (type == "renderer") {
            renderers.push_back(process);
            compare(process, mainThreadTimes);
        } else if (activityOf(process, type) != Activity::None) {
            work.ofServices = true;
        }
    }
    for (const std::string &process : renderers) {
        const Activity activity = mayShowPage(process) ? activityOf(process, "renderer") : Activity::None;
        if (activity == Activity::None)
            continue;
        work.ofPage = work.ofPage || activity == Activity::Work;
        work.ofServices = true;
    }
    return work;
}
