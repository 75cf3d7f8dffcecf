#include "engine/browser/browser.h"

#include "engine/base/environment.h"
#include "engine/base/modules.h"
#include "engine/base/temporary.h"
#include "engine/browser/locate.h"
#include "engine/browser/sandbox.h"

#include <QFile>

#include <sys/resource.h>

#include <algorithm>
#include <unistd.h>

using namespace Qt::StringLiterals;

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

std::vector<std::string> browserEnvironment()
{
    std::vector<std::string> environment = passedEnvironment();
    std::erase_if(environment, [](const std::string &variable) { return variable.starts_with("TMPDIR="); });
    // Its private folder, where it starts, so that its temporary files are removed with that. Relative: a
    // full Chromium has a socket there, whose path could be too long.
    environment.emplace_back("TMPDIR=.");
    // Without the desktop's settings: a full Chromium would read them, the headless shell does not.
    environment.emplace_back("GSETTINGS_BACKEND=memory");
    addHyphenation(environment);
    return environment;
}

/// Preferences of a full Chromium: PDF files are downloads, as for the headless shell, not pages with a
/// viewer.
std::vector<GuardedProcess::File> browserFiles()
{
    return {{"Default", "Preferences", R"({"plugins":{"always_open_pdf_externally":true}})"}};
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
                browserEnvironment(), temporaryFolder(), browserFiles()),
      m_connection(m_process.toProgram(), m_process.fromProgram(), m_process.standardError()),
      m_memory(m_process.process(), flags.maximumMemory)
{
}

bool Browser::lacksSandbox() const
{
    const QByteArray errors = m_connection.lastErrors();
    // The last: namespaces can be made, but without the right to use them fully, as in some containers.
    return errors.contains("No usable sandbox") || errors.contains("SUID sandbox") ||
           errors.contains("sys_chroot");
}

Failure Browser::withReason(const Failure &failure) const
{
    if (failure.code() != ExitCode::NoBrowser)
        return failure;
    if (lacksSandbox())
        return {ExitCode::NoBrowser, u"the browser cannot start its sandbox: "_s + sandboxAdvice()};
    const QList<QByteArray> lines = m_connection.lastErrors().trimmed().split('\n');
    if (lines.last().isEmpty())
        return failure;
    // The cause may be followed by messages of its other processes.
    constexpr qsizetype maximumLines = 3;
    const QByteArray reasons = lines.mid(std::max<qsizetype>(lines.size() - maximumLines, 0)).join("; ");
    return {ExitCode::NoBrowser,
            QStringLiteral("%1: %2").arg(failure.message(), QString::fromLocal8Bit(reasons))};
}
