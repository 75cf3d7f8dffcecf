#pragma once

#include <string>

/// The path of the program that runs in this process; empty if that cannot be told.
std::string executablePath();

// The files that the engine `executable` loads when it needs them. They lie beside it.
std::string engineModuleOf(const std::string &executable);
std::string pdfModuleOf(const std::string &executable);
