#pragma once

#include "engine/job/invocation.h"

#include <QStringList>

/// A call with these arguments that begins now, in the root folder.
inline Invocation invocationOf(const QStringList &arguments)
{
    Invocation invocation{{}, "/", Deadline::Clock::now()};
    for (const QString &argument : arguments)
        invocation.arguments.push_back(argument.toStdString());
    return invocation;
}
