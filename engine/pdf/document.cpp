#include "engine/pdf/document.h"

#include <qpdf/Buffer.hh>
#include <qpdf/Pl_Buffer.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFPageObjectHelper.hh>
#include <qpdf/QPDFWriter.hh>

#include <utility>

namespace
{

/// An empty page's content would be written as compressed data of no length, which some viewers call damaged.
void fillEmptyContents(QPDF &pdf)
{
    for (QPDFPageObjectHelper &page : QPDFPageDocumentHelper(pdf).getAllPages()) {
        for (QPDFObjectHandle &content : page.getPageContents()) {
            if (content.getRawStreamData()->getSize() == 0)
                content.replaceStreamData("\n", QPDFObjectHandle::newNull(), QPDFObjectHandle::newNull());
        }
    }
}

} // namespace

PdfDocument::PdfDocument(QByteArray bytes) : m_bytes(std::move(bytes))
{
    m_pdf.setSuppressWarnings(true);
    m_pdf.processMemoryFile("the printed page", m_bytes.constData(), static_cast<size_t>(m_bytes.size()));
}

QByteArray PdfDocument::compacted()
{
    fillEmptyContents(m_pdf);
    QPDFWriter writer(m_pdf);
    writer.setOutputMemory();
    writer.setObjectStreamMode(qpdf_o_generate);
    writer.setDeterministicID(true);
    writer.write();
    const std::shared_ptr<Buffer> buffer = writer.getBufferSharedPointer();
    return {reinterpret_cast<const char *>(buffer->getBuffer()), static_cast<qsizetype>(buffer->getSize())};
}
