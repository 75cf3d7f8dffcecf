#include "engine/job/record.h"

#include "engine/job/failure.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace
{

constexpr const char *stepNames[] = {"start", "load", "settle", "print", "edit"};

} // namespace

void JobRecord::enter(JobStep step)
{
    const auto now = std::chrono::steady_clock::now();
    m_times[static_cast<size_t>(m_step)] += now - m_entered;
    m_entered = now;
    m_step = step;
}

Findings JobRecord::findings(const Job &job) const
{
    Findings findings;
    for (const QString &warning : warnings)
        findings.warnings.push_back(onOneLine(warning).toStdString());
    findings.address = page.address.toString(QUrl::FullyEncoded).toStdString();
    if (job.report.isEmpty())
        return findings;
    JobRecord ended = *this;
    ended.enter(m_step);
    QJsonObject seconds;
    for (size_t step = 0; step < m_times.size(); ++step)
        seconds.insert(QLatin1String(stepNames[step]),
                       std::chrono::duration<double>(ended.m_times[step]).count());
    const QJsonObject report{
        {u"input"_s, withoutCredentials(job.input)},
        {u"address"_s,
         findings.address.empty() ? QJsonValue() : QJsonValue(QString::fromStdString(findings.address))},
        {u"pages"_s, pages},
        {u"warnings"_s, QJsonArray::fromStringList(warnings)},
        {u"requests"_s, QJsonObject{{u"count"_s, requests}, {u"failed"_s, failedRequests}}},
        {u"seconds"_s, seconds},
        {u"browser"_s, page.browser.isEmpty() ? QJsonValue() : QJsonValue(page.browser)},
        {u"engine"_s, QStringLiteral(QUIRELLE_VERSION)}};
    const QByteArray text = QJsonDocument(report).toJson(QJsonDocument::Compact);
    findings.report = text.sliced(1, text.size() - 2).toStdString();
    return findings;
}
