#include "engine/pdf/writing/source.h"

#include <qpdf/Buffer.hh>

#include <cstdio>

namespace
{

/// Buffer takes a pointer to non-const, but BufferInputSource only reads.
Buffer *bufferOf(std::string_view bytes)
{
    return new Buffer(reinterpret_cast<unsigned char *>(const_cast<char *>(bytes.data())), bytes.size());
}

} // namespace

Source::Source(std::string_view bytes)
    : BufferInputSource("the printed page", bufferOf(bytes), true), m_bytes(bytes), m_sought(bytes.size())
{
}

void Source::seek(qpdf_offset_t offset, int whence)
{
    if (whence == SEEK_SET && offset >= 0 && static_cast<size_t>(offset) < m_sought.size())
        m_sought[static_cast<size_t>(offset)] = true;
    BufferInputSource::seek(offset, whence);
}
