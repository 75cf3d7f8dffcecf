#pragma once

#include <string>

/// The system's own folder for temporary files.
std::string systemTemporaryFolder();

/// The folder for temporary files: TMPDIR if that is the absolute path of a folder in which this user can
/// make files, else the system's own.
std::string temporaryFolder();
