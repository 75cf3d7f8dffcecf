#pragma once

#include "engine/browser/threadwatch.h"
#include "engine/page/pageevents.h"
#include "engine/page/preparation.h"
#include "engine/page/virtualtime.h"
#include "engine/page/whole.h"

/// Waits for a page to be whole, and makes it ready for paper: gathers what is known of it and carries out
/// what nextStep() says.
class Readiness
{
public:
    /// `mainFrame` is the id of the page's main frame; `threads` are those of its browser.
    Readiness(Session &session, const QString &mainFrame, const PageEvents &events, VirtualTime &time,
              Preparation &preparation, ThreadWatch threads);

    void awaitLoadEvent(Deadline bound);
    /// Returns when the page is whole and ready for paper; at the bound as it is then. With a page to which
    /// nothing happens that is at once.
    void awaitWhole(const Job &job, Deadline bound);

    /// The page has not changed since it was prepared, as far as is known.
    bool isAsPrepared() const { return m_unfinished.isEmpty() && !m_facts.hasChanged; }

    /// What was still going on when patience ended, for people; empty if the page is whole.
    const QStringList &unfinished() const { return m_unfinished; }

private:
    /// What the browser counts of the work that is done for a page.
    struct Work {
        double scripts = 0; ///< seconds
        double listeners = 0;
        double layouts = 0; ///< style and layout calculations
        double time = 0;    ///< by the page's clock; seconds
        int events = 0;
        std::map<std::string, double> mainThreadTimes; ///< as ThreadWatch takes them
    };

    void beginDocument();
    void carryOut(Step step, const Job &job);
    PageFacts facts();
    /// The questions for it.
    struct WorkAsked {
        std::map<QString, int> replies; ///< by the session that was asked
        int events = 0;
    };

    WorkAsked askForWork();
    std::optional<Work> workFrom(const WorkAsked &asked);
    bool noteWork();
    bool noteWork(const WorkAsked &asked);
    void noteChange();
    std::chrono::milliseconds answers(int count) const;
    std::chrono::milliseconds lookLength() const;
    void addTime();
    void beginLook();
    void look();
    void prepare(const Job &job);
    void passTime();
    void awaitRequests();
    void show();
    void drawView();
    void noteUnfinished();
    bool draw(Compositor::Output output, const std::function<void()> &meanwhile = {});
    void noteShown(const QJsonObject &reach);
    void giveUp(const Job &job);

    Session &m_session;
    QString m_mainFrame;
    const PageEvents &m_events;
    VirtualTime &m_time;
    Preparation &m_preparation;
    ThreadWatch m_threads;
    Deadline m_bound = Deadline::in({});
    std::chrono::microseconds m_answerTime{}; ///< that the browser took for its last answers
    QStringList m_unfinished;

    // Of the document at hand.
    QString m_document;
    PageFacts m_facts;
    Work m_lastWork;
    std::chrono::milliseconds m_timeStep{};
    std::chrono::milliseconds m_furtherTime{}; ///< that may still be added to its time
    bool m_isLate = false;                     ///< more has been added
    int m_frameSteps = 0;
    int m_shows = 0;          ///< with nothing new to be seen
    int m_growths = 0;        ///< with something new
    bool m_grows = false;     ///< whenever its end is shown
    bool m_isTooLong = false; ///< to be shown to its end in time
    int m_preparations = 0;
    double m_shownHeight = 0;
    /// What the page was like when it was prepared; nothing while that is not known.
    std::optional<double> m_preparedLayouts;
    bool m_hasWorked = false; ///< since then
    std::optional<std::chrono::steady_clock::time_point> m_workingSince;
    std::chrono::steady_clock::time_point m_lastWorked;
    /// The look that goes on, whatever else is done in its time; nothing if there is none.
    std::optional<std::chrono::steady_clock::time_point> m_lookBegin;
    bool m_isDrawn = false; ///< since it last did anything
    /// Nothing moves on it: it has done nothing since two frames of its passing time, which were the same.
    bool m_isStill = false;
};
