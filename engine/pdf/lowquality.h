#pragma once

class QPDF;

/// Makes a document as small as it may get: its images have at most 96 samples for an inch of paper and are
/// strongly compressed, and its structure tree is gone with everything that belongs to it. Text, vectors,
/// links and outline stay; so do masks of one bit, drawings and edges, see smallimage.h. Images that stand in
/// a content stream stay too: they are small, and the browser writes none.
///
/// Throws std::exception if the document is malformed; it is then half changed and of no use.
void lowerQuality(QPDF &pdf);
