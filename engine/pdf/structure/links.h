#pragma once

class QPDF;

/// Takes every link out of a printed document that leads out of it: all that have an action, for the browser
/// writes none but that of opening an address. Links to destinations within the document stay. The tag of a
/// removed link becomes that of plain text, since its content stays.
///
/// Throws std::runtime_error at any other thing that may act, such as a script of the document: the browser
/// writes none. The document is then half changed and of no use.
void removeExternalLinks(QPDF &pdf);
