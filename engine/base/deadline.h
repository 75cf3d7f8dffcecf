#pragma once

#include <chrono>

/// A point in time by which something must be done, on the monotonic clock: setting the system clock does not
/// move it.
class Deadline
{
public:
    using Clock = std::chrono::steady_clock;

    static Deadline in(std::chrono::milliseconds duration) { return after(Clock::now(), duration); }
    static Deadline after(Clock::time_point start, std::chrono::milliseconds duration)
    {
        return Deadline(start + duration);
    }

    Clock::time_point time() const { return m_time; }
    bool passed() const { return Clock::now() >= m_time; }
    Deadline earlier(Deadline other) const { return m_time < other.m_time ? *this : other; }

private:
    explicit Deadline(Clock::time_point time) : m_time(time) {}

    Clock::time_point m_time;
};
