#pragma once

#include "engine/page/pageevents.h"
#include "engine/page/pagetime.h"
#include "engine/page/preparation.h"

/// Waits for a page to be whole, and makes it ready for paper meanwhile.
class Readiness
{
public:
    /// `mainFrame` is the id of the page's main frame.
    Readiness(Session &session, const QString &mainFrame, const PageEvents &events, PageTime &time,
              Preparation &preparation);

    void awaitLoadEvent(Deadline bound);
    /// Returns when the page has had its load event and has its fonts and images, what its scripts build and
    /// what they fetch, and is ready for paper; at the bound as it is then. With a page to which nothing
    /// happens that is at once.
    void awaitWhole(const Job &job, Deadline bound);

private:
    void settle(const Job &job);
    void takeAsItIs(const Job &job);
    Preparation::Findings prepare(const Job &job);
    void letTimePass(std::chrono::milliseconds duration);
    void awaitRequests();
    Preparation::Findings awaitWork(const Job &job);
    void awaitFrame();
    void showWhole();

    Session &m_session;
    QString m_mainFrame;
    const PageEvents &m_events;
    PageTime &m_time;
    Preparation &m_preparation;
    Deadline m_bound = Deadline::in({});
    bool m_workEnds = true; ///< what the page awaits from elsewhere
};
