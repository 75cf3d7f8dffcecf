#pragma once

#include <chrono>

// How long is waited for what while a page is loaded and printed.

/// A page that is not whole after this time is taken as it is.
inline constexpr std::chrono::milliseconds patience{30000};
/// How much of the page's own time is let pass after its load event, for timers, animations and delayed
/// redirects. It passes at once, not by waiting.
inline constexpr std::chrono::milliseconds pageTime{5000};
/// The step in which the page's time goes on where it keeps to the real one.
inline constexpr std::chrono::milliseconds flowInterval{30};
/// How often something is followed that may go on for ever.
inline constexpr int mostRounds = 4;
