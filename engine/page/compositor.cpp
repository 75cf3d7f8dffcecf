#include "engine/page/compositor.h"

#include <utility>

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace
{

/// After so long without its end a frame is taken to be lost, as with a renderer that has gone.
constexpr auto frameTimeout = 1s;

} // namespace

void Compositor::draw(Output output)
{
    if (m_drawsItself || isDrawing())
        return;
    m_frame = {m_session.begin(u"HeadlessExperimental.beginFrame"_s,
                               {{u"noDisplayUpdates"_s, output == Output::Discarded}}),
               Deadline::in(frameTimeout)};
}

bool Compositor::isDrawing()
{
    if (m_frame && m_session.hasReplied(m_frame->id)) {
        const auto reply = m_session.replyTo(m_frame->id, m_frame->end);
        m_drawsItself = !std::exchange(m_hasDrawn, true) && !reply->error.isEmpty();
        m_frame.reset();
    }
    return m_frame && !m_frame->end.passed();
}
