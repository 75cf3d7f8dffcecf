#pragma once

#include <map>
#include <string>
#include <vector>

/// Tells whether a browser's threads have worked since the last call. Left out are threads that draw; and of
/// those that carry messages and main threads, but for those of utility processes, it is only told whether
/// something waits for them, as every command of the engine keeps them busy. What remains runs for pages:
/// databases, caches, encryption, compilation, decoding, devices, workers. Without /proc it finds nothing.
class ThreadWatch
{
public:
    /// All processes of the browser descend from the process `browser`.
    explicit ThreadWatch(int browser) : m_browser(std::to_string(browser)) {}

    struct Work {
        bool ofPage = false; ///< in renderers that show the page, or may show it
        /// In processes that are no renderers and serve all pages; or those renderers have handled messages.
        bool ofServices = false;
    };

    /// What threads have done since the last call or are about to do. `mainThreadTimes` has, by the page's
    /// frame ids, the processor time in seconds of the main thread that the frame runs on, from any starting
    /// point: compared with the times in /proc it tells which processes are the page's renderers.
    Work sinceLast(const std::map<std::string, double> &mainThreadTimes);

private:
    struct Use {
        double time = 0; ///< processor time in seconds
        long long turns = 0;
        bool isOfService = false; ///< it draws or finds fonts, whatever it has done

        void read(const std::string &thread);
    };
    struct Range {
        double minimum;
        double maximum;
    };

    enum class Activity { None, Messages, Work };

    Activity activityOf(const std::string &process, const std::string &type);
    void compare(const std::string &renderer, const std::map<std::string, double> &mainThreadTimes);
    bool mayShowPage(const std::string &renderer) const;

    std::string m_browser;
    /// By the thread's folder.
    std::map<std::string, Use> m_uses;
    /// By frame id and renderer: the range of differences between the time of the renderer's main thread and
    /// the time told for the frame. If both are the same thread, the difference hardly varies.
    std::map<std::string, std::map<std::string, Range>> m_leads;
};
