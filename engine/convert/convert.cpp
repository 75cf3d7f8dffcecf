#include "engine/convert/convert.h"

#include "engine/base/output.h"
#include "engine/client/client.h"
#include "engine/client/report.h"
#include "engine/job/failure.h"

namespace
{

/// Nothing if the server is of no use.
std::optional<std::string> printedByServer(const Invocation &invocation, const ActivityListener &listener,
                                           Findings &findings)
{
    ServerReply reply = askServer(invocation, IfNone::Start, listener);
    findings = std::move(reply.job.findings);
    if (reply.kind == ServerReply::Kind::Failed)
        throw Failure(reply.code, QString::fromStdString(reply.message));
    if (reply.kind == ServerReply::Kind::Printed)
        return std::move(reply.pdf);
    return std::nullopt;
}

} // namespace

void print(const Invocation &invocation, const Job &job, UseServer useServer,
           const ActivityListener &listener, Cancellation &cancellation, Findings &findings,
           const std::function<void(std::string_view pdf)> &take)
{
    const Order order = orderOf(job, Deadline::after(invocation.begun, job.timeout));
    if (useServer == UseServer::Yes) {
        if (const std::optional<std::string> pdf = printedByServer(invocation, listener, findings))
            return take(*pdf);
    }
    JobRecord record;
    QByteArray pdf;
    try {
        pdf = renderAlone(order, listener, record, cancellation);
    } catch (const Failure &) {
        findings = record.findings(job);
        throw;
    }
    findings = record.findings(job);
    take({pdf.constData(), static_cast<size_t>(pdf.size())});
}

size_t convert(const Invocation &invocation, const Job &job, UseServer useServer,
               const ActivityListener &listener, Findings &findings)
{
    const std::string output = job.output.toStdString();
    checkPlaces(output, job.report.toStdString());
    size_t bytes = 0;
    Cancellation none;
    print(invocation, job, useServer, listener, none, findings, [&](std::string_view pdf) {
        writeOutput(output, pdf);
        bytes = pdf.size();
    });
    return bytes;
}
