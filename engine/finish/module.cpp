#include "engine/finish/module.h"

#include "engine/pdf/edits.h"
#include "engine/pdf/reading/refusal.h"

#include <exception>
#include <type_traits>

extern "C" Q_DECL_EXPORT EditOutcome editPdf(const QByteArray &printed, const Job &job, QByteArray &pdf,
                                             int &pages, QString &problem)
{
    try {
        pdf = editedPdf(printed, job, &pages);
        return EditOutcome::Edited;
    } catch (const Refusal &refusal) {
        problem = QString::fromUtf8(refusal.what());
        return EditOutcome::Refused;
    } catch (const std::exception &error) {
        problem = QString::fromUtf8(error.what());
        return EditOutcome::Unreadable;
    }
}

static_assert(std::is_same_v<decltype(&editPdf), EditPdf>);
