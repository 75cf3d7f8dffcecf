#include "engine/pdf/writing/document.h"

#include "engine/pdf/writing/packer.h"

#include <utility>

PdfDocument::PdfDocument(QByteArray bytes)
    : m_bytes(std::move(bytes)), m_source(std::make_shared<Source>(std::string_view(
                                     m_bytes.constData(), static_cast<size_t>(m_bytes.size()))))
{
    m_pdf.setSuppressWarnings(true);
    m_pdf.processInputSource(m_source);
}

QByteArray PdfDocument::compacted(const std::string &xmp)
{
    const std::string file = packed(m_pdf, *m_source, xmp);
    return {file.data(), static_cast<qsizetype>(file.size())};
}
