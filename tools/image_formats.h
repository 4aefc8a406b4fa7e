// The readers and writers of each image format, behind image_io.h.
//
// Every reader takes an open stream positioned at the start of the file
// (seekable: standard input is first read into memory) and the name to use in
// messages; every writer takes a stream opened for writing. Failures throw
// ToolError: EIO for damaged contents, ENOTSUP for a variant the tool does
// not read, EINVAL for a raster the format cannot hold, errno codes for the
// stream's own errors.
#pragma once

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <string>

#include "image_io.h"
#include "tool_error.h"

namespace ozu::tool {

Raster read_png(std::FILE* file, const std::string& name, ReadNotes* notes);
void write_png(std::FILE* file, const std::string& name, const Raster& raster);

// P1..P6: plain (ASCII) and binary bitmaps, grey maps and pixel maps.
Raster read_pnm(std::FILE* file, const std::string& name, ReadNotes* notes);
void write_pnm(std::FILE* file, const Raster& raster, bool plain);

// Baseline and progressive JPEG, grey or colour, 8 bits per sample.
Raster read_jpeg(std::FILE* file, const std::string& name, ReadNotes* notes);
void write_jpeg(std::FILE* file, const std::string& name, const Raster& raster);

// TIFF: grey or RGB, 8 or 16 bits, strips or tiles, samples interleaved or in
// planes; other 8-bit kinds (palette, YCbCr, CMYK) through libtiff's RGBA
// reader.
Raster read_tiff(std::FILE* file, const std::string& name, ReadNotes* notes);
void write_tiff(std::FILE* file, const std::string& name, const Raster& raster, bool tiled);

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

}  // namespace ozu::tool
