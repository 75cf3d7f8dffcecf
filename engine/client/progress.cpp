#include "engine/client/progress.h"

#include "engine/base/text.h"

#include <chrono>
#include <cstdlib>
#include <unistd.h>

using namespace std::chrono_literals;

namespace
{

constexpr auto interval = 1s;

// ECMA-48; the private modes for wrapping (DECAWM) are supported by all current terminals.
constexpr char clearLine[] = "\r\x1b[K";
constexpr char disableWrap[] = "\x1b[?7l";
constexpr char enableWrap[] = "\x1b[?7h";

bool isTerminal()
{
    const char *kind = ::getenv("TERM");
    return ::isatty(STDERR_FILENO) == 1 && (!kind || std::string_view(kind) != "dumb");
}

bool isInForeground()
{
    return ::tcgetpgrp(STDERR_FILENO) == ::getpgrp();
}

/// A single write, so that a job that is killed does not leave wrapping disabled.
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
        write(clearLine);
}

void Progress::setActivity(std::string_view activity)
{
    if (!isTerminal())
        return;
    const std::lock_guard lock(m_mutex);
    m_activity = onOneLine(activity);
    if (!m_thread.joinable())
        m_thread = std::jthread([this](const std::stop_token &stop) { run(stop); });
}

void Progress::run(const std::stop_token &stop)
{
    std::unique_lock lock(m_mutex);
    for (auto seconds = interval; !m_wake.wait_until(lock, stop, m_begun + seconds, [] { return false; });
         seconds += interval) {
        if (stop.stop_requested())
            return;
        if (!isInForeground())
            continue;
        // The terminal cuts a line that is too long: it knows the widths of characters.
        write(std::string(clearLine) + disableWrap + std::to_string(seconds.count()) + " s, " + m_activity +
              enableWrap);
        m_shown = true;
    }
}
