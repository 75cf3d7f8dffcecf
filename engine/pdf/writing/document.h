#pragma once

#include "engine/pdf/writing/source.h"

#include <QByteArray>
#include <qpdf/QPDF.hh>

#include <memory>
#include <string>

/// A PDF opened for editing. Edits change it in place.
class PdfDocument
{
public:
    /// Opens the PDF `bytes`. Throws std::exception if it is damaged.
    explicit PdfDocument(QByteArray bytes);

    QPDF &pdf() { return m_pdf; }

    /// The document as a file, see packed().
    QByteArray compacted(const std::string &xmp = {});

private:
    QByteArray m_bytes;
    std::shared_ptr<Source> m_source;
    QPDF m_pdf;
};
