#pragma once

#include "engine/job/failure.h"

/// Throws Failure(BadArguments) with `message` and a hint to --help.
[[noreturn]] inline void refuse(const QString &message)
{
    throw Failure(ExitCode::BadArguments, message + QStringLiteral(" (see quirelle --help)"));
}
