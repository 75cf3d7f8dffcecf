#include "engine/browser/browser.h"

#include "engine/base/environment.h"
#include "engine/base/modules.h"
#include "engine/base/temporary.h"
#include "engine/browser/locate.h"

#include <QFile>

#include <sys/resource.h>

#include <algorithm>
#include <unistd.h>

namespace
{

/// Has the browser hyphenate with the dictionaries in QUIRELLE_HYPHENATION, or else with the system's.
void addHyphenation([[maybe_unused]] std::vector<std::string> &environment)
{
#ifdef __linux__
    const std::string folder =
        qEnvironmentVariable("QUIRELLE_HYPHENATION", "/usr/share/hyphen").toStdString();
    const std::string module = hyphenationModuleOf(executablePath());
    // The dynamic loader cannot be told a path with these characters.
    if (::access(folder.c_str(), X_OK) != 0 || ::access(module.c_str(), R_OK) != 0 ||
        module.find_first_of(" :;$") != std::string::npos)
        return;
    const std::string preload = "LD_PRELOAD=";
    const std::string dictionaries = "QUIRELLE_HYPHENATION=";
    std::string modules = module;
    for (const std::string &variable : environment) {
        if (variable.starts_with(preload))
            modules = variable.substr(preload.size()) + ':' + module;
    }
    std::erase_if(environment, [&](const std::string &variable) {
        return variable.starts_with(preload) || variable.starts_with(dictionaries);
    });
    environment.push_back(preload + modules);
    environment.push_back(dictionaries + folder);
#endif
}

/// With TMPDIR in the browser's private folder, so that its temporary files are removed with that.
std::vector<std::string> browserEnvironment()
{
    std::vector<std::string> environment = passedEnvironment();
    std::erase_if(environment, [](const std::string &variable) { return variable.starts_with("TMPDIR="); });
    environment.emplace_back("TMPDIR=%DIR%");
    addHyphenation(environment);
    return environment;
}

/// The browser's path, after making sure that it may open enough file descriptors: with too few it hangs.
std::string browserWithDescriptors()
{
    constexpr rlim_t enough = 256;
    std::string browser = QFile::encodeName(locateBrowser()).toStdString();
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= enough)
        return browser;
    limit.rlim_cur = enough;
    if (limit.rlim_max < enough || ::setrlimit(RLIMIT_NOFILE, &limit) != 0)
        throw Failure(
            ExitCode::NoBrowser,
            QStringLiteral("a browser needs %1 file descriptors, and there may be no more than %2 here "
                           "(ulimit -n)")
                .arg(enough)
                .arg(limit.rlim_max));
    return browser;
}

} // namespace

Browser::Browser(const LaunchFlags &flags, FirstPage firstPage)
    : m_filter(flags.blockPrivateAddresses ? std::make_unique<AddressFilter>() : nullptr),
      m_process(browserWithDescriptors(),
                browserArguments(flags, runsWithoutSandbox(), firstPage, m_filter ? m_filter->port() : 0),
                browserEnvironment(), temporaryFolder()),
      m_connection(m_process.toProgram(), m_process.fromProgram(), m_process.standardError()),
      m_memory(m_process.process(), flags.maximumMemory)
{
}

Failure Browser::withReason(const Failure &failure) const
{
    if (failure.code() != ExitCode::NoBrowser)
        return failure;
    const QList<QByteArray> lines = m_connection.lastErrors().trimmed().split('\n');
    for (const QByteArray &line : lines) {
        if (line.contains("No usable sandbox") || line.contains("SUID sandbox")) {
            return {ExitCode::NoBrowser,
                    QStringLiteral(
                        "the browser cannot start its sandbox: install the package chromium-sandbox, or "
                        "let users make user namespaces (sysctl kernel.unprivileged_userns_clone=1)")};
        }
    }
    if (lines.last().isEmpty())
        return failure;
    // The cause may be followed by messages of its other processes.
    constexpr qsizetype maximumLines = 3;
    const QByteArray reasons = lines.mid(std::max<qsizetype>(lines.size() - maximumLines, 0)).join("; ");
    return {ExitCode::NoBrowser,
            QStringLiteral("%1: %2").arg(failure.message(), QString::fromLocal8Bit(reasons))};
}
