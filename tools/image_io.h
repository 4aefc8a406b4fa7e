// Image files in and out of the host library's buffers.
//
// Two formats are read and written: PNG (grey or RGB, 8 or 16 bits per
// sample, through libpng) and binary PNM (P5 grey, P6 RGB, maxval up to
// 65535, 16-bit samples big-endian). A file is recognised by its first
// bytes, never by its name; the output format is chosen by the name's
// extension (.png, .pgm, .ppm, .pnm). Anything else is refused with ENOTSUP.
//
// In memory a picture is a Raster: interleaved samples in 16-bit cells. A
// Raster becomes a host buffer of one plane per channel, and a one- or
// three-plane buffer becomes a Raster again.
#pragma once

#include <cstdint>
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

// Reads a PNG or binary PNM file. Throws ToolError: errno codes for files
// that cannot be opened or read, EIO for damaged contents, ENOTSUP for other
// formats and variants.
Raster read_image_file(const std::string& path, ReadNotes* notes = nullptr);

// Writes by the extension of `path`. Throws ToolError (ENOTSUP for an
// extension without a writer, EINVAL for a channel count the chosen format
// cannot hold, errno codes for file errors). A partly written file is removed.
void write_image_file(const std::string& path, const Raster& raster);

// Throws as write_image_file would for `path` with `channels` channels,
// before any work is done. channels 0 checks the extension alone.
void check_output_path(const std::string& path, int32_t channels = 0);

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
