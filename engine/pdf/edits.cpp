#include "engine/pdf/edits.h"

#include "engine/pdf/gray/grayscale.h"
#include "engine/pdf/images/equalimages.h"
#include "engine/pdf/images/smallimages.h"
#include "engine/pdf/reading/parts.h"
#include "engine/pdf/structure/copies.h"
#include "engine/pdf/structure/fonts.h"
#include "engine/pdf/structure/links.h"
#include "engine/pdf/structure/metadata.h"
#include "engine/pdf/structure/outline.h"
#include "engine/pdf/structure/structure.h"
#include "engine/pdf/structure/userunit.h"
#include "engine/pdf/writing/document.h"

QByteArray editedPdf(const QByteArray &printed, const Job &job, int *pages)
{
    PdfDocument document(printed);
    const DocumentParts parts = DocumentParts::of(document.pdf());
    // First, so that the other edits process each image once.
    mergeEqualImages(parts);
    trimFonts(parts);
    setInformation(document.pdf(), job);
    mapRoles(document.pdf());
    addOutline(document.pdf(), job.page.headings);
    if (job.fixedTime.isValid())
        renameElements(document.pdf());
    // Before links out of the document are removed. Those of a part wait until all parts are there.
    if (!job.isPart && mayHaveRelatedLinks(printed, job.page.address))
        relateLinks(document.pdf(), job.page.address);
    if (!job.pageRanges.isEmpty())
        removeDanglingLinks(document.pdf());
    if (!job.externalLinks)
        removeExternalLinks(document.pdf());
    // Gray before small: images are then scaled in one channel instead of three, and lossily compressed only
    // once.
    if (job.grayscale)
        makeGray(document.pdf());
    if (job.lowQuality) {
        removeStructure(document.pdf());
        makeImagesSmall(document.pdf());
    }
    if (job.page.userUnit > 1)
        setUserUnit(document.pdf(), job.page.userUnit);
    if (job.copies > 1)
        repeatPages(document.pdf(), job.copies);
    if (pages)
        *pages = static_cast<int>(parts.pages.size()) * job.copies;
    return document.compacted(xmpOf(document.pdf()));
}
