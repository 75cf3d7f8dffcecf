#pragma once

#include "engine/base/invocation.h"

#include <QStringList>

/// A call with these arguments that begins now, in the root folder and with no variables.
inline Invocation invocationOf(const QStringList &arguments)
{
    Invocation invocation{{}, {}, "/", Deadline::Clock::now()};
    for (const QString &argument : arguments)
        invocation.arguments.push_back(argument.toStdString());
    return invocation;
}
