#pragma once

#include "engine/base/deadline.h"

#include <condition_variable>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

/// Shows what a job is doing and for how long: one line on standard error, from the first second on,
/// rewritten every second and cleared at the end. Shows nothing if standard error is no terminal, or while
/// the process is in the background.
class Progress
{
public:
    /// `begun` is when the job began.
    explicit Progress(Deadline::Clock::time_point begun) : m_begun(begun) {}
    ~Progress();
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    /// What is being done from now on: "loading page.html". To be called by one thread only.
    void setActivity(std::string_view activity);

private:
    void run(const std::stop_token &stop);

    Deadline::Clock::time_point m_begun;
    std::mutex m_mutex;
    std::condition_variable_any m_wake;
    std::string m_activity;
    bool m_shown = false;
    /// Declared last, as it uses the other members. Runs only if standard error is a terminal.
    std::jthread m_thread;
};
