// JPEG files through libjpeg(-turbo): grey and colour (YCbCr or RGB), 8 bits
// per sample, baseline or progressive. The writer keeps every chroma sample
// (4:4:4) at quality 95: the tool's results are often not pictures but
// channels (hue, chroma) where halving the resolution of two of them would
// mix channels of neighbouring pixels.

#include <csetjmp>
#include <cstring>
#include <vector>

// jpeglib.h needs size_t and FILE declared before it.
#include <cstddef>
#include <cstdio>
#include <jpeglib.h>
#include <jerror.h>

#include "image_formats.h"

namespace ozu::tool {
namespace {

constexpr int kQuality = 95;

// libjpeg reports errors through error_exit, which must not return: it jumps
// back to the setjmp of the function that called the library. Those
// functions hold no C++ objects of their own (everything they fill lives in
// the caller's state record), so that the jump skips no destructor.
struct JpegErrors {
    jpeg_error_mgr manager;
    std::jmp_buf back;
    char text[JMSG_LENGTH_MAX] = "unknown libjpeg error";

    // The error manager for a compress or decompress structure, sending
    // errors here.
    jpeg_error_mgr* route();
};

extern "C" void jpeg_error_to_message(j_common_ptr info) {
    auto* errors = reinterpret_cast<JpegErrors*>(info->err);
    (*info->err->format_message)(info, errors->text);
    std::longjmp(errors->back, 1);
}

// Warnings (a corrupt segment libjpeg works around, say) are counted by the
// library; the reader turns any into a note.
extern "C" void jpeg_ignore_message(j_common_ptr) {}

// Warnings are counted, as libjpeg's own handler does, except the end of
// the data before the end of the image: libjpeg would fill the rest with
// grey, a picture that looks whole but is not, so a cut-off file is refused.
extern "C" void jpeg_count_or_fail(j_common_ptr info, int level) {
    if (level >= 0) return;  // trace messages
    if (info->err->msg_code == JWRN_JPEG_EOF) (*info->err->error_exit)(info);
    ++info->err->num_warnings;
}

jpeg_error_mgr* JpegErrors::route() {
    jpeg_error_mgr* errors = jpeg_std_error(&manager);
    manager.error_exit = jpeg_error_to_message;
    manager.output_message = jpeg_ignore_message;
    manager.emit_message = jpeg_count_or_fail;
    return errors;
}

struct JpegReadState {
    uint32_t width = 0;
    uint32_t height = 0;
    int channels = 0;
    J_COLOR_SPACE space = JCS_UNKNOWN;
    bool arithmetic = false;  // arithmetic rather than Huffman coding
    long warnings = 0;
};

bool jpeg_open_core(jpeg_decompress_struct& info, JpegErrors& errors, std::FILE* file,
                    JpegReadState& s) {
    if (setjmp(errors.back)) return false;
    jpeg_stdio_src(&info, file);
    jpeg_read_header(&info, TRUE);
    s.width = info.image_width;
    s.height = info.image_height;
    s.space = info.jpeg_color_space;
    s.arithmetic = info.arith_code != 0;
    return true;
}

// Starts the decompression of a file whose header was read and accepted.
bool jpeg_start_core(jpeg_decompress_struct& info, JpegErrors& errors, JpegReadState& s) {
    if (setjmp(errors.back)) return false;
    info.out_color_space = info.jpeg_color_space == JCS_GRAYSCALE ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_start_decompress(&info);
    s.channels = info.output_components;
    return true;
}

bool jpeg_read_row_core(jpeg_decompress_struct& info, JpegErrors& errors, JSAMPROW row) {
    if (setjmp(errors.back)) return false;
    while (jpeg_read_scanlines(&info, &row, 1) != 1) {
        // A stdio source never suspends; no row at all means no data left.
        if (info.output_scanline >= info.output_height) return false;
    }
    return true;
}

bool jpeg_finish_read_core(jpeg_decompress_struct& info, JpegErrors& errors, JpegReadState& s) {
    if (setjmp(errors.back)) return false;
    jpeg_finish_decompress(&info);
    s.warnings = info.err->num_warnings;
    return true;
}

// The library's structures for one file, destroyed with their owner, also
// when its constructor fails part way.
struct JpegDecoder {
    jpeg_decompress_struct info{};
    JpegErrors errors;
    JpegDecoder() {
        info.err = errors.route();
        jpeg_create_decompress(&info);
    }
    ~JpegDecoder() { jpeg_destroy_decompress(&info); }
    JpegDecoder(const JpegDecoder&) = delete;
    JpegDecoder& operator=(const JpegDecoder&) = delete;
};

struct JpegEncoder {
    jpeg_compress_struct info{};
    JpegErrors errors;
    JpegEncoder() {
        info.err = errors.route();
        jpeg_create_compress(&info);
    }
    ~JpegEncoder() { jpeg_destroy_compress(&info); }
    JpegEncoder(const JpegEncoder&) = delete;
    JpegEncoder& operator=(const JpegEncoder&) = delete;
};

class JpegRows final : public RowReader {
public:
    JpegRows(std::FILE* file, std::string name) : file_(file), name_(std::move(name)) {
        if (!jpeg_open_core(d_.info, d_.errors, file, state_)) fail();
        check_size(name_, state_.width, state_.height);
        // Grey stays grey; YCbCr and RGB come out as RGB. CMYK and YCCK
        // (from printing workflows) would need the ink model of the file's
        // profile to become RGB.
        if (state_.space == JCS_CMYK || state_.space == JCS_YCCK)
            throw ToolError(ENOTSUP, quoted(name_) +
                                         " is a CMYK JPEG; the tool reads grey and colour (YCbCr "
                                         "or RGB) JPEG files");
        // Before libjpeg allocates for the whole picture (a progressive file
        // is held whole), a header that promises more than the file can hold
        // is refused. Huffman codes are at least a bit long and every 8 x 8
        // block of a component has codes of its own. The component sampled
        // most finely across has blocks of at most 8 x 32 pixels (sampling
        // factors run from 1 to 4), so a byte of file holds at most 8 of
        // its blocks: 2048 pixels. Arithmetic coding has no such floor.
        if (!state_.arithmetic)
            check_data_fits(file, name_,
                            {int32_t(state_.width), int32_t(state_.height), 3, 8}, 3 * 2048);
        if (!jpeg_start_core(d_.info, d_.errors, state_)) fail();
        if (state_.channels != 1 && state_.channels != 3)
            throw ToolError(ENOTSUP, quoted(name_) + " is a JPEG of a kind the tool does not read");
        shape_ = {int32_t(state_.width), int32_t(state_.height), state_.channels, 8};
        row_.resize(samples_per_row(shape_));
    }

    void read_rows(uint16_t* out, int32_t rows) override {
        const size_t perRow = samples_per_row(shape_);
        for (int32_t y = 0; y < rows; ++y, out += perRow) {
            if (!jpeg_read_row_core(d_.info, d_.errors, row_.data())) fail();
            for (size_t k = 0; k < perRow; ++k) out[k] = row_[k];
            if (++next_ < shape_.height) continue;
            if (!jpeg_finish_read_core(d_.info, d_.errors, state_)) fail();
            if (state_.warnings != 0)
                notes.lines.push_back(name_ + ": libjpeg repaired " +
                                      std::to_string(state_.warnings) +
                                      " damaged part(s) of the data; some pixels may be wrong");
        }
    }

private:
    [[noreturn]] void fail() const {
        if (std::ferror(file_) != 0) throw ToolError(errno_or(EIO), "cannot read " + quoted(name_));
        throw ToolError(EIO, "cannot read " + quoted(name_) + ": " + d_.errors.text);
    }

    std::FILE* file_;
    std::string name_;
    JpegDecoder d_;
    JpegReadState state_;
    std::vector<uint8_t> row_;
    int32_t next_ = 0;
};

bool jpeg_begin_core(jpeg_compress_struct& info, JpegErrors& errors, std::FILE* file,
                     const ImageShape& shape) {
    if (setjmp(errors.back)) return false;
    jpeg_stdio_dest(&info, file);
    info.image_width = static_cast<JDIMENSION>(shape.width);
    info.image_height = static_cast<JDIMENSION>(shape.height);
    info.input_components = shape.channels;
    info.in_color_space = shape.channels == 1 ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, kQuality, TRUE);
    for (int c = 0; c < info.num_components; ++c) {
        info.comp_info[c].h_samp_factor = 1;
        info.comp_info[c].v_samp_factor = 1;
    }
    jpeg_start_compress(&info, TRUE);
    return true;
}

bool jpeg_write_row_core(jpeg_compress_struct& info, JpegErrors& errors, JSAMPROW row) {
    if (setjmp(errors.back)) return false;
    jpeg_write_scanlines(&info, &row, 1);
    return true;
}

bool jpeg_finish_write_core(jpeg_compress_struct& info, JpegErrors& errors) {
    if (setjmp(errors.back)) return false;
    jpeg_finish_compress(&info);
    return true;
}

class JpegWriter final : public RowWriter {
public:
    JpegWriter(std::FILE* file, std::string name, const ImageShape& shape)
        : name_(std::move(name)), shape_(shape) {
        if (shape.depth != 8)
            throw ToolError(EINVAL, "cannot write a 16-bit image as JPEG " + quoted(name_) +
                                        ", which holds 8 bits a sample; use .png, .tif or .pnm");
        row_.resize(samples_per_row(shape));
        if (!jpeg_begin_core(e_.info, e_.errors, file, shape)) fail();
    }

    void write_rows(const uint16_t* samples, int32_t rows) override {
        const size_t perRow = samples_per_row(shape_);
        for (int32_t y = 0; y < rows; ++y, samples += perRow) {
            for (size_t k = 0; k < perRow; ++k) row_[k] = static_cast<uint8_t>(samples[k]);
            if (!jpeg_write_row_core(e_.info, e_.errors, row_.data())) fail();
        }
    }

    void finish() override {
        if (!jpeg_finish_write_core(e_.info, e_.errors)) fail();
    }

private:
    [[noreturn]] void fail() const {
        throw ToolError(EIO, "cannot write " + quoted(name_) + ": " + e_.errors.text);
    }

    std::string name_;
    ImageShape shape_;
    JpegEncoder e_;
    std::vector<uint8_t> row_;
};

}  // namespace

std::unique_ptr<RowReader> open_jpeg(std::FILE* file, const std::string& name) {
    return std::make_unique<JpegRows>(file, name);
}

std::unique_ptr<RowWriter> start_jpeg(std::FILE* file, const std::string& name,
                                      const ImageShape& shape) {
    return std::make_unique<JpegWriter>(file, name, shape);
}

}  // namespace ozu::tool
