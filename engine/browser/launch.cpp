#include "engine/browser/launch.h"

#include "engine/job/failure.h"

#include <sys/statvfs.h>

#include <unistd.h>

namespace
{

constexpr const char *standingArguments[] = {
    "--headless",
    "--remote-debugging-pipe",
    // Its own profile, which no page uses, is not written, and so is there sooner.
    "--incognito",
    "--user-data-dir=%DIR%",
    // It calls nobody of its own accord.
    "--no-first-run",
    "--no-default-browser-check",
    "--disable-background-networking",
    "--disable-component-update",
    "--disable-default-apps",
    "--disable-domain-reliability",
    "--disable-extensions",
    "--disable-quic",
    "--disable-sync",
    // RenderDocument: each document gets a frame of its own in the same process, which is made, drawn and
    // thrown away twice for a single document.
    ("--disable-features=Translate,MediaRouter,OptimizationHints,DialMediaRouteProvider,HttpsUpgrades,"
     "RenderDocument"),
    // On Linux the network's process has no sandbox that would be lost, and takes time to start.
    "--enable-features=NetworkServiceInProcess2",
    // It leaves nothing and asks nothing.
    "--disable-breakpad",
    "--disable-crash-reporter",
    "--password-store=basic",
    "--use-mock-keychain",
    "--mute-audio",
    // Pages that nobody looks at get the same time and attention as others.
    "--disable-background-timer-throttling",
    "--disable-backgrounding-occluded-windows",
    "--disable-renderer-backgrounding",
    // On paper letters stand at their true places, not on the screen's pixels.
    "--font-render-hinting=none",
    "--force-color-profile=srgb",
    "--hide-scrollbars",
};

/// Chromium keeps shared memory in /dev/shm and crashes where that is missing or as small as containers make
/// it.
bool sharedMemoryIsSmall()
{
#ifdef __linux__
    constexpr unsigned long long enough = 256ULL << 20;
    struct statvfs info {
    };
    return ::access("/dev/shm", W_OK) != 0 || ::statvfs("/dev/shm", &info) != 0 ||
           static_cast<unsigned long long>(info.f_bavail) * info.f_frsize < enough;
#else
    return false;
#endif
}

} // namespace

LaunchFlags launchFlagsFor(const Job &job)
{
    // 96 CSS pixels make 72 points; rounded up, because the setting takes whole pixels.
    return {(job.minimumFontSize * 96 + 71) / 72, job.images, job.javaScript, job.maximumMemory,
            job.blockPrivateAddresses};
}

bool runsWithoutSandbox()
{
    if (::geteuid() != 0)
        return false;
    if (qgetenv("QUIRELLE_NO_SANDBOX") == "1")
        return true;
    throw Failure(
        ExitCode::NoBrowser,
        QStringLiteral("as root the browser has no sandbox: run quirelle as an ordinary user, or set "
                       "QUIRELLE_NO_SANDBOX=1 if you trust every page"));
}

std::vector<std::string> browserArguments(const LaunchFlags &flags, bool withoutSandbox, FirstPage firstPage,
                                          int proxyPort)
{
    std::vector<std::string> arguments(std::begin(standingArguments), std::end(standingArguments));
    if (withoutSandbox)
        arguments.emplace_back("--no-sandbox");
    if (sharedMemoryIsSmall())
        arguments.emplace_back("--disable-dev-shm-usage");
    if (flags.minimumFontPixels > 0 || !flags.images || !flags.javaScript) {
        const std::string pixels = std::to_string(flags.minimumFontPixels);
        arguments.push_back("--blink-settings=minimumFontSize=" + pixels + ",minimumLogicalFontSize=" +
                            pixels + ",imagesEnabled=" + (flags.images ? "true" : "false") +
                            ",scriptEnabled=" + (flags.javaScript ? "true" : "false"));
    }
    if (proxyPort != 0) {
        arguments.push_back("--proxy-server=socks5://127.0.0.1:" + std::to_string(proxyPort));
        // Also for this machine's own names and addresses, which the browser would go to directly.
        arguments.emplace_back("--proxy-bypass-list=<-loopback>");
        arguments.emplace_back("--force-webrtc-ip-handling-policy=disable_non_proxied_udp");
    }
    if (firstPage == FirstPage::Blank)
        arguments.emplace_back("about:blank");
    return arguments;
}
