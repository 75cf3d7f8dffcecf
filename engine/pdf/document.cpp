#include "engine/pdf/document.h"

#include <qpdf/Buffer.hh>
#include <qpdf/Pl_Buffer.hh>
#include <qpdf/QPDFWriter.hh>

#include <utility>

PdfDocument::PdfDocument(QByteArray bytes) : m_bytes(std::move(bytes))
{
    m_pdf.setSuppressWarnings(true);
    m_pdf.processMemoryFile("the printed page", m_bytes.constData(), static_cast<size_t>(m_bytes.size()));
}

QByteArray PdfDocument::compacted()
{
    QPDFWriter writer(m_pdf);
    writer.setOutputMemory();
    writer.setObjectStreamMode(qpdf_o_generate);
    writer.setDeterministicID(true);
    writer.write();
    const std::shared_ptr<Buffer> buffer = writer.getBufferSharedPointer();
    return {reinterpret_cast<const char *>(buffer->getBuffer()), static_cast<qsizetype>(buffer->getSize())};
}
