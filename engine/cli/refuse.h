#pragma once

#include "engine/job/failure.h"

/// Throws the failure of a command line that cannot be understood.
[[noreturn]] inline void refuse(const QString &message)
{
    throw Failure(ExitCode::BadArguments, message + QStringLiteral(" (see quirelle --help)"));
}
