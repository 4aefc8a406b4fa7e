// The Bayer path of the colour-space conversion: a single-plane raw mosaic
// demosaiced by the host's converter into RGB or intensity.
#pragma once

#include <cstddef>
#include <cstdint>

#include "convert/line_kernel.h"

namespace ozu {

// Demosaics buffer `source` (one plane, Bayer raw) into buffer `destination`
// for the packed conversion code (raw to RGB 0x00100800, to intensity
// 0x00020800; raw to YUV 0x04000800 is accepted and always fails). The
// pointer arguments are null and only select the instance.
//
// Returns 1 on success. A missing buffer raises COL_ERR_NO_BUFFER (-107) and
// a buffer without pixel data COL_ERR_BAYER_MEMORY (-105), both recorded and
// thrown as an int for the calling entry's frame. Every other failure (a -1
// handle, wrong planes or size, an unknown code, a refused host call, raw to
// YUV) returns 0 without recording anything. An exception of the converter
// (std::invalid_argument, e.g. for an image one pixel wide) passes through
// after everything acquired has been handed back.
// The converter is run over bands of lines whose packed result takes about
// this many bytes, half the second-level cache of this processor's cores
// (at least 128 KiB), so that it is spread into the planes from the cache
// with room beside it for the source window. An image of up to two bands'
// lines is converted whole.
size_t bayer_band_bytes();

template <class S, class D>
int32_t tmpl_convert_bm(int32_t source, int32_t destination, int32_t code, S*, D*);

#define OZU_X(S, D) \
    extern template int32_t tmpl_convert_bm<S, D>(int32_t, int32_t, int32_t, S*, D*);
OZU_ALL_PIXEL_PAIRS(OZU_X)
#undef OZU_X

}  // namespace ozu
