// The readers and writers of each image format, behind image_io.h and
// strip_io.h.
//
// A reader is opened on a stream positioned at the start of the file
// (seekable: standard input is first read into memory) and then gives the
// image's rows in order, as many at a time as the caller asks for; a writer
// is started on a stream opened for writing with the shape of the whole
// image, takes its rows in order and is finished once every row is in. Only
// a strip of rows needs to be in memory at a time, except where a layout
// spreads each row over the whole file (interlaced PNG, tiled or planar
// TIFF, the kinds read through libtiff's RGBA reader): such a file is decoded
// whole when it is opened and its rows served from memory.
//
// Failures throw ToolError: EIO for damaged contents, ENOTSUP for a variant
// the tool does not read, EINVAL for a shape the format cannot hold, errno
// codes for the stream's own errors.
#pragma once

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "image_io.h"
#include "tool_error.h"

namespace ozu::tool {

struct ImageShape {
    int32_t width = 0;
    int32_t height = 0;
    int32_t channels = 0;  // 1 grey, 3 RGB
    int32_t depth = 8;     // 8 or 16 bits per sample
};

inline ImageShape shape_of(const Raster& raster) {
    return {raster.width, raster.height, raster.channels, raster.depth};
}

class RowReader {
public:
    virtual ~RowReader() = default;
    const ImageShape& shape() const { return shape_; }
    // False when the whole image was decoded at open (see above).
    bool streams() const { return streams_; }
    // The next `rows` rows as interleaved samples into `out`, which holds
    // rows x width x channels cells. The caller never asks beyond the last
    // row.
    virtual void read_rows(uint16_t* out, int32_t rows) = 0;
    // What reading changed on the way in. Most notes are known at open; a
    // few (libjpeg's repairs of damaged data) only after the last row.
    ReadNotes notes;

protected:
    ImageShape shape_;
    bool streams_ = true;
};

// Rows decoded whole at open, served from memory.
class DecodedRows final : public RowReader {
public:
    explicit DecodedRows(Raster raster);
    void read_rows(uint16_t* out, int32_t rows) override;

private:
    Raster raster_;
    size_t next_ = 0;  // the first sample not yet given out
};

class RowWriter {
public:
    virtual ~RowWriter() = default;
    // `rows` rows of interleaved samples, following those written before.
    virtual void write_rows(const uint16_t* samples, int32_t rows) = 0;
    // Completes the file once every row has been written.
    virtual void finish() = 0;
};

std::unique_ptr<RowReader> open_png(std::FILE* file, const std::string& name);
std::unique_ptr<RowWriter> start_png(std::FILE* file, const std::string& name,
                                     const ImageShape& shape);

// P1..P6: plain (ASCII) and binary bitmaps, grey maps and pixel maps.
std::unique_ptr<RowReader> open_pnm(std::FILE* file, const std::string& name);
std::unique_ptr<RowWriter> start_pnm(std::FILE* file, const ImageShape& shape, bool plain);

// Baseline and progressive JPEG, grey or colour, 8 bits per sample.
std::unique_ptr<RowReader> open_jpeg(std::FILE* file, const std::string& name);
std::unique_ptr<RowWriter> start_jpeg(std::FILE* file, const std::string& name,
                                      const ImageShape& shape);

// TIFF: grey or RGB, 8 or 16 bits, strips or tiles, samples interleaved or in
// planes; other 8-bit kinds (palette, YCbCr, CMYK) through libtiff's RGBA
// reader. Rows stream from strips of interleaved samples.
std::unique_ptr<RowReader> open_tiff(std::FILE* file, const std::string& name);
std::unique_ptr<RowWriter> start_tiff(std::FILE* file, const std::string& name,
                                      const ImageShape& shape, bool tiled);

// The format an output of this name is written in (set_output_format first).
ImageFormat output_format_for(const std::string& path);

// ---- shared by the formats ----

inline std::string quoted(const std::string& name) { return "'" + name + "'"; }

inline int32_t errno_or(int32_t fallback) { return errno != 0 ? errno : fallback; }

// A read error of the stream has its own errno; running out of bytes or
// contents that make no sense are damaged contents (EIO).
[[noreturn]] inline void fail_read(std::FILE* file, const std::string& name, const char* detail) {
    if (std::ferror(file) != 0) throw ToolError(errno_or(EIO), "cannot read " + quoted(name));
    throw ToolError(EIO, "cannot read " + quoted(name) + ": " + detail);
}

// Refuses an image without pixels or with a side beyond kMaxSide.
void check_size(const std::string& name, uint64_t width, uint64_t height);

// Refuses, as damaged, an image whose header promises more samples than the
// whole stream could encode at `expansion` bytes of samples a byte of file:
// a few damaged header bytes would otherwise have gigabytes allocated only
// to fail on reading. PNM needs 8 (a bitmap's bit becomes a byte), PNG's
// deflate at most 1032.
void check_data_fits(std::FILE* file, const std::string& name, const ImageShape& shape,
                     uint64_t expansion);

inline size_t samples_per_row(const ImageShape& shape) {
    return size_t(shape.width) * size_t(shape.channels);
}

// Samples of 8 bits, or of 16 bits most significant byte first (as PNG and
// binary PNM store them), into cells and back.
inline void unpack_samples(const uint8_t* bytes, uint16_t* out, size_t count, int32_t depth) {
    for (size_t k = 0; k < count; ++k)
        out[k] = depth == 8 ? bytes[k]
                            : static_cast<uint16_t>((bytes[2 * k] << 8) | bytes[2 * k + 1]);
}

inline void pack_samples(const uint16_t* in, uint8_t* bytes, size_t count, int32_t depth) {
    for (size_t k = 0; k < count; ++k) {
        if (depth == 8) {
            bytes[k] = static_cast<uint8_t>(in[k]);
        } else {
            bytes[2 * k] = static_cast<uint8_t>(in[k] >> 8);
            bytes[2 * k + 1] = static_cast<uint8_t>(in[k] & 0xFF);
        }
    }
}

}  // namespace ozu::tool
