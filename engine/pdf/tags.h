#pragma once

#include <qpdf/QPDFObjectHandle.hh>

#include <vector>

class QPDF;

/// Takes annotations, which are gone from their pages, out of the structure tree (ISO 32000-1, 14.7.4): their
/// entries in the parent tree and the references of structure elements to them. An element that was a Link
/// only by them becomes a Span, since its content stays.
///
/// Throws std::exception if the parent tree is malformed.
void untagAnnotations(QPDF &pdf, const std::vector<QPDFObjectHandle> &annotations);
