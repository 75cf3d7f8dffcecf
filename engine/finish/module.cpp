#include "engine/finish/module.h"

#include "engine/pdf/edits.h"

#include <exception>
#include <type_traits>

extern "C" Q_DECL_EXPORT bool editPdf(const QByteArray &printed, const Job &job, QByteArray &pdf, int &pages,
                                      QString &problem)
{
    try {
        pdf = editedPdf(printed, job, &pages);
        return true;
    } catch (const std::exception &error) {
        problem = QString::fromUtf8(error.what());
        return false;
    }
}

static_assert(std::is_same_v<decltype(&editPdf), EditPdf>);
