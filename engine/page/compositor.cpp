#include "engine/page/compositor.h"

#include <algorithm>
#include <chrono>
#include <utility>

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace
{

/// A frame that takes longer is not waited for.
constexpr auto frameTimeout = 1s;
/// How far apart the times of two frames are at least, in milliseconds. The browser cuts them to whole
/// microseconds, and never finishes a frame that is not later than the one before.
constexpr double leastStep = 0.01;

double present()
{
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

} // namespace

void Compositor::draw(Output output, std::optional<double> time)
{
    if (m_drawsItself || hasUnfinishedFrame())
        return;
    m_time = std::max(m_time + leastStep, time.value_or(present()));
    m_frame = {m_session.begin(
                   u"HeadlessExperimental.beginFrame"_s,
                   {{u"noDisplayUpdates"_s, output == Output::Discarded}, {u"frameTimeTicks"_s, m_time}}),
               Deadline::in(frameTimeout)};
}

bool Compositor::isDrawing()
{
    return hasUnfinishedFrame() && !m_frame->end.passed();
}

bool Compositor::hasUnfinishedFrame()
{
    if (m_frame && m_session.hasReplied(m_frame->id)) {
        const auto reply = m_session.replyTo(m_frame->id, m_frame->end);
        m_hasDamage = reply->result["hasDamage"_L1].toBool(true);
        m_drawsItself = !std::exchange(m_hasDrawn, true) && !reply->error.isEmpty();
        m_frame.reset();
    }
    return m_frame.has_value();
}
