#pragma once

#include <qpdf/BufferInputSource.hh>

#include <string_view>
#include <vector>

/// The bytes of a PDF, as libqpdf reads them. libqpdf reads an object when it is asked for it and not before,
/// and begins by seeking its offset: what has not been sought cannot have been changed.
class Source : public BufferInputSource
{
public:
    /// `bytes` must outlive the source.
    explicit Source(std::string_view bytes);

    std::string_view bytes() const { return m_bytes; }
    /// For each byte whether an object that begins there may have been read.
    const std::vector<bool> &sought() const { return m_sought; }

    void seek(qpdf_offset_t offset, int whence) override;

private:
    std::string_view m_bytes;
    /// libqpdf seeks before every word: a set of offsets would cost more.
    std::vector<bool> m_sought;
};
