#pragma once

class QPDF;

/// Takes every action out of a document that leads out of it or runs something: web, mail and file addresses,
/// other documents, programs, forms sent or filled in, scripts, films and sounds; wherever they stand: links
/// and other annotations, form fields, outline entries, pages, the document itself, and in chains of actions,
/// of which the other links stay. Links within the document stay as they are.
///
/// A link annotation that has nothing left to do is gone, so that no viewer shows it as a link, and its tag
/// becomes that of plain text.
///
/// Throws std::exception if the document is malformed; it is then half changed and of no use.
void removeExternalLinks(QPDF &pdf);
