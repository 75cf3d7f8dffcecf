#include "engine/base/environment.h"

#include <algorithm>
#include <string_view>
#include <unistd.h>

#ifndef __linux__
extern char **environ;
#endif

namespace
{

/// A trailing * matches any suffix. Only what a browser needs is listed: other variables could make it write
/// its TLS keys to a file (SSLKEYLOGFILE), load other code, or expose secrets to a page.
constexpr std::string_view passedNames[] = {
    // User and folders.
    "HOME",
    "USER",
    "LOGNAME",
    "PATH",
    "TMPDIR",
    "XDG_RUNTIME_DIR",
    "XDG_CONFIG_HOME",
    "XDG_CONFIG_DIRS",
    "XDG_CACHE_HOME",
    "XDG_DATA_HOME",
    "XDG_DATA_DIRS",
    // Language and time.
    "LANG",
    "LANGUAGE",
    "LC_*",
    "TZ",
    "TZDIR",
    // Fonts.
    "FONTCONFIG_*",
    "FREETYPE_PROPERTIES",
    // Certificates and proxies.
    "SSL_CERT_FILE",
    "SSL_CERT_DIR",
    "http_proxy",
    "https_proxy",
    "all_proxy",
    "no_proxy",
    "auto_proxy",
    "HTTP_PROXY",
    "HTTPS_PROXY",
    "ALL_PROXY",
    "NO_PROXY",
    // Shared libraries: without these a program may not start.
    "LD_LIBRARY_PATH",
    "LD_PRELOAD",
    // Which browser, and how it starts.
    "QUIRELLE_BROWSER",
    "QUIRELLE_NO_SANDBOX",
    "QUIRELLE_IDLE_SECONDS",
    "CHROME_DEVEL_SANDBOX",
    "QUIRELLE_HYPHENATION",
    // Sanitizers, in tests.
    "ASAN_OPTIONS",
    "LSAN_OPTIONS",
    "TSAN_OPTIONS",
    "UBSAN_OPTIONS",
};

bool isPassed(std::string_view name)
{
    return std::any_of(std::begin(passedNames), std::end(passedNames), [name](std::string_view passed) {
        return passed.ends_with('*') ? name.starts_with(passed.substr(0, passed.size() - 1)) : name == passed;
    });
}

} // namespace

std::vector<std::string> passedEnvironment()
{
    std::vector<std::string> result;
    for (char **entry = environ; *entry; ++entry) {
        const std::string_view text = *entry;
        if (isPassed(text.substr(0, text.find('='))))
            result.emplace_back(text);
    }
    std::sort(result.begin(), result.end());
    return result;
}

std::vector<char *> pointersTo(std::vector<std::string> &texts)
{
    std::vector<char *> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string &text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}
