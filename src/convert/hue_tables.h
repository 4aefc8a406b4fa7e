// The generators of the three exported 256 x 256 byte tables that let the
// 8-bit RGB -> HLS and RGB -> HSV conversions run without division
// (RGB2HLS_Lightness, RGB2HLS_Saturation, RGB2HSV_Saturation, declared in
// ozu/color_kernels.h). Entry (row, column) sits at index row * 256 + column.
// Each generator gives one entry; the tables are built from them at compile
// time in hue_tables.cpp.
#pragma once

#include <cstdint>

#include <ozu/color_kernels.h>

namespace ozu {

// (row + column) >> 1: read at row = max, column = min it is the lightness.
constexpr uint8_t hls_lightness_entry(int32_t row, int32_t col) {
    return static_cast<uint8_t>((row + col) >> 1);
}

// Read at row = max, column = min: the HLS saturation (max - min) scaled to
// 255 by max + min in the dark half and by 510 - max - min in the light half,
// truncated. Entries below the diagonal's mirror (row < column) come out
// negative and are stored as their low 8 bits; the kernels never read them.
constexpr uint8_t hls_saturation_entry(int32_t row, int32_t col) {
    if (row == col) return 0;
    const int32_t n = row - col;
    const int32_t sum = row + col;
    const int32_t v = sum <= 255 ? n * 255 / sum : n * 255 / (510 - sum);
    return static_cast<uint8_t>(v);
}

// Two tables in one. On and above the diagonal (row <= column) the HSV
// saturation, read at row = max - min, column = max: trunc(row * 255 / col),
// 0 for column 0. Below it the hue fraction, read at row = max - min,
// column = middle - min: floor(42.5 * col / row + 0.5) - 44 as a signed byte,
// i.e. the sixth of the hue circle covered, in units of 1/255 of the circle,
// less 44 so that the kernel can fold the sector offset into one add.
// For col >= 0 and row > 0, 42.5 col / row + 0.5 = (85 col + row) / (2 row)
// exactly, so the integer quotient is the floor without any rounding step.
constexpr uint8_t hsv_saturation_entry(int32_t row, int32_t col) {
    if (row <= col) return col == 0 ? 0 : static_cast<uint8_t>(row * 255 / col);
    return static_cast<uint8_t>((85 * col + row) / (2 * row) - 44);
}

}  // namespace ozu
