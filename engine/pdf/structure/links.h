#pragma once

class QPDF;

/// Removes every link that leads out of a printed document: every link with an action, as the browser writes
/// no action but opening an address. Links within the document stay. The content of a removed link stays and
/// is tagged as plain text (Span).
///
/// Throws Refusal at anything else that can have an action, such as a document script: the browser writes
/// none. The document is then changed in part and must not be used.
void removeExternalLinks(QPDF &pdf);
