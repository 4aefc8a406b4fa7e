// How signed samples live in image files, which hold unsigned ones only.
//
// Channels 2 and 3 of YCC, YUV and YIQ are signed. The library centres YUV
// and YIQ chroma at 128 itself, which is the middle of the 8-bit range but
// not of the 16-bit one, and gives YCC without any offset; either way its
// unsigned results clamp negative values to 0. So by default the tool stores
// such channels with an offset of half the range, as OpenCV stores chroma:
// v + 128 at 8 bits, v + 32768 at 16. It runs the library's own matrix
// (COL_GetConversionMatrix) through COL_ColorTwist with that offset, which
// gives the conversion's values shifted and nothing clamped; and a YCC file
// read back with `--from YCC` has the offset taken off before the library's
// YCC to RGB product runs on the true signed values. (16-bit YUV and YIQ need
// nothing on the way back: the library removes 32768 at 16 bits itself.)
//
// Results of a signed pixel type (s8, s16) without a colour space, those of
// the weighted transforms, whose arithmetic wraps below 0, are stored the
// same way, every channel plus half the range.
//
// `--signed clip` keeps the older way: the library's unsigned results as
// they come, and signed ones rescaled by range with negative values as 0.
//
// Everything here works on any buffer or raster, a whole image or a strip of
// its lines alike.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host_buffer.h"
#include "image_io.h"

namespace ozu::tool {

enum class SignedMode { Offset, Clip };

// "offset" (the default when absent) or "clip"; a usage error otherwise.
SignedMode parse_signed_mode(const std::optional<std::string>& text);

bool is_signed_type(int32_t type);

// 128 for 8-bit types, 32768 for 16-bit ones.
int32_t half_range(int32_t type);

// True for the spaces whose channels 2 and 3 are signed: YCC, YUV and YIQ.
bool has_signed_channels(int32_t space);

// Whether a conversion into `to` on unsigned pixels of `type` stores its
// signed channels with the offset here rather than taking the library's
// result: YCC at either width, YUV and YIQ at 16 bits.
bool writes_chroma_offset(int32_t to, int32_t type, SignedMode mode);

// Whether a source in `from` on unsigned pixels of `type` is taken as stored
// with the offset: YCC at either width (the library reads YUV and YIQ with
// their offset itself).
bool reads_chroma_offset(int32_t from, int32_t type, SignedMode mode);

// COL_ConvertColorSpace from `from` into `to` on a buffer of unsigned type,
// with the offset of half the range on the signed channels of either side
// where the two functions above say so, and the library's conversion
// everywhere else.
HostBuffer convert_keeping_signs(int32_t source, int32_t from, int32_t to, SignedMode mode);

// Whether a result of `type` without a colour space is written with the
// offset: any signed type under SignedMode::Offset.
bool writes_offset(int32_t type, SignedMode mode);

// The planes of a one- or three-plane signed buffer (s8 or s16) as a raster
// of the same width, each sample plus half the range.
Raster stored_from_signed(int32_t handle);

// The tail of the note of a written result about its signed samples
// ("; channels 2 and 3 signed, stored +128"), or "" when there is nothing to
// say. `space` is the result's colour space, 0 when it has none.
std::string signed_note(int32_t type, int32_t space, SignedMode mode);

}  // namespace ozu::tool
