#pragma once

#include "engine/devtools/session.h"

#include <QString>
#include <QStringList>

/// What the installed fonts cover of the common scripts.
struct FontCoverage {
    /// Names of scripts.
    QStringList covered;
    QStringList missing;
    /// Debian's packages with fonts for the missing ones, each once.
    QStringList packages;
};

/// Has `page` draw a letter of each script. Fails as Session does.
FontCoverage fontCoverage(Session &page);
