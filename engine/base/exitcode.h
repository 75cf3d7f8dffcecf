#pragma once

/// How an engine process ends: its exit code.
enum class ExitCode {
    Written = 0,      ///< the PDF is there
    BadArguments = 1, ///< the command line is refused; nothing was started
    NoBrowser = 2,    ///< no browser was found, or it cannot start
    NotLoaded = 3,    ///< the page cannot be loaded
    OutOfTime = 4,    ///< the job's time is used up
    NotWritten = 5,   ///< the output cannot be written
    Crashed = 6,      ///< the page or the browser crashed
    Incomplete = 7,   ///< the PDF would lack something of the page, which is not allowed to
};
