#include "engine/client/progress.h"

#include "engine/base/text.h"

#include <chrono>
#include <cstdlib>
#include <unistd.h>

using namespace std::chrono_literals;

namespace
{

constexpr auto interval = 1s;

// ECMA-48 and, for the wrapping, the private modes that every terminal of today has.
constexpr char wipe[] = "\r\x1b[K";
constexpr char dontWrap[] = "\x1b[?7l";
constexpr char wrap[] = "\x1b[?7h";

bool isTerminal()
{
    const char *kind = ::getenv("TERM");
    return ::isatty(STDERR_FILENO) == 1 && (!kind || std::string_view(kind) != "dumb");
}

bool isInForeground()
{
    return ::tcgetpgrp(STDERR_FILENO) == ::getpgrp();
}

/// In one piece, so that a job that is killed does not leave the terminal in between.
void write(const std::string &bytes)
{
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, bytes.data(), bytes.size());
}

} // namespace

Progress::~Progress()
{
    if (!m_thread.joinable())
        return;
    m_thread.request_stop();
    m_thread.join();
    if (m_shown && isInForeground())
        write(wipe);
}

void Progress::tell(std::string_view activity)
{
    if (!isTerminal())
        return;
    const std::lock_guard lock(m_mutex);
    m_activity = onOneLine(activity);
    if (!m_thread.joinable())
        m_thread = std::jthread([this](const std::stop_token &end) { keepShowing(end); });
}

void Progress::keepShowing(const std::stop_token &end)
{
    std::unique_lock lock(m_mutex);
    for (auto seconds = interval; !m_wake.wait_until(lock, end, m_begun + seconds, [] { return false; });
         seconds += interval) {
        if (end.stop_requested())
            return;
        if (!isInForeground())
            continue;
        // A line longer than the terminal is wide is cut by the terminal, which alone knows how wide letters
        // are.
        write(std::string(wipe) + dontWrap + std::to_string(seconds.count()) + " s, " + m_activity + wrap);
        m_shown = true;
    }
}
