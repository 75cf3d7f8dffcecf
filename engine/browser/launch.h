#pragma once

#include "engine/job/job.h"

#include <string>
#include <vector>

/// What a browser must be started with for a job: two jobs with equal flags can share a browser. Everything
/// else of a job is set per page.
struct LaunchFlags {
    /// No text smaller than this, in CSS pixels; 0 for no bound.
    int minimumFontPixels = 0;
    bool images = true;
    bool javaScript = true;
    /// Job::maximumMemory, which one watch holds all pages of a browser to.
    int maximumMemory = Job().maximumMemory;
    /// Job::blockPrivateAddresses, for all that a browser does.
    bool blockPrivateAddresses = false;

    bool operator==(const LaunchFlags &) const = default;
};

/// Whether a browser shows a blank page from its start, which is there sooner than one that it is asked for.
enum class FirstPage { None, Blank };

LaunchFlags launchFlagsFor(const Job &job);

/// Whether the browser runs without its sandbox: only as root, which it refuses to run as otherwise, and only
/// when QUIRELLE_NO_SANDBOX=1 allows it. Throws Failure(NoBrowser) for root without that leave.
bool runsWithoutSandbox();

/// The browser's arguments. "%DIR%" stands for its private folder. Everything is fetched through the SOCKS
/// proxy on the loopback port `proxyPort`, if that is not 0.
std::vector<std::string> browserArguments(const LaunchFlags &flags, bool withoutSandbox,
                                          FirstPage firstPage = FirstPage::None, int proxyPort = 0);
