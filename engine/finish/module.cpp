#include "engine/finish/module.h"

#include "engine/pdf/edits.h"
#include "engine/pdf/joining/joining.h"
#include "engine/pdf/reading/refusal.h"

#include <exception>
#include <type_traits>

namespace
{

template <typename Action>
EditOutcome outcomeOf(const Action &action, QString &problem)
{
    try {
        action();
        return EditOutcome::Edited;
    } catch (const Refusal &refusal) {
        problem = QString::fromUtf8(refusal.what());
        return EditOutcome::Refused;
    } catch (const std::exception &error) {
        problem = QString::fromUtf8(error.what());
        return EditOutcome::Unreadable;
    }
}

} // namespace

extern "C" Q_DECL_EXPORT EditOutcome editPdf(const QByteArray &printed, const Job &job, QByteArray &pdf,
                                             int &pages, QString &problem)
{
    return outcomeOf([&] { pdf = editedPdf(printed, job, &pages); }, problem);
}

extern "C" Q_DECL_EXPORT EditOutcome joinPdfs(const std::vector<Part> &parts, const PartReader &read,
                                              const Job &job,
                                              const std::function<void(std::string_view)> &write,
                                              QString &problem)
{
    return outcomeOf([&] { joinParts(parts, read, job, write); }, problem);
}

static_assert(std::is_same_v<decltype(&editPdf), EditPdf>);
static_assert(std::is_same_v<decltype(&joinPdfs), JoinPdfs>);
