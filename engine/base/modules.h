#pragma once

#include <string>

/// The path of the running executable; empty if unknown.
std::string executablePath();

// The modules that the engine `executable` loads when needed, in the same folder.
std::string engineModuleOf(const std::string &executable);
std::string pdfModuleOf(const std::string &executable);

/// The module that the browser loads, in the same folder.
std::string hyphenationModuleOf(const std::string &executable);
