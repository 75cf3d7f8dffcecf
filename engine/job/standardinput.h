#pragma once

#include <string>

/// All of standard input. Throws Failure(NotLoaded) if that is nothing, too much (maximumDocument), or cannot
/// be read to its end.
std::string readStandardInput();
