#pragma once

#include "engine/page/compositor.h"

#include <QHash>

/// A page's own time, which its timers and animations go by, in all its frames and workers (the protocol's
/// virtual time). The browser lets it pass as fast as the page computes, and stand still otherwise. Until it
/// has been let pass for the first time it is the real one. While real time passes, the page is drawn.
class VirtualTime
{
public:
    explicit VirtualTime(Session &session);

    /// Whether none has been let pass yet.
    bool isReal() const { return m_isReal; }

    /// Whether requests under way hold the time up.
    enum class Requests { HoldTimeUp, LetTimePass };

    /// Lets so much of the page's time pass in one go, and returns when it has, when `orUntil` holds, or at
    /// the bound; whether it has passed. It may be less: an earlier share that ends holds the time.
    bool pass(std::chrono::milliseconds duration, Requests requests, Deadline bound,
              const std::function<bool()> &orUntil);

    /// How the page's time goes by while real time does. Even where it stands still, what comes in from
    /// elsewhere is handed to the page every now and then.
    enum class Pace { Real, Still };

    /// Lets real time pass until `condition` holds or the bound has come; whether it holds.
    bool waitUntil(const std::function<bool()> &condition, Pace pace, Deadline bound);
    /// To be told of the page's time, in seconds of the clock that never stops, whenever that is known.
    void noteTime(double now) { m_now = 1000 * now; }
    /// Begins to draw the page once, unless it is being drawn.
    void beginFrame(Compositor::Output output);
    Compositor &compositor() { return m_compositor; }
    /// Begins to draw it, does what is to be done meanwhile, and waits until it has been drawn, but not for
    /// longer than that; whether it has been.
    bool draw(Compositor::Output output, std::chrono::milliseconds patience,
              const std::function<void()> &meanwhile = {});
    /// Asks the page something that may take time; nothing at the bound.
    std::optional<Session::Reply> ask(const QString &method, const QJsonObject &parameters, Deadline bound);

    /// Lets so much of the page's time pass alongside whatever is asked of the page meanwhile; the real time
    /// does where none has been let pass yet.
    void flow(std::chrono::milliseconds duration);
    /// To be told of another document: shares of the last one's time may never end.
    void beginDocument() { m_pending.clear(); }
    /// Holds the time, so that the page does nothing more.
    void hold();

private:
    QStringList members() const;
    bool isPending(const QString &member) const;
    void grant(const QString &policy, double milliseconds);

    Session &m_session;
    Compositor m_compositor;
    bool m_isReal = true;
    double m_now = 0;         ///< the page's time, in milliseconds, or a little later
    bool m_isPassing = false; ///< pass() has been broken off
    int m_members = 1;
    /// Since when members have had a share of the time that has not passed yet.
    QHash<QString, std::chrono::steady_clock::time_point> m_pending;
};
