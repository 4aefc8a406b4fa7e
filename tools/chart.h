// The synthetic colour test chart of the demo, made without any input file.
#pragma once

#include <cstdint>

#include "image_io.h"

namespace ozu::tool {

// Layout of the chart, 384 x 288 RGB at 8 bits:
//  - lines 0..175: every hue from left to right (0 to 360 degrees, fully
//    saturated), light at the top to dark at the bottom;
//  - lines 176..207: a grey ramp, black at the left to white at the right;
//  - lines 208..287: two rows of twelve 32 x 40 colour patches (primaries,
//    secondaries, greys and everyday colours), see chart_patch_colour().
inline constexpr int32_t kChartWidth = 384;
inline constexpr int32_t kChartHeight = 288;
inline constexpr int32_t kSweepLines = 176;
inline constexpr int32_t kRampTop = 176;
inline constexpr int32_t kRampLines = 32;
inline constexpr int32_t kPatchTop = 208;
inline constexpr int32_t kPatchWidth = 32;
inline constexpr int32_t kPatchHeight = 40;
inline constexpr int32_t kPatchesPerRow = 12;

Raster make_chart();

// Packed 0xRRGGBB colour of patch `index` (0..23, row by row).
uint32_t chart_patch_colour(int32_t index);

// The raw image a camera with a Bayer sensor would record of `rgb`: one
// sample per pixel, the colour of that pixel's filter. Parity as the
// library names it: 0 = G R / B G, 1 = R G / G B, 2 = B G / G R,
// 3 = G B / R G for the top-left 2 x 2 cell.
Raster make_bayer_mosaic(const Raster& rgb, int32_t parity);

}  // namespace ozu::tool
