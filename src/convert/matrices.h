// The twelve 3x3 colour-conversion matrices, in 13-bit fixed point.
//
// Row i gives output channel i, column j multiplies input channel j; 8192
// stands for 1.0 (see frame/fixed_point.h). The values are the tables the
// conversions have always used, kept digit for digit: near-equal entries of
// different matrices (the YCC luma row 2448/4805/937 against 2449/4808/933)
// are not rounding slips to be "fixed", results are pinned to them.
//
// They are constexpr so that the facts below can be checked at compile time
// and the kernels and the spectral path can use them in constant expressions.
#pragma once

#include <cstdint>

#include "frame/fixed_point.h"

namespace ozu {

using Matrix3 = int32_t[3][3];

// NTSC primaries, illuminant C: RGB -> CIE XYZ. The Y row ends in 1179
// (0.144), not in the luma weight 933 (0.114); that is how the table was
// made and it stays.
inline constexpr Matrix3 kRgbToXyz601 = {{4972, 1425, 1638}, {2449, 4808, 1179}, {0, 540, 9142}};
// CIE XYZ -> NTSC RGB, illuminant C.
inline constexpr Matrix3 kXyz601ToRgb = {{15646, -4358, -2359}, {-8069, 16375, -229}, {475, -966, 7356}};

// BT.709 RGB -> XYZ, D65 white.
inline constexpr Matrix3 kRgbToXyz709 = {{3375, 2932, 1474}, {1744, 5857, 589}, {155, 974, 7782}};
// XYZ -> BT.709 RGB, D65 white.
inline constexpr Matrix3 kXyz709ToRgb = {{26550, -12591, -4087}, {-7938, 15368, 344}, {458, -1671, 8658}};

// BT.601 625-line (EBU primaries) RGB -> XYZ, D65 white.
inline constexpr Matrix3 kRgbToXyzItu = {{3530, 2801, 1458}, {1818, 5791, 581}, {163, 1064, 7692}};
// XYZ -> EBU RGB, D65 white.
inline constexpr Matrix3 kXyzItuToRgb = {{25092, -11411, -3899}, {-7938, 15368, 344}, {557, -1875, 8757}};

// BT.601 RGB -> Y, Cb, Cr (channel 1 is Cb, channel 2 is Cr; no offset).
inline constexpr Matrix3 kRgbToYcc = {{2448, 4805, 937}, {-1382, -2713, 4096}, {4096, -3427, -668}};
// BT.601 Y, Cb, Cr -> RGB: R = Y + 1.402 Cr, B = Y + 1.771 Cb.
inline constexpr Matrix3 kYccToRgb = {{8192, 0, 11486}, {8192, -2831, -5853}, {8192, 14508, 0}};

// NTSC RGB -> YIQ (luma 0.299, 0.587, 0.114).
inline constexpr Matrix3 kRgbToYiq = {{2449, 4808, 933}, {4882, -2244, -2637}, {1736, -4284, 2547}};
// NTSC YIQ -> RGB.
inline constexpr Matrix3 kYiqToRgb = {{8192, 7831, 5087}, {8192, -2228, -5300}, {8192, -9052, 13942}};

// BT.601 analogue RGB -> YUV (luma 0.299, 0.587, 0.114; U, V).
inline constexpr Matrix3 kRgbToYuv = {{2449, 4808, 933}, {-1204, -2367, 3571}, {5038, -4218, -819}};
// Analogue YUV -> RGB: R = Y + 1.140 V, B = Y + 2.029 U.
inline constexpr Matrix3 kYuvToRgb = {{8192, 0, 9338}, {8192, -3244, -4759}, {8192, 16621, 0}};

namespace matrix_facts {

constexpr int32_t row_sum(const Matrix3& m, int row) { return m[row][0] + m[row][1] + m[row][2]; }

constexpr bool rows_sum_to(const Matrix3& m, int32_t s0, int32_t s1, int32_t s2) {
    return row_sum(m, 0) == s0 && row_sum(m, 1) == s1 && row_sum(m, 2) == s2;
}

// inverse x forward, in units of 1/8192^2, stays within `tolerance` of the
// identity (a typo in either table breaks this).
constexpr bool near_inverse(const Matrix3& forward, const Matrix3& inverse, double tolerance) {
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            int64_t p = 0;
            for (int k = 0; k < 3; ++k) p += int64_t{inverse[i][k]} * forward[k][j];
            const double deviation = static_cast<double>(p) / (8192.0 * 8192.0) - (i == j ? 1.0 : 0.0);
            if (deviation > tolerance || deviation < -tolerance) return false;
        }
    }
    return true;
}

// The luma weights 0.299, 0.587, 0.114 truncated to 1/8192: they sum to 8190,
// so full-scale white gives a luma one step short of full scale.
static_assert(kRgbToYuv[0][0] == fix(0.299) && kRgbToYuv[0][1] == fix(0.587) && kRgbToYuv[0][2] == fix(0.114));
static_assert(kRgbToYiq[0][0] == kRgbToYuv[0][0] && kRgbToYiq[0][1] == kRgbToYuv[0][1] &&
              kRgbToYiq[0][2] == kRgbToYuv[0][2]);
static_assert(kRgbToXyz601[1][0] == fix(0.299) && kRgbToXyz601[1][1] == fix(0.587) &&
              kRgbToXyz601[1][2] == fix(0.144));

// Row sums: the chroma rows of grey are (almost) zero. The odd units are the
// truncation of the real coefficients and are what makes 16-bit grey drift
// (U = 0 exactly, V and I one step per 8192, Q minus one step per 8192).
static_assert(rows_sum_to(kRgbToYuv, 8190, 0, 1));
static_assert(rows_sum_to(kRgbToYiq, 8190, 1, -1));
static_assert(rows_sum_to(kRgbToYcc, 8190, 1, 1));
static_assert(rows_sum_to(kRgbToXyz601, 8035, 8436, 9682));
static_assert(rows_sum_to(kRgbToXyz709, 7781, 8190, 8911));
static_assert(rows_sum_to(kRgbToXyzItu, 7789, 8190, 8919));
static_assert(rows_sum_to(kXyz601ToRgb, 8929, 8077, 6865));
static_assert(rows_sum_to(kXyz709ToRgb, 9872, 7774, 7445));
static_assert(rows_sum_to(kXyzItuToRgb, 9782, 7774, 7439));
static_assert(rows_sum_to(kYccToRgb, 19678, -492, 22700));
static_assert(rows_sum_to(kYiqToRgb, 21110, 664, 13082));
static_assert(rows_sum_to(kYuvToRgb, 17530, 189, 24813));

// The luma-based inverses take Y with weight 1.0.
static_assert(kYccToRgb[0][0] == kFixOne && kYccToRgb[1][0] == kFixOne && kYccToRgb[2][0] == kFixOne);
static_assert(kYiqToRgb[0][0] == kFixOne && kYiqToRgb[1][0] == kFixOne && kYiqToRgb[2][0] == kFixOne);
static_assert(kYuvToRgb[0][0] == kFixOne && kYuvToRgb[1][0] == kFixOne && kYuvToRgb[2][0] == kFixOne);

// Each pair is a forward matrix and its inverse. The NTSC XYZ pair is the
// loosest: its Y row (1179 for blue) belongs to a different blue primary than
// the inverse, which leaves 0.06 of blue in green after a round trip.
static_assert(near_inverse(kRgbToXyz709, kXyz709ToRgb, 0.002));
static_assert(near_inverse(kRgbToXyzItu, kXyzItuToRgb, 0.002));
static_assert(near_inverse(kRgbToYcc, kYccToRgb, 0.002));
static_assert(near_inverse(kRgbToYiq, kYiqToRgb, 0.002));
static_assert(near_inverse(kRgbToYuv, kYuvToRgb, 0.002));
static_assert(near_inverse(kRgbToXyz601, kXyz601ToRgb, 0.06));
static_assert(!near_inverse(kRgbToXyz601, kXyz601ToRgb, 0.05));

}  // namespace matrix_facts

}  // namespace ozu
