#include "engine/page/warnings.h"

#include "engine/job/failure.h"

#include <QHash>
#include <QUrl>

namespace
{

using namespace Qt::StringLiterals;

/// In characters.
constexpr qsizetype maximumAddress = 200;
/// Of things of a kind: how many are named.
constexpr qsizetype maximumNames = 3;
/// Sizes that differ by less are the same.
constexpr double tolerance = 1.001;

QString shortened(const QString &address)
{
    const QString clean = withoutCredentials(address);
    return clean.size() > maximumAddress ? clean.left(maximumAddress) + u"…"_s : clean;
}

/// The first of them, and how many there are more.
QString namesOf(const QStringList &all)
{
    QStringList names = all.first(std::min(maximumNames, all.size()));
    for (QString &name : names)
        name = shortened(name);
    if (all.size() > maximumNames)
        names += u"%1 more"_s.arg(all.size() - maximumNames);
    return names.join(u", "_s);
}

/// The first failed request of each server, and how many more there are of it.
QStringList requestWarnings(const QList<PageProblems::Request> &requests)
{
    QStringList servers;
    QHash<QString, QList<PageProblems::Request>> byServer;
    for (const auto &request : requests) {
        const QString server =
            QUrl(request.address).adjusted(QUrl::RemovePath | QUrl::RemoveUserInfo).authority();
        if (!byServer.contains(server))
            servers += server;
        byServer[server] += request;
    }
    QStringList warnings;
    for (const QString &server : servers) {
        const auto &its = byServer[server];
        QString warning = u"%1 is missing: %2"_s.arg(shortened(its.first().address), its.first().reason);
        if (its.size() > 1)
            warning += u" (and %1 more of %2)"_s.arg(its.size() - 1)
                           .arg(server.isEmpty() ? u"this machine's files"_s : server);
        warnings += warning;
    }
    return warnings;
}

/// What the paper has kept from the page.
QStringList fitWarnings(const Fit &fit)
{
    QStringList warnings;
    if (fit.shrinking > maximumShrinking * tolerance)
        warnings +=
            u"cut off at the edge of the paper: the page is %1 times as wide, and shrunk to a tenth at most"_s
                .arg(fit.shrinking, 0, 'f', 1);
    if (fit.smallestText > 0)
        warnings +=
            u"text is smaller than asked for, %1 points, because all of the page's width is kept on the paper"_s
                .arg(fit.smallestText, 0, 'f', 1);
    if (fit.elements > maximumTaggedElements)
        warnings +=
            u"printed without tags for screen readers: the page has %1 elements, and these are made for %2 at most"_s
                .arg(fit.elements)
                .arg(maximumTaggedElements);
    if (!fit.hidingBoxes.isEmpty())
        warnings +=
            u"text is hidden in boxes that would have to be scrolled: %1"_s.arg(namesOf(fit.hidingBoxes));
    return warnings;
}

} // namespace

QStringList warningsFor(const PageProblems &problems)
{
    QStringList warnings;
    if (!problems.unfinished.isEmpty())
        warnings += u"printed before it was complete, still going on: %1"_s.arg(namesOf(problems.unfinished));
    warnings += requestWarnings(problems.failedRequests);
    for (const QString &exception : problems.exceptions)
        warnings += u"a script failed: %1"_s.arg(shortened(exception));
    warnings += fitWarnings(problems.fit);
    warnings.removeDuplicates();
    if (warnings.size() > maximumWarnings) {
        const qsizetype more = warnings.size() - (maximumWarnings - 1);
        warnings.resize(maximumWarnings - 1);
        warnings += u"and %1 more warnings"_s.arg(more);
    }
    return warnings;
}
