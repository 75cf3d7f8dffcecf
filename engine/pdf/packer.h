#pragma once

#include <qpdf/QPDF.hh>

#include <string>
#include <string_view>

/// `pdf` as a file, packed as small as it gets without loss: every object that the trailer leads to, all but
/// streams in object streams (ISO 32000-1, 7.5.7), every stream compressed.
///
/// Structure elements, the many thousand of a tagged document, are taken as they stand in `source`, the bytes
/// from which `pdf` was opened, because reading and writing them anew takes most of the time. So they must
/// not have been changed, except those that refer to annotations (/OBJR).
///
/// Throws std::runtime_error for an encrypted document.
std::string packed(QPDF &pdf, std::string_view source);
