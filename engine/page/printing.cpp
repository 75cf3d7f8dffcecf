#include "engine/page/printing.h"

using namespace Qt::StringLiterals;

namespace
{

void checkCompleteness(const Order &order, const QStringList &warnings)
{
    if (!order.job.strict || warnings.isEmpty())
        return;
    throw Failure(ExitCode::Incomplete,
                  u"%1: not written, because --strict allows no warning"_s.arg(order.address.shown),
                  Failure::Retry::IsInVain);
}

} // namespace

QByteArray printPage(Page &page, const Order &order, JobRecord &record, const ActivityListener &listener)
{
    const std::string name = order.address.shown.toStdString();
    try {
        record.enter(JobStep::Load);
        listener("loading " + name);
        page.load(order, record);
        record.enter(JobStep::Print);
        listener("printing " + name);
        QByteArray pdf = page.print(order.job);
        page.describe(order.job, record);
        checkCompleteness(order, record.warnings);
        return pdf;
    } catch (const Failure &) {
        page.describe(order.job, record);
        throw;
    }
}
