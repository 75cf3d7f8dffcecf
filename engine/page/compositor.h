#pragma once

#include "engine/devtools/session.h"

#include <optional>

/// Has the browser draw a page, a frame at a time. Animations, events of scrolling, and what observers of
/// sizes and of the view are told come with frames. A browser that is no headless shell draws by itself,
/// sixty times a second.
class Compositor
{
public:
    explicit Compositor(Session &session) : m_session(session) {}

    /// Whether the frame is shown, as canvases of workers and transitions between views need it; if not, it
    /// is not painted, which is faster.
    enum class Output { Shown, Discarded };

    /// Begins a frame, unless one is unfinished. Its time, by which animations go, is `time`, in milliseconds
    /// of the clock that never stops; nothing for the present.
    void draw(Output output, std::optional<double> time);
    /// Whether a frame is worth waiting for: unfinished, but not for long.
    bool isDrawing();
    /// Whether the last frame has not ended, as while a script computes. Until then no other page of the
    /// browser may be drawn: its GPU process ends if frames overlap.
    bool hasUnfinishedFrame();
    /// Whether the last frame that has ended showed something else than the one before it, as animations do;
    /// true of a browser that draws by itself, where nobody knows.
    bool hasDamage() const { return m_hasDamage; }
    /// Whether the browser does not draw at the engine's word, as far as is known.
    bool drawsItself() const { return m_drawsItself; }

private:
    struct Frame {
        int id;
        Deadline end;
    };

    Session &m_session;
    std::optional<Frame> m_frame;
    double m_time = 0; ///< that of the last frame, or later
    bool m_hasDrawn = false;
    bool m_hasDamage = false;
    bool m_drawsItself = false;
};
