#pragma once

#include <chrono>

/// What is known of a page on its way to paper.
struct PageFacts {
    bool patienceIsOver = false; ///< so much real time has passed that the page is taken as it is
    bool isLoaded = false;       ///< its document has had its load event
    int requests = 0;            ///< under way, navigations included; without those made to last
    bool hasRunScripts = false;  ///< ever, in any of its frames, or it has listeners that may
    bool leadsOn = false;        ///< a navigation is scheduled, as by <meta http-equiv="refresh">
    bool asksForPrint = false;   ///< it has called window.print()

    bool isPrepared = false;      ///< for paper, since the document was loaded
    bool hasBegunLoading = false; ///< the last preparation has set something going, such as a font

    bool isTimeReal = true;      ///< none of its own time has been let pass, so that it is the real one
    bool hasBusyWorkers = false; ///< as far as can be told from the processor time

    /// In a row and in real time, with the page's own time, once it is not the real one, standing still:
    /// looks at which neither it nor the browser was found to have done anything for it.
    int quietLooks = 0;
    std::chrono::milliseconds workTime{};     ///< for how long it has worked without such a look
    std::chrono::milliseconds pageTimeLeft{}; ///< of its own time, that is still to pass
    bool isShown = false;                     ///< it has been drawn, from its top to its end
    std::chrono::milliseconds channelWait{};  ///< how long its sockets and event streams are still waited for
    bool hasChanged = false;                  ///< it has done something since it was prepared
};

/// What is done next with a page.
enum class Step {
    AwaitLoad,     ///< wait for its load event
    Prepare,       ///< make its documents ready for paper
    AwaitRequests, ///< wait for the end of its requests; its own time keeps to the real one
    Look,          ///< let some real time pass and see whether anything is done
    PassTime,      ///< let its own time pass, at once
    Show,          ///< draw it, from its top to its end
    AwaitChannels, ///< look, and hear what servers push
    GiveUp,        ///< stop it and print what is there
    Print
};

/// How long a page that works without a pause is followed: until its own time is let pass, and in all.
inline constexpr std::chrono::milliseconds firstWork{150};
inline constexpr std::chrono::milliseconds longestWork{10000};

/// Decides when a page is whole. A page without scripts is, once it is loaded and has what it asks for. One
/// with scripts is, once its own time has passed, it has been shown, nothing has happened at two looks, and
/// it has been prepared since.
Step nextStep(const PageFacts &page);
