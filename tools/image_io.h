// Image files in and out of the host library's buffers.
//
// Read: PNG (through libpng), JPEG (libjpeg-turbo), TIFF (libtiff) and PNM
// (P1..P6, plain and binary), grey or RGB, 8 or 16 bits per sample. A file is
// recognised by its first bytes, never by its name; "-" reads standard
// input. Written: PNG, JPEG (8 bits), TIFF (strips or tiles) and PNM (binary
// or plain), chosen by the output name's extension or by --format, which
// "-" (standard output) needs. Anything else is refused with ENOTSUP.
//
// In memory a picture is a Raster: interleaved samples in 16-bit cells. A
// Raster becomes a host buffer of one plane per channel, and a one- or
// three-plane buffer becomes a Raster again.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host_buffer.h"

namespace ozu::tool {

struct Raster {
    int32_t width = 0;
    int32_t height = 0;
    int32_t channels = 0;           // 1 grey, 3 RGB
    int32_t depth = 8;              // bits per sample: 8 (values 0..255) or 16 (0..65535)
    std::vector<uint16_t> samples;  // row by row, channels interleaved

    Raster() = default;
    Raster(int32_t w, int32_t h, int32_t c, int32_t d)
        : width(w),
          height(h),
          channels(c),
          depth(d),
          samples(static_cast<size_t>(w) * static_cast<size_t>(h) * static_cast<size_t>(c)) {}

    uint16_t& at(int32_t x, int32_t y, int32_t c) {
        return samples[(static_cast<size_t>(y) * static_cast<size_t>(width) +
                        static_cast<size_t>(x)) *
                           static_cast<size_t>(channels) +
                       static_cast<size_t>(c)];
    }
    uint16_t at(int32_t x, int32_t y, int32_t c) const {
        return const_cast<Raster&>(*this).at(x, y, c);
    }
};

// Largest width or height the tool accepts, so that every size stays far
// inside the host's 32-bit arithmetic.
inline constexpr int32_t kMaxSide = 32768;

// What reading changed on the way in (an alpha channel dropped, a maxval
// rescaled); the commands print these.
struct ReadNotes {
    std::vector<std::string> lines;
};

// Reads an image file, or standard input for "-". Throws ToolError: errno
// codes for files that cannot be opened or read, EIO for damaged contents,
// ENOTSUP for other formats and variants.
Raster read_image_file(const std::string& path, ReadNotes* notes = nullptr);

// The formats an image is written in.
enum class ImageFormat { Png, Pnm, PnmPlain, Jpeg, Tiff, TiffTiled };

// The format of a --format value: png, pnm (pgm, ppm), pnm-plain, jpeg
// (jpg), tiff (tif), tiff-tiled; nothing for another name.
std::optional<ImageFormat> image_format_from_name(const std::string& name);

// Makes every output of the calling thread use `format` whatever its name
// (nothing: by the name again); returns the setting it replaces.
std::optional<ImageFormat> set_output_format(std::optional<ImageFormat> format);

// Writes in the format of set_output_format or else by the extension of
// `path`; "-" is standard output. Throws ToolError (ENOTSUP for a name
// without a writer, EINVAL for a channel count or depth the chosen format
// cannot hold, errno codes for file errors). A file appears under its name
// only when complete.
void write_image_file(const std::string& path, const Raster& raster);

// Throws as write_image_file would for `path` with `channels` channels of
// `depth` bits, before any work is done; 0 leaves either unchecked.
void check_output_path(const std::string& path, int32_t channels = 0, int32_t depth = 0);

// A buffer of one plane per channel and pixel type `type` (1..4). The samples
// go into a buffer of the raster's own width (unsigned 8 or 16 bit) and, for
// another type, are brought over by the host's range-rescaling copy
// (IPL_PtBufCopy): 8-bit 255 becomes signed 127, 16-bit 65535 becomes 255.
HostBuffer raster_to_buffer(const Raster& raster, int32_t type);

// The planes of block (0, 0) of a one- or three-plane buffer of pixel type
// 1..4. Unsigned samples are taken as they are; signed ones are first
// rescaled by the host's copy into the unsigned type of the same width
// (127 becomes 255, negative values 0).
Raster buffer_to_raster(int32_t handle);

// Pixel type code from "u8", "s8", "u16", "s16"; 0 for anything else.
int32_t pixel_type_from_name(const std::string& name);
const char* pixel_type_name(int32_t type);

}  // namespace ozu::tool
