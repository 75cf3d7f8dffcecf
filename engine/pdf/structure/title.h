#pragma once

#include <QString>

class QPDF;

/// Sets the document's title in its information dictionary (ISO 32000-1, 14.3.3) and tells viewers to show it
/// instead of the file's name (12.2). An XMP stream, which would contradict it, is not written by the
/// browser.
void setTitle(QPDF &pdf, const QString &title);
