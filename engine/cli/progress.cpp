#include "engine/cli/progress.h"

#include "engine/job/failure.h"

#include <chrono>
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
    return ::isatty(STDERR_FILENO) == 1 && qgetenv("TERM") != "dumb";
}

bool isInForeground()
{
    return ::tcgetpgrp(STDERR_FILENO) == ::getpgrp();
}

/// In one piece, so that a job that is killed does not leave the terminal in between.
void write(const QByteArray &bytes)
{
    [[maybe_unused]] const ssize_t written =
        ::write(STDERR_FILENO, bytes.constData(), static_cast<size_t>(bytes.size()));
}

} // namespace

Progress::Progress()
{
    if (isTerminal())
        m_thread = std::jthread([this](const std::stop_token &end) { keepShowing(end); });
}

Progress::~Progress()
{
    if (!m_thread.joinable())
        return;
    m_thread.request_stop();
    m_thread.join();
    if (m_shown && isInForeground())
        write(wipe);
}

void Progress::tell(const QString &activity)
{
    const std::lock_guard lock(m_mutex);
    m_activity = onOneLine(activity);
}

void Progress::keepShowing(const std::stop_token &end)
{
    const auto start = std::chrono::steady_clock::now();
    std::unique_lock lock(m_mutex);
    for (auto seconds = interval; !m_wake.wait_until(lock, end, start + seconds, [] { return false; });
         seconds += interval) {
        if (end.stop_requested())
            return;
        if (m_activity.isEmpty() || !isInForeground())
            continue;
        // A line longer than the terminal is wide is cut by the terminal, which alone knows how wide letters
        // are.
        const QString line = QStringLiteral("%1 s, %2").arg(seconds.count()).arg(m_activity);
        write(wipe + QByteArray(dontWrap) + line.toLocal8Bit() + wrap);
        m_shown = true;
    }
}
