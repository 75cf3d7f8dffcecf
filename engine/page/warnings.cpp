#include "engine/page/warnings.h"

#include "engine/job/failure.h"

#include <QHash>
#include <QUrl>

namespace
{

using namespace Qt::StringLiterals;

/// In characters.
constexpr qsizetype maximumAddress = 200;
/// Of what was still going on: how much is named.
constexpr qsizetype maximumNames = 3;

QString shortened(const QString &address)
{
    const QString clean = withoutCredentials(address);
    return clean.size() > maximumAddress ? clean.left(maximumAddress) + u"…"_s : clean;
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

} // namespace

QStringList warningsFor(const PageProblems &problems)
{
    QStringList warnings;
    if (!problems.unfinished.isEmpty()) {
        QStringList names = problems.unfinished.first(std::min(maximumNames, problems.unfinished.size()));
        if (problems.unfinished.size() > maximumNames)
            names += u"%1 more"_s.arg(problems.unfinished.size() - maximumNames);
        for (QString &name : names)
            name = shortened(name);
        warnings += u"printed before it was complete, still going on: %1"_s.arg(names.join(u", "_s));
    }
    warnings += requestWarnings(problems.failedRequests);
    for (const QString &exception : problems.exceptions)
        warnings += u"a script failed: %1"_s.arg(shortened(exception));
    warnings.removeDuplicates();
    if (warnings.size() > maximumWarnings) {
        const qsizetype more = warnings.size() - (maximumWarnings - 1);
        warnings.resize(maximumWarnings - 1);
        warnings += u"and %1 more warnings"_s.arg(more);
    }
    return warnings;
}
