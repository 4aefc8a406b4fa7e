// PNG files through libpng: grey or RGB at 8 or 16 bits; palettes and grey
// of fewer bits are expanded to 8, alpha is dropped with a note. Rows are
// decoded and encoded one at a time, except for interlaced files, whose
// passes each cover the whole image: those are decoded whole at open.

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
    bool interlaced = false;
    bool alphaDropped = false;
    bool tooLarge = false;
    size_t rowBytes = 0;
};

bool png_open_core(png_structp png, png_infop info, PngReadState& s) {
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
    s.interlaced = png_get_interlace_type(png, info) != PNG_INTERLACE_NONE;
    if (s.interlaced) png_set_interlace_handling(png);
    png_read_update_info(png, info);
    s.channels = png_get_channels(png, info);
    s.depth = png_get_bit_depth(png, info);
    s.rowBytes = png_get_rowbytes(png, info);
    return true;
}

bool png_read_row_core(png_structp png, png_bytep row) {
    if (setjmp(png_jmpbuf(png))) return false;
    png_read_row(png, row, nullptr);
    return true;
}

bool png_read_image_core(png_structp png, png_bytepp rows) {
    if (setjmp(png_jmpbuf(png))) return false;
    png_read_image(png, rows);
    return true;
}

// The chunks after the image data are read too, so that a file damaged
// there is refused as it always was.
bool png_read_end_core(png_structp png) {
    if (setjmp(png_jmpbuf(png))) return false;
    png_read_end(png, nullptr);
    return true;
}

// The library's structures, freed with their owner, also when its
// constructor fails part way.
struct PngReadHandles {
    png_structp png = nullptr;
    png_infop info = nullptr;
    ~PngReadHandles() { png_destroy_read_struct(&png, &info, nullptr); }
};

struct PngWriteHandles {
    png_structp png = nullptr;
    png_infop info = nullptr;
    ~PngWriteHandles() { png_destroy_write_struct(&png, &info); }
};

class PngRows final : public RowReader {
public:
    PngRows(std::FILE* file, std::string name) : file_(file), name_(std::move(name)) {
        h_.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &message_, png_error_to_message,
                                        png_ignore_warning);
        h_.info = h_.png != nullptr ? png_create_info_struct(h_.png) : nullptr;
        if (h_.png == nullptr || h_.info == nullptr)
            throw ToolError(ENOMEM, "cannot read " + quoted(name_) + ": libpng set-up failed");
        png_init_io(h_.png, file);
        if (!png_open_core(h_.png, h_.info, state_)) fail();
        check_size(name_, state_.width, state_.height);
        if ((state_.channels != 1 && state_.channels != 3) ||
            (state_.depth != 8 && state_.depth != 16))
            throw ToolError(ENOTSUP, quoted(name_) + " is a PNG of a kind the tool does not read");
        shape_ = {int32_t(state_.width), int32_t(state_.height), state_.channels, state_.depth};
        if (state_.alphaDropped) notes.lines.push_back(name_ + ": alpha channel ignored");
        row_.resize(state_.rowBytes);
    }

    // An interlaced file, whole: its rows in the order of the image.
    Raster decode_whole() {
        std::vector<uint8_t> bytes(state_.rowBytes * state_.height);
        std::vector<png_bytep> rows(state_.height);
        for (uint32_t y = 0; y < state_.height; ++y) rows[y] = bytes.data() + state_.rowBytes * y;
        if (!png_read_image_core(h_.png, rows.data()) || !png_read_end_core(h_.png)) fail();
        Raster raster(shape_.width, shape_.height, shape_.channels, shape_.depth);
        const size_t perRow = samples_per_row(shape_);
        for (uint32_t y = 0; y < state_.height; ++y)
            unpack_samples(rows[y], raster.samples.data() + perRow * y, perRow, shape_.depth);
        return raster;
    }

    bool interlaced() const { return state_.interlaced; }

    void read_rows(uint16_t* out, int32_t rows) override {
        const size_t perRow = samples_per_row(shape_);
        for (int32_t y = 0; y < rows; ++y) {
            if (!png_read_row_core(h_.png, row_.data())) fail();
            unpack_samples(row_.data(), out + perRow * size_t(y), perRow, shape_.depth);
            if (++next_ == shape_.height && !png_read_end_core(h_.png)) fail();
        }
    }

private:
    [[noreturn]] void fail() const {
        if (std::ferror(file_) != 0) throw ToolError(errno_or(EIO), "cannot read " + quoted(name_));
        throw ToolError(EIO, "cannot read " + quoted(name_) + ": " + message_.text);
    }

    std::FILE* file_;
    std::string name_;
    PngMessage message_;
    PngReadHandles h_;
    PngReadState state_;
    std::vector<uint8_t> row_;
    int32_t next_ = 0;
};

bool png_begin_core(png_structp png, png_infop info, const ImageShape& shape) {
    if (setjmp(png_jmpbuf(png))) return false;
    png_set_IHDR(png, info, static_cast<png_uint_32>(shape.width),
                 static_cast<png_uint_32>(shape.height), shape.depth,
                 shape.channels == 1 ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_RGB,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    return true;
}

bool png_write_row_core(png_structp png, png_const_bytep row) {
    if (setjmp(png_jmpbuf(png))) return false;
    png_write_row(png, row);
    return true;
}

bool png_write_end_core(png_structp png) {
    if (setjmp(png_jmpbuf(png))) return false;
    png_write_end(png, nullptr);
    return true;
}

class PngWriter final : public RowWriter {
public:
    PngWriter(std::FILE* file, std::string name, const ImageShape& shape)
        : name_(std::move(name)), shape_(shape) {
        h_.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &message_, png_error_to_message,
                                         png_ignore_warning);
        h_.info = h_.png != nullptr ? png_create_info_struct(h_.png) : nullptr;
        if (h_.png == nullptr || h_.info == nullptr)
            throw ToolError(ENOMEM, "cannot write " + quoted(name_) + ": libpng set-up failed");
        png_init_io(h_.png, file);
        row_.resize(samples_per_row(shape) * (shape.depth == 8 ? 1 : 2));
        if (!png_begin_core(h_.png, h_.info, shape)) fail();
    }

    void write_rows(const uint16_t* samples, int32_t rows) override {
        const size_t perRow = samples_per_row(shape_);
        for (int32_t y = 0; y < rows; ++y) {
            pack_samples(samples + perRow * size_t(y), row_.data(), perRow, shape_.depth);
            if (!png_write_row_core(h_.png, row_.data())) fail();
        }
    }

    void finish() override {
        if (!png_write_end_core(h_.png)) fail();
    }

private:
    [[noreturn]] void fail() const {
        throw ToolError(EIO, "cannot write " + quoted(name_) + ": " + message_.text);
    }

    std::string name_;
    ImageShape shape_;
    PngMessage message_;
    PngWriteHandles h_;
    std::vector<uint8_t> row_;
};

}  // namespace

std::unique_ptr<RowReader> open_png(std::FILE* file, const std::string& name) {
    auto rows = std::make_unique<PngRows>(file, name);
    check_data_fits(file, name, rows->shape(), 1032);
    if (!rows->interlaced()) return rows;
    auto decoded = std::make_unique<DecodedRows>(rows->decode_whole());
    decoded->notes = std::move(rows->notes);
    return decoded;
}

std::unique_ptr<RowWriter> start_png(std::FILE* file, const std::string& name,
                                     const ImageShape& shape) {
    return std::make_unique<PngWriter>(file, name, shape);
}

}  // namespace ozu::tool
