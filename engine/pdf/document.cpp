#include "engine/pdf/document.h"

#include "engine/pdf/packer.h"

#include <utility>

PdfDocument::PdfDocument(QByteArray bytes) : m_bytes(std::move(bytes))
{
    m_pdf.setSuppressWarnings(true);
    m_pdf.processMemoryFile("the printed page", m_bytes.constData(), static_cast<size_t>(m_bytes.size()));
}

QByteArray PdfDocument::compacted()
{
    const std::string file = packed(m_pdf, {m_bytes.constData(), static_cast<size_t>(m_bytes.size())});
    return {file.data(), static_cast<qsizetype>(file.size())};
}
