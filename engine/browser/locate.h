#pragma once

#include <QString>

/// Path of the browser to use, looked for in this order: the environment variable QUIRELLE_BROWSER; the
/// engine's own bundle (Contents/Helpers); the usual names of Chromium-family browsers on PATH; on macOS the
/// usual application folders. Throws Failure(NoBrowser) saying what to install, or what is wrong with
/// QUIRELLE_BROWSER.
QString locateBrowser();
