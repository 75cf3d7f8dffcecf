#pragma once

#include <QString>

/// The text of --help: the options in their groups, in lines of at most 79 characters.
QString helpText();
