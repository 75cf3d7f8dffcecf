#pragma once

#include <map>
#include <string>
#include <vector>

/// Watches what the threads of a browser do, but for those that carry messages and draw, which whoever asks
/// the browser something keeps busy: what remains runs for pages, such as databases, caches, encryption,
/// compilation, decoding, and workers. Sees nothing where there is no /proc.
class ThreadWatch
{
public:
    /// `browser` is the process that all of the browser's descend from.
    explicit ThreadWatch(int browser) : m_browser(std::to_string(browser)) {}

    struct Work {
        bool ofPage = false;    ///< in renderers that show it, or may
        bool ofBrowser = false; ///< in processes that serve all pages
    };

    /// What has been done since the last call, or is about to be. `mainThreadTimes` holds, by names of its
    /// frames, the processor time in seconds that the main threads of the page's renderers have used, from
    /// whatever point in time: it tells which processes they are.
    Work sinceLast(const std::map<std::string, double> &mainThreadTimes);

private:
    struct Use {
        double time = 0; ///< of the processor, in seconds
        long long turns = 0;
    };
    struct Range {
        double least;
        double greatest;
    };

    static Use useOf(const std::string &thread);
    bool hasWorked(const std::string &process);
    void compare(const std::string &renderer, const std::map<std::string, double> &mainThreadTimes);
    bool mayShowPage(const std::string &renderer) const;

    std::string m_browser;
    /// By the thread's folder.
    std::map<std::string, Use> m_uses;
    /// By the frame's name and the renderer: by how much the time of the renderer's main thread was ahead of
    /// the frame's. Of the same thread, this hardly varies.
    std::map<std::string, std::map<std::string, Range>> m_leads;
};
