// PNG files through libpng: grey or RGB at 8 or 16 bits; palettes and grey
// of fewer bits are expanded to 8, alpha is dropped with a note.

#include <png.h>

#include <cstring>
#include <vector>

#include "image_formats.h"

namespace ozu::tool {
namespace {

// libpng reports errors by longjmp. The functions that call setjmp hold no
// C++ objects of their own: everything they fill lives in a state record of
// the caller, so that a jump back skips no destructor.

struct PngMessage {
    char text[200] = "unknown libpng error";
};

extern "C" void png_error_to_message(png_structp png, png_const_charp message) {
    auto* target = static_cast<PngMessage*>(png_get_error_ptr(png));
    std::snprintf(target->text, sizeof target->text, "%s", message);
    png_longjmp(png, 1);
}

extern "C" void png_ignore_warning(png_structp, png_const_charp) {}

struct PngReadState {
    uint32_t width = 0;
    uint32_t height = 0;
    int channels = 0;
    int depth = 0;
    bool alphaDropped = false;
    bool tooLarge = false;
    std::vector<uint8_t> bytes;
    std::vector<png_bytep> rows;
};

bool png_read_core(png_structp png, png_infop info, PngReadState& s) {
    if (setjmp(png_jmpbuf(png))) return false;
    png_read_info(png, info);
    s.width = png_get_image_width(png, info);
    s.height = png_get_image_height(png, info);
    if (s.width > uint32_t(kMaxSide) || s.height > uint32_t(kMaxSide)) {
        s.tooLarge = true;
        return true;
    }
    const int colorType = png_get_color_type(png, info);
    if (colorType == PNG_COLOR_TYPE_PALETTE) png_set_palette_to_rgb(png);
    if (colorType == PNG_COLOR_TYPE_GRAY && png_get_bit_depth(png, info) < 8)
        png_set_expand_gray_1_2_4_to_8(png);
    if ((colorType & PNG_COLOR_MASK_ALPHA) != 0) {
        png_set_strip_alpha(png);
        s.alphaDropped = true;
    }
    png_set_interlace_handling(png);
    png_read_update_info(png, info);
    s.channels = png_get_channels(png, info);
    s.depth = png_get_bit_depth(png, info);
    const size_t rowBytes = png_get_rowbytes(png, info);
    s.bytes.resize(rowBytes * s.height);
    s.rows.resize(s.height);
    for (uint32_t y = 0; y < s.height; ++y) s.rows[y] = s.bytes.data() + rowBytes * y;
    png_read_image(png, s.rows.data());
    png_read_end(png, nullptr);
    return true;
}

}  // namespace

Raster read_png(std::FILE* file, const std::string& path, ReadNotes* notes) {
    PngMessage message;
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &message, png_error_to_message,
                                             png_ignore_warning);
    png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
    if (png == nullptr || info == nullptr) {
        png_destroy_read_struct(&png, &info, nullptr);
        throw ToolError(ENOMEM, "cannot read " + quoted(path) + ": libpng set-up failed");
    }
    png_init_io(png, file);
    PngReadState state;
    const bool ok = png_read_core(png, info, state);
    png_destroy_read_struct(&png, &info, nullptr);
    if (!ok) {
        if (std::ferror(file) != 0) throw ToolError(errno_or(EIO), "cannot read " + quoted(path));
        throw ToolError(EIO, "cannot read " + quoted(path) + ": " + message.text);
    }
    check_size(path, state.width, state.height);
    if ((state.channels != 1 && state.channels != 3) || (state.depth != 8 && state.depth != 16))
        throw ToolError(ENOTSUP, quoted(path) + " is a PNG of a kind the tool does not read");

    Raster raster(static_cast<int32_t>(state.width), static_cast<int32_t>(state.height),
                  state.channels, state.depth);
    const size_t perRow = size_t(raster.width) * size_t(raster.channels);
    for (int32_t y = 0; y < raster.height; ++y) {
        const uint8_t* row = state.rows[static_cast<size_t>(y)];
        uint16_t* out = raster.samples.data() + perRow * size_t(y);
        for (size_t k = 0; k < perRow; ++k)
            out[k] = raster.depth == 8 ? row[k]
                                       : static_cast<uint16_t>((row[2 * k] << 8) | row[2 * k + 1]);
    }
    if (state.alphaDropped && notes != nullptr)
        notes->lines.push_back(path + ": alpha channel ignored");
    return raster;
}

namespace {

bool png_write_core(png_structp png, png_infop info, const Raster& raster,
                    std::vector<uint8_t>& row) {
    if (setjmp(png_jmpbuf(png))) return false;
    png_set_IHDR(png, info, static_cast<png_uint_32>(raster.width),
                 static_cast<png_uint_32>(raster.height), raster.depth,
                 raster.channels == 1 ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_RGB,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    const size_t perRow = size_t(raster.width) * size_t(raster.channels);
    for (int32_t y = 0; y < raster.height; ++y) {
        const uint16_t* in = raster.samples.data() + perRow * size_t(y);
        for (size_t k = 0; k < perRow; ++k) {
            if (raster.depth == 8) {
                row[k] = static_cast<uint8_t>(in[k]);
            } else {
                row[2 * k] = static_cast<uint8_t>(in[k] >> 8);  // PNG is big-endian too
                row[2 * k + 1] = static_cast<uint8_t>(in[k] & 0xFF);
            }
        }
        png_write_row(png, row.data());
    }
    png_write_end(png, nullptr);
    return true;
}

}  // namespace

void write_png(std::FILE* file, const std::string& path, const Raster& raster) {
    PngMessage message;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &message, png_error_to_message,
                                              png_ignore_warning);
    png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
    if (png == nullptr || info == nullptr) {
        png_destroy_write_struct(&png, &info);
        throw ToolError(ENOMEM, "cannot write " + quoted(path) + ": libpng set-up failed");
    }
    png_init_io(png, file);
    std::vector<uint8_t> row(size_t(raster.width) * size_t(raster.channels) *
                             (raster.depth == 8 ? 1 : 2));
    const bool ok = png_write_core(png, info, raster, row);
    png_destroy_write_struct(&png, &info);
    if (!ok) throw ToolError(EIO, "cannot write " + quoted(path) + ": " + message.text);
}

}  // namespace ozu::tool
