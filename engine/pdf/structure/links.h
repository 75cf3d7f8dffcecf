#pragma once

#include <QUrl>

class QPDF;

/// Whether a printed document may have a link that relateLinks() changes. Reading the links of a long
/// document takes longer than all other edits.
bool mayHaveRelatedLinks(const QByteArray &printed, const QUrl &address);

/// Makes links to the document's own address lead to its first page, and of a document from a file, whose
/// address is `address`, links to other files relative ones, so that the PDF does not name the folders of
/// this machine: to those that lie below the same folder of the root. A link that is relative is so to the
/// PDF.
void relateLinks(QPDF &pdf, const QUrl &address);

/// Removes the links to destinations that the document does not have, such as those on pages that were not
/// printed. Their content stays as that of the links below.
void removeDanglingLinks(QPDF &pdf);

/// Removes every link that leads out of a printed document: every link with an action, as the browser writes
/// no action but opening an address. Links within the document stay. The content of a removed link stays and
/// is tagged as plain text (Span).
///
/// Throws Refusal at anything else that can have an action, such as a document script: the browser writes
/// none. The document is then changed in part and must not be used.
void removeExternalLinks(QPDF &pdf);
