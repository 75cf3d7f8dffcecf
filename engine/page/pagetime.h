#pragma once

#include "engine/devtools/session.h"

/// A page's own time, which its timers and animations go by. The browser lets it pass as fast as the page
/// computes, and stand still otherwise.
class PageTime
{
public:
    explicit PageTime(Session &session);

    /// How the page's requests bear on its time.
    enum class Requests { HoldTimeUp, LetTimePass };

    /// Lets so much of the page's time pass in one go, and returns when it has, when `orUntil` holds, or at
    /// the bound; whether it has passed.
    bool pass(std::chrono::milliseconds duration, Requests requests, Deadline bound,
              const std::function<bool()> &orUntil);
    /// Lets so much of the page's time pass, alongside whatever is asked of the page meanwhile. Where none
    /// has been let pass yet, it goes by itself, like any.
    void flow(std::chrono::milliseconds duration);

private:
    Session &m_session;
    bool m_passed = false;
    /// Whether it stands still unless it is let pass.
    bool m_held = false;
};
