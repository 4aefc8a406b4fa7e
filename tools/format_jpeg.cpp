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
};

extern "C" void jpeg_error_to_message(j_common_ptr info) {
    auto* errors = reinterpret_cast<JpegErrors*>(info->err);
    (*info->err->format_message)(info, errors->text);
    std::longjmp(errors->back, 1);
}

// Warnings (a corrupt segment libjpeg works around, say) are counted by the
// library; the reader turns any into a note.
extern "C" void jpeg_ignore_message(j_common_ptr) {}

struct JpegReadState {
    uint32_t width = 0;
    uint32_t height = 0;
    int channels = 0;
    J_COLOR_SPACE space = JCS_UNKNOWN;
    bool tooLarge = false;
    long warnings = 0;
    std::vector<uint8_t> bytes;
};

bool jpeg_read_core(jpeg_decompress_struct& info, JpegErrors& errors, std::FILE* file,
                    JpegReadState& s) {
    if (setjmp(errors.back)) return false;
    jpeg_stdio_src(&info, file);
    jpeg_read_header(&info, TRUE);
    s.width = info.image_width;
    s.height = info.image_height;
    s.space = info.jpeg_color_space;
    if (s.width == 0 || s.height == 0 || s.width > uint32_t(kMaxSide) ||
        s.height > uint32_t(kMaxSide)) {
        s.tooLarge = true;
        return true;
    }
    // Grey stays grey; YCbCr and RGB come out as RGB. CMYK and YCCK (from
    // printing workflows) would need the ink model of the file's profile to
    // become RGB; they are refused by the caller.
    if (info.jpeg_color_space == JCS_CMYK || info.jpeg_color_space == JCS_YCCK) return true;
    info.out_color_space = info.jpeg_color_space == JCS_GRAYSCALE ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_start_decompress(&info);
    s.channels = info.output_components;
    const size_t rowBytes = size_t(info.output_width) * size_t(s.channels);
    s.bytes.resize(rowBytes * info.output_height);
    while (info.output_scanline < info.output_height) {
        JSAMPROW row = s.bytes.data() + rowBytes * info.output_scanline;
        jpeg_read_scanlines(&info, &row, 1);
    }
    jpeg_finish_decompress(&info);
    s.warnings = info.err->num_warnings;
    return true;
}

bool jpeg_write_core(jpeg_compress_struct& info, JpegErrors& errors, std::FILE* file,
                     const Raster& raster, std::vector<uint8_t>& row) {
    if (setjmp(errors.back)) return false;
    jpeg_stdio_dest(&info, file);
    info.image_width = static_cast<JDIMENSION>(raster.width);
    info.image_height = static_cast<JDIMENSION>(raster.height);
    info.input_components = raster.channels;
    info.in_color_space = raster.channels == 1 ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, kQuality, TRUE);
    for (int c = 0; c < info.num_components; ++c) {
        info.comp_info[c].h_samp_factor = 1;
        info.comp_info[c].v_samp_factor = 1;
    }
    jpeg_start_compress(&info, TRUE);
    const size_t perRow = size_t(raster.width) * size_t(raster.channels);
    while (info.next_scanline < info.image_height) {
        const uint16_t* in = raster.samples.data() + perRow * info.next_scanline;
        for (size_t k = 0; k < perRow; ++k) row[k] = static_cast<uint8_t>(in[k]);
        JSAMPROW rows = row.data();
        jpeg_write_scanlines(&info, &rows, 1);
    }
    jpeg_finish_compress(&info);
    return true;
}

}  // namespace

Raster read_jpeg(std::FILE* file, const std::string& name, ReadNotes* notes) {
    jpeg_decompress_struct info{};
    JpegErrors errors;
    info.err = jpeg_std_error(&errors.manager);
    errors.manager.error_exit = jpeg_error_to_message;
    errors.manager.output_message = jpeg_ignore_message;
    jpeg_create_decompress(&info);
    JpegReadState state;
    const bool ok = jpeg_read_core(info, errors, file, state);
    jpeg_destroy_decompress(&info);
    if (!ok) {
        if (std::ferror(file) != 0) throw ToolError(errno_or(EIO), "cannot read " + quoted(name));
        throw ToolError(EIO, "cannot read " + quoted(name) + ": " + errors.text);
    }
    check_size(name, state.width, state.height);
    if (state.space == JCS_CMYK || state.space == JCS_YCCK)
        throw ToolError(ENOTSUP, quoted(name) +
                                     " is a CMYK JPEG; the tool reads grey and colour (YCbCr "
                                     "or RGB) JPEG files");
    if (state.channels != 1 && state.channels != 3)
        throw ToolError(ENOTSUP, quoted(name) + " is a JPEG of a kind the tool does not read");

    Raster raster(static_cast<int32_t>(state.width), static_cast<int32_t>(state.height),
                  state.channels, 8);
    for (size_t k = 0; k < raster.samples.size(); ++k) raster.samples[k] = state.bytes[k];
    if (state.warnings != 0 && notes != nullptr)
        notes->lines.push_back(name + ": libjpeg repaired " + std::to_string(state.warnings) +
                               " damaged part(s) of the data; some pixels may be wrong");
    return raster;
}

void write_jpeg(std::FILE* file, const std::string& name, const Raster& raster) {
    if (raster.depth != 8)
        throw ToolError(EINVAL, "cannot write a 16-bit image as JPEG " + quoted(name) +
                                    ", which holds 8 bits a sample; use .png, .tif or .pnm");
    jpeg_compress_struct info{};
    JpegErrors errors;
    info.err = jpeg_std_error(&errors.manager);
    errors.manager.error_exit = jpeg_error_to_message;
    errors.manager.output_message = jpeg_ignore_message;
    jpeg_create_compress(&info);
    std::vector<uint8_t> row(size_t(raster.width) * size_t(raster.channels));
    const bool ok = jpeg_write_core(info, errors, file, raster, row);
    jpeg_destroy_compress(&info);
    if (!ok) throw ToolError(EIO, "cannot write " + quoted(name) + ": " + errors.text);
}

}  // namespace ozu::tool
