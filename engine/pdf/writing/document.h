#pragma once

#include "engine/pdf/writing/source.h"

#include <QByteArray>
#include <qpdf/QPDF.hh>

#include <memory>
#include <string>

/// A finished PDF, opened for editing. The edits each take one and change it in place; they throw what
/// libqpdf throws.
class PdfDocument
{
public:
    /// Opens `bytes`, which the document keeps. Throws std::exception if they are no PDF.
    explicit PdfDocument(QByteArray bytes);

    QPDF &pdf() { return m_pdf; }

    /// The document as a file, see packed().
    QByteArray compacted(const std::string &xmp = {});

private:
    QByteArray m_bytes;
    std::shared_ptr<Source> m_source;
    QPDF m_pdf;
};
