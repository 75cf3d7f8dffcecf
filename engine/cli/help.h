#pragma once

#include <QString>

/// The text of --help: the options by group, in lines of at most 79 characters.
QString helpText();
