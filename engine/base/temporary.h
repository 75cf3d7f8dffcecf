#pragma once

#include <string>

/// The system's folder for temporary files, whatever TMPDIR says.
std::string systemTemporaryFolder();

/// The folder for temporary files: TMPDIR if it is the absolute path of a folder that this user can write to,
/// else the system's.
std::string temporaryFolder();
