#pragma once

#include "engine/page/fitting.h"

#include <QList>
#include <QStringList>

/// What a page lacks on paper of what it means, as far as the browser tells.
struct PageProblems {
    struct Request {
        QString address;
        QString reason; ///< "the server answered 404 Not Found"
    };
    QList<Request> failedRequests;
    /// Uncaught exceptions of scripts, with where they were thrown.
    QStringList exceptions;
    /// What was still going on when patience ended, for people.
    QStringList unfinished;
    Fit fit;
};

/// One line for each kind of problem and server, without credentials, at most maximumWarnings of them; the
/// last says how many there would be more. Nothing where nothing is wrong.
QStringList warningsFor(const PageProblems &problems);

inline constexpr int maximumWarnings = 10;
