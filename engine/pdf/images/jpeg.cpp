#include "engine/pdf/images/jpeg.h"

// jpeglib.h needs size_t and FILE beforehand.
#include <array>
#include <csetjmp>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <jpeglib.h>
#include <stdexcept>

namespace
{

constexpr int grayQuality = 92;
constexpr long maximumWorkBytes = 1L << 29;
/// Against denial of service: a progressive file is decoded once per scan.
constexpr int maximumScans = 200;

struct Errors : jpeg_error_mgr {
    std::jmp_buf escape;
    std::array<char, JMSG_LENGTH_MAX> message;
};

[[noreturn]] void escapeWithMessage(j_common_ptr info)
{
    auto *errors = static_cast<Errors *>(info->err);
    errors->format_message(info, errors->message.data());
    std::longjmp(errors->escape, 1);
}

void ignoreWarning(j_common_ptr) {}

void countScans(j_common_ptr info)
{
    if (reinterpret_cast<j_decompress_ptr>(info)->input_scan_number > maximumScans)
        escapeWithMessage(info);
}

void prepare(Errors &errors)
{
    jpeg_std_error(&errors);
    errors.error_exit = escapeWithMessage;
    errors.output_message = ignoreWarning;
}

/// Runs `work`, which calls libjpeg. An error leaves it by longjmp(), so it must have no local objects with
/// destructors.
template <class Work>
void guarded(Errors &errors, const Work &work)
{
    if (setjmp(errors.escape) != 0)
        throw std::runtime_error(std::string("a JPEG image cannot be used: ") + errors.message.data());
    work();
}

class Decoder
{
public:
    explicit Decoder(const std::string &file) : Decoder()
    {
        guarded(errors, [&] {
            jpeg_create_decompress(&info);
            info.mem->max_memory_to_use = maximumWorkBytes;
            progress.progress_monitor = countScans;
            info.progress = &progress;
            jpeg_mem_src(&info, reinterpret_cast<const unsigned char *>(file.data()), file.size());
            jpeg_read_header(&info, TRUE);
        });
        if (static_cast<long long>(info.image_width) * info.image_height > maximumPixels)
            throw std::runtime_error("a JPEG image is too large");
        if (info.num_components != 1 && info.num_components != 3)
            throw std::runtime_error("a JPEG image is neither gray nor of three colours");
    }

    ~Decoder() { jpeg_destroy_decompress(&info); }
    Decoder(const Decoder &) = delete;
    Decoder &operator=(const Decoder &) = delete;

    jpeg_decompress_struct info{};
    Errors errors{};

private:
    /// The other constructor delegates to this one, so the destructor runs also if that throws.
    Decoder()
    {
        prepare(errors);
        info.err = &errors;
    }

    jpeg_progress_mgr progress{};
};

class Encoder
{
public:
    Encoder()
    {
        prepare(errors);
        info.err = &errors;
        jpeg_create_compress(&info);
        jpeg_mem_dest(&info, &m_bytes, &m_size);
    }

    ~Encoder()
    {
        jpeg_destroy_compress(&info);
        std::free(m_bytes);
    }
    Encoder(const Encoder &) = delete;
    Encoder &operator=(const Encoder &) = delete;

    std::string file() const { return {reinterpret_cast<const char *>(m_bytes), m_size}; }

    jpeg_compress_struct info{};
    Errors errors{};

private:
    unsigned char *m_bytes = nullptr;
    unsigned long m_size = 0;
};

J_COLOR_SPACE colourSpaceOf(int channels)
{
    return channels == 1 ? JCS_GRAYSCALE : JCS_RGB;
}

unsigned denominator(const jpeg_decompress_struct &info, int minimumWidth, int minimumHeight)
{
    unsigned part = 1;
    if (minimumWidth <= 0 || minimumHeight <= 0)
        return part;
    while (part < 8 && info.image_width / (2 * part) >= static_cast<unsigned>(minimumWidth) &&
           info.image_height / (2 * part) >= static_cast<unsigned>(minimumHeight))
        part *= 2;
    return part;
}

Raster decoded(Decoder &decoder, int channels, int minimumWidth, int minimumHeight)
{
    decoder.info.out_color_space = colourSpaceOf(channels);
    decoder.info.scale_num = 1;
    decoder.info.scale_denom = denominator(decoder.info, minimumWidth, minimumHeight);
    guarded(decoder.errors, [&] { jpeg_start_decompress(&decoder.info); });
    Raster raster{static_cast<int>(decoder.info.output_width),
                  static_cast<int>(decoder.info.output_height),
                  channels,
                  {}};
    const size_t stride = size_t{decoder.info.output_width} * static_cast<size_t>(channels);
    raster.samples.resize(stride * decoder.info.output_height);
    auto *const begin = reinterpret_cast<JSAMPLE *>(raster.samples.data());
    guarded(decoder.errors, [&] {
        while (decoder.info.output_scanline < decoder.info.output_height) {
            JSAMPROW row = begin + stride * decoder.info.output_scanline;
            jpeg_read_scanlines(&decoder.info, &row, 1);
        }
    });
    return raster;
}

/// Whether the file stores luma as a component of its own, in full resolution.
bool hasLumaComponent(const jpeg_decompress_struct &info)
{
    return info.jpeg_color_space == JCS_YCbCr && info.comp_info[0].h_samp_factor == info.max_h_samp_factor &&
           info.comp_info[0].v_samp_factor == info.max_v_samp_factor;
}

/// While it exists, errors of the decoder jump to where the encoder's errors do: writing coefficients reads
/// them from the decoder.
class SharedErrors
{
public:
    SharedErrors(Decoder &decoder, Errors &errors) : m_decoder(decoder) { decoder.info.err = &errors; }
    ~SharedErrors() { m_decoder.info.err = &m_decoder.errors; }
    SharedErrors(const SharedErrors &) = delete;
    SharedErrors &operator=(const SharedErrors &) = delete;

private:
    Decoder &m_decoder;
};

/// A JPEG file with the luma coefficients of another.
std::string lumaJpeg(Decoder &decoder)
{
    Encoder encoder;
    jvirt_barray_ptr *coefficients = nullptr;
    guarded(decoder.errors, [&] { coefficients = jpeg_read_coefficients(&decoder.info); });
    const SharedErrors shared(decoder, encoder.errors);
    guarded(encoder.errors, [&] {
        jpeg_copy_critical_parameters(&decoder.info, &encoder.info);
        const int table = encoder.info.comp_info[0].quant_tbl_no;
        jpeg_set_colorspace(&encoder.info, JCS_GRAYSCALE);
        encoder.info.comp_info[0].quant_tbl_no = table;
        encoder.info.optimize_coding = TRUE;
        jpeg_write_coefficients(&encoder.info, coefficients);
        jpeg_finish_compress(&encoder.info);
    });
    return encoder.file();
}

} // namespace

Raster decodeJpeg(const std::string &file, int minimumWidth, int minimumHeight)
{
    Decoder decoder(file);
    return decoded(decoder, decoder.info.num_components, minimumWidth, minimumHeight);
}

std::string encodeJpeg(const Raster &raster, int quality, bool halfColour)
{
    Encoder encoder;
    encoder.info.image_width = static_cast<JDIMENSION>(raster.width);
    encoder.info.image_height = static_cast<JDIMENSION>(raster.height);
    encoder.info.input_components = raster.channels;
    encoder.info.in_color_space = colourSpaceOf(raster.channels);
    const size_t stride = static_cast<size_t>(raster.width) * static_cast<size_t>(raster.channels);
    guarded(encoder.errors, [&] {
        jpeg_set_defaults(&encoder.info);
        jpeg_set_quality(&encoder.info, quality, TRUE);
        encoder.info.optimize_coding = TRUE;
        for (int i = 0; i < encoder.info.num_components && !halfColour; ++i)
            encoder.info.comp_info[i].h_samp_factor = encoder.info.comp_info[i].v_samp_factor = 1;
        jpeg_start_compress(&encoder.info, TRUE);
        while (encoder.info.next_scanline < encoder.info.image_height) {
            // The library only reads through this pointer.
            auto *row = reinterpret_cast<JSAMPLE *>(
                const_cast<char *>(raster.samples.data() + stride * encoder.info.next_scanline));
            jpeg_write_scanlines(&encoder.info, &row, 1);
        }
        jpeg_finish_compress(&encoder.info);
    });
    return encoder.file();
}

std::string grayJpeg(const std::string &file)
{
    Decoder decoder(file);
    if (decoder.info.num_components == 1)
        return file;
    if (hasLumaComponent(decoder.info))
        return lumaJpeg(decoder);
    return encodeJpeg(decoded(decoder, 1, 0, 0), grayQuality, false);
}
