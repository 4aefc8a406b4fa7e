// TIFF files through libtiff. Read: grey (black or white is zero) and RGB at
// 8 or 16 bits, in strips or tiles, samples interleaved or in planes, extra
// samples (alpha) dropped; other kinds of 8 bits or fewer (palette, YCbCr,
// CMYK, 1- to 4-bit grey) through libtiff's RGBA reader. Written: grey or
// RGB, 8 or 16 bits, interleaved, deflate-compressed with the horizontal
// predictor, in strips or 256 x 256 tiles. Strips of interleaved samples are
// read a row at a time; tiles, planes and the RGBA reader's kinds whole.

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include <sys/types.h>
#include <tiffio.h>

#include "image_formats.h"

namespace ozu::tool {
namespace {

// libtiff does its input and output through these, on the tool's stream:
// a file, standard input read into memory, or a temporary file.
std::FILE* stream_of(thandle_t handle) { return static_cast<std::FILE*>(handle); }

tmsize_t stream_read(thandle_t handle, void* data, tmsize_t size) {
    return static_cast<tmsize_t>(std::fread(data, 1, static_cast<size_t>(size), stream_of(handle)));
}

tmsize_t stream_write(thandle_t handle, void* data, tmsize_t size) {
    return static_cast<tmsize_t>(
        std::fwrite(data, 1, static_cast<size_t>(size), stream_of(handle)));
}

toff_t stream_seek(thandle_t handle, toff_t offset, int whence) {
    if (offset > toff_t(INT64_MAX)) return toff_t(-1);
    if (::fseeko(stream_of(handle), static_cast<off_t>(offset), whence) != 0) return toff_t(-1);
    return static_cast<toff_t>(::ftello(stream_of(handle)));
}

// The stream belongs to the caller, who closes it.
int stream_close(thandle_t) { return 0; }

toff_t stream_size(thandle_t handle) {
    std::FILE* file = stream_of(handle);
    const off_t here = ::ftello(file);
    ::fseeko(file, 0, SEEK_END);
    const off_t size = ::ftello(file);
    ::fseeko(file, here, SEEK_SET);
    return size < 0 ? 0 : static_cast<toff_t>(size);
}

int no_map(thandle_t, void**, toff_t*) { return 0; }
void no_unmap(thandle_t, void*, toff_t) {}

// libtiff's messages for one file: the first error is kept for the failure
// line, warnings are dropped (they are about tags the tool does not use).
struct TiffMessage {
    char text[200] = "";
};

// (The module libtiff names is a function of its own or the file's name,
// which the failure line gives already.)
int keep_first_error(TIFF*, void* user, const char*, const char* format, va_list args) {
    auto* message = static_cast<TiffMessage*>(user);
    if (message->text[0] == '\0') std::vsnprintf(message->text, sizeof message->text, format, args);
    return 1;
}

int drop_warning(TIFF*, void*, const char*, const char*, va_list) { return 1; }

struct TiffCloser {
    void operator()(TIFF* tiff) const noexcept { TIFFClose(tiff); }
};
using TiffHandle = std::unique_ptr<TIFF, TiffCloser>;

TiffHandle open_tiff(std::FILE* file, const std::string& name, const char* mode,
                     TiffMessage& message) {
    TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
    if (options == nullptr) throw std::bad_alloc();
    TIFFOpenOptionsSetErrorHandlerExtR(options, keep_first_error, &message);
    TIFFOpenOptionsSetWarningHandlerExtR(options, drop_warning, nullptr);
    TIFF* tiff = TIFFClientOpenExt(name.c_str(), mode, file, stream_read, stream_write,
                                   stream_seek, stream_close, stream_size, no_map, no_unmap,
                                   options);
    TIFFOpenOptionsFree(options);
    return TiffHandle(tiff);
}

[[noreturn]] void fail_tiff(std::FILE* file, const std::string& name, const TiffMessage& message,
                            const char* verb) {
    if (std::ferror(file) != 0) throw ToolError(errno_or(EIO), std::string(verb) + " " + quoted(name));
    throw ToolError(EIO, std::string(verb) + " " + quoted(name) + ": " +
                             (message.text[0] != '\0' ? message.text : "damaged TIFF data"));
}

struct TiffLayout {
    uint32_t width = 0;
    uint32_t height = 0;
    uint16_t samples = 1;   // per pixel, extra ones included
    uint16_t bits = 1;
    uint16_t photometric = PHOTOMETRIC_MINISBLACK;
    uint16_t planar = PLANARCONFIG_CONTIG;
    uint16_t format = SAMPLEFORMAT_UINT;
    uint16_t extras = 0;
};

// Sample k (of `bits` 8 or 16) of a decoded block; libtiff has already put
// 16-bit samples in the host's byte order.
uint16_t sample_at(const std::vector<uint8_t>& block, size_t k, uint16_t bits) {
    if (bits == 8) return block[k];
    uint16_t v;
    std::memcpy(&v, block.data() + 2 * k, 2);
    return v;
}

// Grey and RGB at 8 or 16 bits, decoded whole block by block (strips or
// tiles, planes one after the other) into the raster, keeping the first `channels` samples of each pixel.
void read_direct(TIFF* tiff, std::FILE* file, const std::string& name, const TiffMessage& message,
                 const TiffLayout& t, Raster& raster) {
    const bool separate = t.planar == PLANARCONFIG_SEPARATE;
    const size_t perPixel = separate ? 1 : t.samples;
    const int32_t planes = separate ? raster.channels : 1;
    if (TIFFIsTiled(tiff)) {
        uint32_t tw = 0, th = 0;
        TIFFGetField(tiff, TIFFTAG_TILEWIDTH, &tw);
        TIFFGetField(tiff, TIFFTAG_TILELENGTH, &th);
        if (tw == 0 || th == 0) fail_read(file, name, "TIFF tiles of no size");
        std::vector<uint8_t> block(static_cast<size_t>(TIFFTileSize(tiff)));
        if (block.size() < size_t(tw) * th * perPixel * (t.bits / 8))
            fail_read(file, name, "TIFF tiles smaller than their pixels");
        for (int32_t p = 0; p < planes; ++p)
            for (uint32_t y0 = 0; y0 < t.height; y0 += th)
                for (uint32_t x0 = 0; x0 < t.width; x0 += tw) {
                    if (TIFFReadTile(tiff, block.data(), x0, y0, 0, static_cast<uint16_t>(p)) < 0)
                        fail_tiff(file, name, message, "cannot read");
                    for (uint32_t y = y0; y < std::min(t.height, y0 + th); ++y)
                        for (uint32_t x = x0; x < std::min(t.width, x0 + tw); ++x) {
                            const size_t at = (size_t(y - y0) * tw + (x - x0)) * perPixel;
                            for (int32_t c = 0; c < (separate ? 1 : raster.channels); ++c)
                                raster.at(int32_t(x), int32_t(y), separate ? p : c) =
                                    sample_at(block, at + size_t(c), t.bits);
                        }
                }
        return;
    }
    std::vector<uint8_t> row(static_cast<size_t>(TIFFScanlineSize(tiff)));
    if (row.size() < size_t(t.width) * perPixel * (t.bits / 8))
        fail_read(file, name, "TIFF rows shorter than their pixels");
    // Planes are read one after the other: libtiff decodes each plane's
    // strips in order.
    for (int32_t p = 0; p < planes; ++p)
        for (uint32_t y = 0; y < t.height; ++y) {
            if (TIFFReadScanline(tiff, row.data(), y, static_cast<uint16_t>(p)) < 0)
                fail_tiff(file, name, message, "cannot read");
            for (uint32_t x = 0; x < t.width; ++x)
                for (int32_t c = 0; c < (separate ? 1 : raster.channels); ++c)
                    raster.at(int32_t(x), int32_t(y), separate ? p : c) =
                        sample_at(row, size_t(x) * perPixel + size_t(c), t.bits);
        }
}

// Grey and RGB strips of interleaved samples, decoded a row at a time.
class TiffRows final : public RowReader {
public:
    TiffRows(std::unique_ptr<TiffMessage> message, TiffHandle tiff, std::FILE* file,
             std::string name, const TiffLayout& t, int32_t channels)
        : message_(std::move(message)),
          tiff_(std::move(tiff)),
          file_(file),
          name_(std::move(name)),
          layout_(t) {
        shape_ = {int32_t(t.width), int32_t(t.height), channels, t.bits};
        row_.resize(static_cast<size_t>(TIFFScanlineSize(tiff_.get())));
        if (row_.size() < size_t(t.width) * t.samples * (t.bits / 8))
            fail_read(file_, name_, "TIFF rows shorter than their pixels");
    }

    void read_rows(uint16_t* out, int32_t rows) override {
        const uint16_t top = layout_.bits == 8 ? 255 : 65535;
        const bool invert = layout_.photometric == PHOTOMETRIC_MINISWHITE;
        for (int32_t y = 0; y < rows; ++y, ++next_) {
            if (TIFFReadScanline(tiff_.get(), row_.data(), next_, 0) < 0)
                fail_tiff(file_, name_, *message_, "cannot read");
            for (uint32_t x = 0; x < layout_.width; ++x)
                for (int32_t c = 0; c < shape_.channels; ++c) {
                    const uint16_t v = sample_at(row_, size_t(x) * layout_.samples + size_t(c),
                                                 layout_.bits);
                    *out++ = invert ? static_cast<uint16_t>(top - v) : v;
                }
        }
    }

private:
    // libtiff reports into the message record through the handle: the
    // record is created first and freed last.
    std::unique_ptr<TiffMessage> message_;
    TiffHandle tiff_;
    std::FILE* file_;
    std::string name_;
    TiffLayout layout_;
    std::vector<uint8_t> row_;
    uint32_t next_ = 0;
};

}  // namespace

std::unique_ptr<RowReader> open_tiff(std::FILE* file, const std::string& name) {
    // The message record must outlive the handle, which a streaming reader
    // takes over: both live on the heap.
    auto message = std::make_unique<TiffMessage>();
    TiffHandle tiff = open_tiff(file, name, "r", *message);
    if (!tiff) fail_tiff(file, name, *message, "cannot read");

    TiffLayout t;
    TIFFGetField(tiff.get(), TIFFTAG_IMAGEWIDTH, &t.width);
    TIFFGetField(tiff.get(), TIFFTAG_IMAGELENGTH, &t.height);
    TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_SAMPLESPERPIXEL, &t.samples);
    TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_BITSPERSAMPLE, &t.bits);
    TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_PLANARCONFIG, &t.planar);
    TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_SAMPLEFORMAT, &t.format);
    uint16_t* extraKinds = nullptr;
    TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_EXTRASAMPLES, &t.extras, &extraKinds);
    if (TIFFGetField(tiff.get(), TIFFTAG_PHOTOMETRIC, &t.photometric) == 0)
        t.photometric = t.samples >= 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK;
    check_size(name, t.width, t.height);
    // libtiff decodes a strip or a tile at a time into a buffer of its own,
    // as large as the header makes the block. A block larger than any image
    // the tool reads could need (8 samples of 16 bits a pixel, over the
    // whole image or, for a small image in large tiles, 512 x 512 pixels)
    // is refused before it is asked for: a header of a few hundred damaged
    // bytes declaring 11009 samples a pixel had it ask for 2.2 GB.
    const uint64_t block =
        TIFFIsTiled(tiff.get()) ? TIFFTileSize64(tiff.get()) : TIFFStripSize64(tiff.get());
    if (block > 16 * std::max<uint64_t>(uint64_t{t.width} * t.height, 512 * 512))
        throw ToolError(EIO, "cannot read " + quoted(name) + ": damaged TIFF header (" +
                                 std::to_string(t.samples) + " samples a pixel, blocks of " +
                                 std::to_string(block) + " bytes for " + std::to_string(t.width) +
                                 " x " + std::to_string(t.height) + " pixels)");
    if (t.format != SAMPLEFORMAT_UINT && t.format != SAMPLEFORMAT_VOID)
        throw ToolError(ENOTSUP, quoted(name) +
                                     " holds signed or floating-point samples; the tool reads "
                                     "unsigned TIFF samples of 8 or 16 bits");

    const bool grey = t.photometric == PHOTOMETRIC_MINISBLACK ||
                      t.photometric == PHOTOMETRIC_MINISWHITE;
    const int32_t colours = t.samples > t.extras ? int32_t(t.samples) - int32_t(t.extras) : 0;
    const bool direct = (t.bits == 8 || t.bits == 16) &&
                        ((grey && colours == 1) || (t.photometric == PHOTOMETRIC_RGB && colours == 3));
    ReadNotes notes;
    if (direct && t.photometric == PHOTOMETRIC_MINISWHITE)
        notes.lines.push_back(name + ": white-is-zero grey turned into black-is-zero");
    if (!direct) {
        char why[1024] = "";
        if (t.bits > 8 || TIFFRGBAImageOK(tiff.get(), why) == 0)
            throw ToolError(ENOTSUP, quoted(name) + " is a TIFF of a kind the tool does not read (" +
                                         std::to_string(t.samples) + " samples of " +
                                         std::to_string(t.bits) + " bits, photometric " +
                                         std::to_string(t.photometric) + ")");
        notes.lines.push_back(name + ": TIFF of " + std::to_string(t.bits) +
                              "-bit samples, photometric " + std::to_string(t.photometric) +
                              ", read as 8-bit " + (grey ? "grey" : "RGB"));
    }
    if (t.extras != 0)
        notes.lines.push_back(name + ": " + std::to_string(t.extras) +
                              " extra sample(s) (alpha) ignored");
    const tdir_t pages = TIFFNumberOfDirectories(tiff.get());
    if (pages > 1)
        notes.lines.push_back(name + ": the first of " + std::to_string(pages) + " images read");

    const bool contiguous = t.planar != PLANARCONFIG_SEPARATE || t.samples == 1;
    if (direct && contiguous && !TIFFIsTiled(tiff.get())) {
        auto rows = std::make_unique<TiffRows>(std::move(message), std::move(tiff), file, name, t,
                                               colours);
        rows->notes = std::move(notes);
        return rows;
    }

    Raster raster;
    if (direct) {
        raster = Raster(int32_t(t.width), int32_t(t.height), colours, t.bits);
        read_direct(tiff.get(), file, name, *message, t, raster);
        if (t.photometric == PHOTOMETRIC_MINISWHITE) {
            const uint16_t top = t.bits == 8 ? 255 : 65535;
            for (uint16_t& v : raster.samples) v = static_cast<uint16_t>(top - v);
        }
    } else {
        std::vector<uint32_t> rgba(size_t(t.width) * size_t(t.height));
        if (TIFFReadRGBAImageOriented(tiff.get(), t.width, t.height, rgba.data(),
                                      ORIENTATION_TOPLEFT, 0) == 0)
            fail_tiff(file, name, *message, "cannot read");
        raster = Raster(int32_t(t.width), int32_t(t.height), grey ? 1 : 3, 8);
        for (size_t k = 0; k < rgba.size(); ++k) {
            if (grey) {
                raster.samples[k] = static_cast<uint16_t>(TIFFGetR(rgba[k]));
            } else {
                raster.samples[3 * k] = static_cast<uint16_t>(TIFFGetR(rgba[k]));
                raster.samples[3 * k + 1] = static_cast<uint16_t>(TIFFGetG(rgba[k]));
                raster.samples[3 * k + 2] = static_cast<uint16_t>(TIFFGetB(rgba[k]));
            }
        }
    }
    auto decoded = std::make_unique<DecodedRows>(std::move(raster));
    decoded->notes = std::move(notes);
    return decoded;
}

namespace {

// Rows in strips as they come; or, for tiles, gathered a band of tiles high
// and written band by band.
class TiffWriter final : public RowWriter {
public:
    TiffWriter(std::FILE* file, std::string name, const ImageShape& shape, bool tiled)
        : file_(file), name_(std::move(name)), shape_(shape), tiled_(tiled) {
        tiff_ = open_tiff(file, name_, "w", *message_);
        if (!tiff_) fail_tiff(file, name_, *message_, "cannot write");
        TIFF* t = tiff_.get();
        TIFFSetField(t, TIFFTAG_IMAGEWIDTH, uint32_t(shape.width));
        TIFFSetField(t, TIFFTAG_IMAGELENGTH, uint32_t(shape.height));
        TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, uint16_t(shape.channels));
        TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, uint16_t(shape.depth));
        TIFFSetField(t, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
        TIFFSetField(t, TIFFTAG_PHOTOMETRIC,
                     shape.channels == 1 ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB);
        TIFFSetField(t, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        TIFFSetField(t, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
        TIFFSetField(t, TIFFTAG_COMPRESSION, COMPRESSION_ADOBE_DEFLATE);
        TIFFSetField(t, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
        const size_t perRow = samples_per_row(shape);
        if (tiled) {
            TIFFSetField(t, TIFFTAG_TILEWIDTH, kTile);
            TIFFSetField(t, TIFFTAG_TILELENGTH, kTile);
            block_.resize(size_t(kTile) * kTile * size_t(shape.channels) * bytes_per_sample());
            band_.resize(size_t(kTile) * perRow);
        } else {
            TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(t, 0));
            block_.resize(perRow * bytes_per_sample());
        }
    }

    void write_rows(const uint16_t* samples, int32_t rows) override {
        const size_t perRow = samples_per_row(shape_);
        for (int32_t y = 0; y < rows; ++y, samples += perRow) {
            ++next_;
            if (tiled_) {
                std::copy(samples, samples + perRow,
                          band_.begin() + ptrdiff_t(size_t(bandRows_) * perRow));
                if (++bandRows_ == kTile) write_band();
                continue;
            }
            for (size_t k = 0; k < perRow; ++k) put(k, samples[k]);
            if (TIFFWriteScanline(tiff_.get(), block_.data(), next_ - 1, 0) < 0)
                fail_tiff(file_, name_, *message_, "cannot write");
        }
    }

    void finish() override {
        if (tiled_ && bandRows_ > 0) write_band();
        // The directory is written when the handle closes; its failure counts.
        const bool ok = TIFFWriteDirectory(tiff_.get()) != 0;
        tiff_.reset();
        if (!ok || std::ferror(file_) != 0) fail_tiff(file_, name_, *message_, "cannot write");
    }

private:
    static constexpr uint32_t kTile = 256;

    size_t bytes_per_sample() const { return shape_.depth == 8 ? 1 : 2; }

    // Samples in the host's byte order; libtiff records that order in the file.
    void put(size_t k, uint16_t v) {
        if (shape_.depth == 8) {
            block_[k] = static_cast<uint8_t>(v);
        } else {
            std::memcpy(block_.data() + 2 * k, &v, 2);
        }
    }

    // The tiles of the gathered rows, which start at row next_ - bandRows_.
    void write_band() {
        const uint32_t y0 = next_ - bandRows_;
        const size_t channels = size_t(shape_.channels);
        for (uint32_t x0 = 0; x0 < uint32_t(shape_.width); x0 += kTile) {
            // The part of an edge tile outside the image is written as 0.
            std::fill(block_.begin(), block_.end(), 0);
            for (uint32_t y = 0; y < bandRows_; ++y)
                for (uint32_t x = x0; x < std::min(uint32_t(shape_.width), x0 + kTile); ++x)
                    for (size_t c = 0; c < channels; ++c)
                        put((size_t(y) * kTile + (x - x0)) * channels + c,
                            band_[(size_t(y) * size_t(shape_.width) + x) * channels + c]);
            if (TIFFWriteTile(tiff_.get(), block_.data(), x0, y0, 0, 0) < 0)
                fail_tiff(file_, name_, *message_, "cannot write");
        }
        bandRows_ = 0;
    }

    std::FILE* file_;
    std::string name_;
    ImageShape shape_;
    bool tiled_;
    // libtiff reports into the message record through the handle: the
    // record is created first and freed last.
    std::unique_ptr<TiffMessage> message_ = std::make_unique<TiffMessage>();
    TiffHandle tiff_;
    std::vector<uint8_t> block_;  // one row, or one tile, as libtiff takes it
    std::vector<uint16_t> band_;  // tiled: up to a tile's height of rows
    uint32_t bandRows_ = 0;
    uint32_t next_ = 0;  // rows taken so far
};

}  // namespace

std::unique_ptr<RowWriter> start_tiff(std::FILE* file, const std::string& name,
                                      const ImageShape& shape, bool tiled) {
    return std::make_unique<TiffWriter>(file, name, shape, tiled);
}

}  // namespace ozu::tool
