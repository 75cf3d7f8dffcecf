#pragma once

#include <qpdf/QPDFObjectHandle.hh>

#include <vector>

class QPDF;

/// The dictionaries of the document's outline (ISO 32000-1, 12.3.3), each once, in no particular order, also
/// if they refer to one another in circles.
std::vector<QPDFObjectHandle> outlineEntries(QPDF &pdf);
