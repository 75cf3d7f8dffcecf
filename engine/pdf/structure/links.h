#pragma once

#include <QUrl>
#include <qpdf/QPDFPageObjectHelper.hh>

#include <functional>

class QPDF;

/// Whether a printed document may have a link that relateLinks() changes. Reading the links of a long
/// document takes longer than all other edits.
bool mayHaveRelatedLinks(const QByteArray &printed, const QUrl &address);

/// Where in the PDF a link to this address leads: the value of its /Dest (ISO 32000-1, 12.3.2); null if it
/// leads out of the PDF.
using LinkTarget = std::function<QPDFObjectHandle(const QUrl &address)>;

/// The beginning of a page.
QPDFObjectHandle startOf(QPDFPageObjectHelper page);

/// Makes links to what `targetOf` knows lead there, and, if the file `base` is not empty, links to other
/// files relative ones, so that the PDF does not name the folders of this machine: to those that lie below
/// the same folder of the root. A link that is relative is so to the PDF.
void relateLinks(QPDF &pdf, const QUrl &base, const LinkTarget &targetOf);
/// Same for a whole document from `address`: links to this lead to its first page.
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
