#pragma once

#include "engine/job/job.h"

#include <string>
#include <vector>

/// What of a job is set when the browser starts. Jobs with equal flags can share a browser; everything else
/// is set per page.
struct LaunchFlags {
    /// Minimum font size in CSS pixels; 0 for none.
    int minimumFontPixels = 0;
    bool images = true;
    bool javaScript = true;
    /// Job::maximumMemory; one MemoryWatch applies it to all pages of a browser.
    int maximumMemory = Job().maximumMemory;
    /// Job::blockPrivateAddresses; one AddressFilter serves the whole browser.
    bool blockPrivateAddresses = false;

    bool operator==(const LaunchFlags &) const = default;
};

/// Whether a browser opens a blank page at start-up, which is faster than requesting one later.
enum class FirstPage { None, Blank };

LaunchFlags launchFlagsFor(const Job &job);

/// Whether to run the browser without its sandbox: only as root, as whom it has none, and only with
/// QUIRELLE_NO_SANDBOX=1. Throws Failure(NoBrowser) as root without that variable.
bool runsWithoutSandbox();

/// The browser's arguments; "%DIR%" stands for its private folder. If `proxyPort` is not 0, everything is
/// fetched through the SOCKS proxy on that loopback port.
std::vector<std::string> browserArguments(const LaunchFlags &flags, bool withoutSandbox,
                                          FirstPage firstPage = FirstPage::None, int proxyPort = 0);
