#include "engine/pdf/finish.h"

#include "engine/failure.h"
#include "engine/output.h"
#include "engine/pdf/copies.h"
#include "engine/pdf/document.h"
#include "engine/pdf/equalimages.h"
#include "engine/pdf/fontprogram.h"
#include "engine/pdf/grayscale.h"
#include "engine/pdf/links.h"
#include "engine/pdf/lowquality.h"
#include "engine/pdf/title.h"

namespace
{

QByteArray edited(const QByteArray &printed, const Job &job)
{
    try {
        PdfDocument document(printed);
        // First, so that whatever is done to an image is done once.
        mergeEqualImages(document.pdf());
        if (job.title)
            setTitle(document.pdf(), *job.title);
        if (!job.externalLinks)
            removeExternalLinks(document.pdf());
        // Gray first: images are then scaled in one channel instead of three, and compressed strongly only
        // once.
        if (job.grayscale)
            makeGray(document.pdf());
        if (job.lowQuality)
            lowerQuality(document.pdf());
        if (job.copies > 1)
            repeatPages(document.pdf(), job.copies);
        trimFonts(document.pdf());
        return document.compacted();
    } catch (const std::exception &error) {
        throw Failure(
            ExitCode::Crashed,
            QStringLiteral("the printed PDF cannot be read: %1").arg(QString::fromUtf8(error.what())));
    }
}

} // namespace

QByteArray finishPdf(const QByteArray &printed, const Job &job)
{
    QByteArray pdf = edited(printed, job);
    if (pdf.size() > static_cast<qsizetype>(job.maximumOutput) << 20)
        throw tooLargeForOutput(job.maximumOutput);
    return pdf;
}
