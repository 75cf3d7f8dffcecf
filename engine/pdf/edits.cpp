#include "engine/pdf/edits.h"

#include "engine/pdf/copies.h"
#include "engine/pdf/document.h"
#include "engine/pdf/equalimages.h"
#include "engine/pdf/fontprogram.h"
#include "engine/pdf/grayscale.h"
#include "engine/pdf/links.h"
#include "engine/pdf/lowquality.h"
#include "engine/pdf/title.h"

QByteArray editedPdf(const QByteArray &printed, const Job &job)
{
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
}
