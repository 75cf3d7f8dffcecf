#pragma once

#include "engine/job/failure.h"

#include <QString>

#include <optional>

/// What was found on this machine.
struct CheckResult {
    /// Some lines: a word each, and what was found of it.
    QString text;
    /// Why no document can be converted; nothing if one has been.
    std::optional<Failure> failure;
};

/// Converts a small document with a browser of its own, and looks at what conversions depend on: browser,
/// sandbox, fonts, hyphenation dictionaries, server, log, the window's settings.
CheckResult check();
