#pragma once

#include "engine/base/deadline.h"

#include <condition_variable>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

/// Tells a user who waits at a terminal what a job is doing and for how long: one line on standard error,
/// rewritten every second, from the first second on, and wiped out at the end. Says nothing where standard
/// error is no terminal, or one that another job of the shell has in its hands.
class Progress
{
public:
    /// `begun` is when the job began.
    explicit Progress(Deadline::Clock::time_point begun) : m_begun(begun) {}
    ~Progress();
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    /// What is being done from now on: "loading page.html". By one thread.
    void tell(std::string_view activity);

private:
    void keepShowing(const std::stop_token &end);

    Deadline::Clock::time_point m_begun;
    std::mutex m_mutex;
    std::condition_variable_any m_wake;
    std::string m_activity;
    bool m_shown = false;
    /// Last, for it uses the others. Runs only where there is somebody to be told.
    std::jthread m_thread;
};
