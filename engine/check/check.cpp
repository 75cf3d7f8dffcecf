#include "engine/check/check.h"

#include "engine/base/modules.h"
#include "engine/browser/locate.h"
#include "engine/browser/sandbox.h"
#include "engine/check/fonts.h"
#include "engine/check/places.h"
#include "engine/client/client.h"
#include "engine/client/log.h"
#include "engine/convert/render.h"

#include <QFile>
#include <QFileInfo>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

struct BrowserFacts {
    /// "HeadlessChrome/156.0.8078.79"
    QString product;
    Confinement confinement = Confinement::Unknown;
    FontCoverage fonts;
};

/// Asks a browser that is started for this.
BrowserFacts factsOf(Browser &browser, Deadline deadline)
{
    BrowserFacts facts;
    Session whole(browser.connection(), {}, deadline);
    whole.setActivity(u"starting the browser"_s);
    facts.product = whole.call(u"Browser.getVersion"_s)["product"_L1].toString();
    const QJsonObject target = whole.call(u"Target.createTarget"_s, {{u"url"_s, u"about:blank"_s}});
    const QJsonObject attached = whole.call(u"Target.attachToTarget"_s,
                                            {{u"targetId"_s, target["targetId"_L1]}, {u"flatten"_s, true}});
    Session page(browser.connection(), attached["sessionId"_L1].toString(), deadline);
    page.setActivity(u"looking at the fonts"_s);
    facts.fonts = fontCoverage(page);
    facts.confinement = confinementOfRenderers(browser.guardProcess());
    return facts;
}

bool isHeadlessShell(const BrowserFacts &facts)
{
    return facts.product.startsWith("Headless"_L1);
}

QString sandboxText(Confinement confinement)
{
    switch (confinement) {
    case Confinement::Sandboxed:
        return u"works"_s;
    case Confinement::Unconfined:
        return ::geteuid() == 0
                   ? u"off: root has none; run quirelle as an ordinary user"_s
                   : u"off: the browser is started with --no-sandbox; look into QUIRELLE_BROWSER, "
                     "if that is a script, and into the browser's own configuration"_s;
    case Confinement::Unknown:
        return u"on; nothing tells here whether it works"_s;
    }
    return {};
}

QString fontsText(const FontCoverage &fonts)
{
    const QString covered = fonts.covered.isEmpty() ? u"none"_s : fonts.covered.join(u", "_s);
    if (fonts.missing.isEmpty())
        return covered;
    return u"%1; missing: %2. Install %3 (Debian's packages)"_s.arg(covered, fonts.missing.join(u", "_s),
                                                                    fonts.packages.join(u' '));
}

QString hyphensText(const BrowserFacts &facts)
{
    const QString folder = qEnvironmentVariable("QUIRELLE_HYPHENATION", u"/usr/share/hyphen"_s);
    const QStringList languages = hyphenatedLanguages(folder);
    if (!isHeadlessShell(facts))
        return u"none with a full browser: install chromium-headless-shell"_s;
    if (languages.isEmpty())
        return u"none: install hyphen-en-us, hyphen-de … (Debian's packages)"_s;
    return u"%1, from %2"_s.arg(languages.join(u", "_s), folder);
}

QString serverText()
{
    const std::string socket = runningServer();
    if (!socket.empty())
        return u"running, at "_s + QFile::decodeName(socket.c_str());
    const int seconds = idleSeconds();
    return seconds == 0 ? u"none, by QUIRELLE_IDLE_SECONDS=0"_s
                        : u"none is running; a job starts one, which stays for %1 s"_s.arg(seconds);
}

QString withExistence(const QString &path)
{
    return QFileInfo::exists(path) ? path : path + u" (not there yet)"_s;
}

QByteArray sampleDocument()
{
    return "<!DOCTYPE html><title>Check</title><p>A document.</p>";
}

/// Throws what a job would fail with.
void convertSample(Deadline deadline)
{
    Job job;
    job.document = sampleDocument();
    job.folder = u"/"_s;
    JobRecord record;
    Cancellation none;
    renderAlone(
        orderOf(job, deadline), [](std::string_view) {}, record, none);
}

/// What has been found of the browser, as far as that got.
struct Attempt {
    /// Empty if there is none.
    QString browser;
    std::optional<BrowserFacts> facts;
    bool lacksSandbox = false;
    std::optional<Failure> failure;
};

void tryBrowser(Attempt &attempt, Deadline deadline)
{
    attempt.browser = locateBrowser();
    Browser browser(LaunchFlags{}, FirstPage::Blank);
    try {
        attempt.facts = factsOf(browser, deadline);
    } catch (const Failure &failure) {
        attempt.lacksSandbox = browser.lacksSandbox();
        throw browser.withReason(failure);
    }
}

Attempt tried(Deadline deadline)
{
    Attempt attempt;
    try {
        tryBrowser(attempt, deadline);
        convertSample(deadline);
    } catch (const Failure &failure) {
        attempt.failure = failure;
    }
    return attempt;
}

QString browserText(const Attempt &attempt)
{
    if (attempt.browser.isEmpty())
        return u"none"_s;
    if (!attempt.facts)
        return attempt.browser + u", not started"_s;
    return u"%1, %2, version %3"_s.arg(
        attempt.browser, isHeadlessShell(*attempt.facts) ? u"a headless shell"_s : u"a full browser"_s,
        attempt.facts->product.section(u'/', 1));
}

QString sandboxText(const Attempt &attempt)
{
    if (attempt.facts)
        return sandboxText(attempt.facts->confinement);
    return attempt.lacksSandbox ? u"cannot start: "_s + sandboxAdvice() : u"not tried"_s;
}

class Lines
{
public:
    void add(const char *word, const QString &found)
    {
        constexpr qsizetype column = 10;
        m_text += QString(QLatin1String(word)).leftJustified(column) + found + u'\n';
    }
    const QString &text() const { return m_text; }

private:
    QString m_text;
};

} // namespace

CheckResult check()
{
    const Attempt attempt = tried(Deadline::in(Job().timeout));
    Lines lines;
    lines.add("version", u"quirelle " QUIRELLE_VERSION ""_s);
    lines.add("browser", browserText(attempt));
    lines.add("sandbox", sandboxText(attempt));
    if (attempt.facts) {
        lines.add("fonts", fontsText(attempt.facts->fonts));
        lines.add("hyphens", hyphensText(*attempt.facts));
    }
    lines.add("server", serverText());
    lines.add("log", withExistence(QFile::decodeName(logPath().c_str())));
    lines.add("settings", withExistence(settingsFileFor(QFile::decodeName(executablePath().c_str()))));
    lines.add("document", attempt.failure ? u"not converted"_s : u"converted"_s);
    return {lines.text(), attempt.failure};
}
