#include "engine/browser/launch.h"

#include "engine/job/failure.h"

#include <sys/statvfs.h>

#include <unistd.h>

namespace
{

constexpr const char *commonArguments[] = {
    "--headless",
    "--remote-debugging-pipe",
    // Starts faster: the default profile, which no page uses, is not written to disk.
    "--incognito",
    "--user-data-dir=%DIR%",
    // No network requests of the browser's own.
    "--no-first-run",
    "--no-default-browser-check",
    "--disable-background-networking",
    "--disable-component-update",
    // Some accounts and components are asked for all the same. Browsers connect to no port 9.
    "--gaia-url=http://127.0.0.1:9",
    "--component-updater=url-source=http://127.0.0.1:9",
    "--disable-default-apps",
    "--disable-domain-reliability",
    "--disable-extensions",
    "--disable-quic",
    "--disable-sync",
    // RenderDocument gives each document a new frame in the same process; for a single document two of them
    // are created, drawn and discarded.
    // A full Chromium makes a window for each page, with renderers of its own for what drops down from the
    // address bar (WebUIOmnibox...).
    ("--disable-features=Translate,MediaRouter,OptimizationHints,DialMediaRouteProvider,HttpsUpgrades,"
     "NetworkTimeServiceQuerying,RenderDocument,WebUIOmniboxPopup,WebUIOmniboxAimPopup"),
    // Saves starting a process. On Linux the network process has no sandbox, so none is lost.
    "--enable-features=NetworkServiceInProcess2",
    // No crash reports, no keyrings, no sound.
    "--disable-breakpad",
    "--disable-crash-reporter",
    // The full Chromium's, which keeps them in the user's configuration folder.
    "--disable-crashpad-for-testing",
    "--password-store=basic",
    "--use-mock-keychain",
    "--mute-audio",
    // A document that has been left, and kept for going back, keeps the next one from being drawn while the
    // page's time passes.
    "--disable-back-forward-cache",
    // No throttling of background pages.
    "--disable-background-timer-throttling",
    "--disable-backgrounding-occluded-windows",
    "--disable-renderer-backgrounding",
    // Glyphs at exact positions, not rounded to screen pixels.
    "--font-render-hinting=none",
    "--force-color-profile=srgb",
    "--hide-scrollbars",
    // Pages are drawn at the word of the engine (page/compositor.h), not sixty times a second.
    "--enable-begin-frame-control",
    "--run-all-compositor-stages-before-draw",
    // Otherwise a frame in which something moves may never end.
    "--disable-smooth-scrolling",
    "--disable-threaded-animation",
    // What is drawn is on no screen: without memory for it no layer is painted into pixels.
    "--force-gpu-mem-available-mb=0",
};

/// Chromium keeps shared memory in /dev/shm and crashes if that is missing or too small, as in containers.
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
    // 96 CSS pixels are 72 points; rounded up, because the setting takes whole pixels.
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
    std::vector<std::string> arguments(std::begin(commonArguments), std::end(commonArguments));
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
        // Loopback names and addresses go through the proxy too; by default they bypass it.
        arguments.emplace_back("--proxy-bypass-list=<-loopback>");
        arguments.emplace_back("--force-webrtc-ip-handling-policy=disable_non_proxied_udp");
    }
    if (firstPage == FirstPage::Blank)
        arguments.emplace_back("about:blank");
    return arguments;
}
