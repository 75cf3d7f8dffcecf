#pragma once

#include <QString>

/// What the browser's name of a network error ("net::ERR_NAME_NOT_RESOLVED") means for a person.
QString explainNetworkError(const QString &name);
