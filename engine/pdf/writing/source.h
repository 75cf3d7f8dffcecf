#pragma once

#include <qpdf/BufferInputSource.hh>

#include <string_view>
#include <vector>

/// The bytes of a PDF for libqpdf, recording where it seeks. libqpdf reads an object only when it is used,
/// and seeks to its offset first: an object whose offset has not been sought cannot have been changed.
class Source : public BufferInputSource
{
public:
    /// `bytes` must outlive the source.
    explicit Source(std::string_view bytes);

    std::string_view bytes() const { return m_bytes; }
    /// For each offset whether libqpdf has sought it, and so may have read an object there.
    const std::vector<bool> &sought() const { return m_sought; }

    void seek(qpdf_offset_t offset, int whence) override;

private:
    std::string_view m_bytes;
    /// Not a set of offsets: libqpdf seeks before every token.
    std::vector<bool> m_sought;
};
