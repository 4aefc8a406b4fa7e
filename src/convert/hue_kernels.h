// Line kernels between RGB and the hue spaces: subRGB2HLS, subRGB2HSV,
// subHLS2RGB and subHSV2RGB.
//
// Plane order: RGB lines are R, G, B; HLS lines H, L, S; HSV lines H, S, V.
// Every channel, the hue included, spans 0..max of its line's range: the full
// hue circle is the range maximum. All computed steps are single precision,
// in the order the comments give; float-to-integer conversions truncate
// toward zero, a value beyond the 32-bit range saturates and NaN gives 0
// (see trunc_to_int32), then the result is stored by keeping its low bits.
#pragma once

#include <cstddef>
#include <cstdint>

#include "convert/line_kernel.h"

namespace ozu {

// RGB -> HLS. Path by range: srcMax = dstMax = 255 reads L and S from
// RGB2HLS_Lightness / RGB2HLS_Saturation; other equal ranges compute L in
// integers and S in float; unequal ranges work on r, g, b = value / srcMax.
// A grey pixel (max = min) gets H = 0 and S = 0.
template <class S, class D>
bool subRGB2HLS(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                int32_t dstMax);

// RGB -> HSV. srcMax = dstMax = 255 uses RGB2HSV_Saturation and a hue scale of
// its own (pure blue 169, grey 44); the other paths compute in float. In the
// computed paths a pixel with max = 0 gets H = S = 0 and a grey pixel with
// max > 0 gets S = 0 and H = 0 (its hue is 0 / 0).
template <class S, class D>
bool subRGB2HSV(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                int32_t dstMax);

// HLS -> RGB, one path for all ranges.
template <class S, class D>
bool subHLS2RGB(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                int32_t dstMax);

// HSV -> RGB, one path for all ranges. A pixel whose hue sector falls outside
// 0..5 (H = srcMax, or a negative H of a signed line) is skipped: the
// destination keeps what it held.
template <class S, class D>
bool subHSV2RGB(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                int32_t dstMax);

template <class S, class D>
const TargetTable<LineKernel<S, D>>& subRGB2HLS_targets();
template <class S, class D>
const TargetTable<LineKernel<S, D>>& subRGB2HSV_targets();
template <class S, class D>
const TargetTable<LineKernel<S, D>>& subHLS2RGB_targets();
template <class S, class D>
const TargetTable<LineKernel<S, D>>& subHSV2RGB_targets();

// Entry (rows[k], cols[k]) of RGB2HLS_Saturation into hls[k] and of
// RGB2HSV_Saturation into hsv[k], for k < n (n a multiple of 16): read from
// the tables in the scalar version, computed in the vector ones as their
// 8-bit paths compute them.
using HueTableEntries = void (*)(const int32_t* rows, const int32_t* cols, int32_t* hls,
                                 int32_t* hsv, size_t n);
const TargetTable<HueTableEntries>& hue_table_entries_targets();

// The scalar references.
namespace scalar {
template <class S, class D>
bool subRGB2HLS(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                int32_t dstMax);
template <class S, class D>
bool subRGB2HSV(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                int32_t dstMax);
template <class S, class D>
bool subHLS2RGB(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                int32_t dstMax);
template <class S, class D>
bool subHSV2RGB(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                int32_t dstMax);
}  // namespace scalar

#define OZU_HUE_FORWARD_PAIRS(X) OZU_SAME_TYPE_PIXEL_PAIRS(X) OZU_WORKING_PAIR(X)
#define OZU_HUE_INVERSE_PAIRS(X) OZU_ALL_PIXEL_PAIRS(X)

#define OZU_HUE_DECLARE(kernel, S, D)                                 \
    OZU_LINE_KERNEL_INSTANCE(extern template, kernel, S, D)         \
    OZU_LINE_KERNEL_INSTANCE(extern template, scalar::kernel, S, D) \
    OZU_LINE_KERNEL_TARGETS_INSTANCE(extern template, kernel, S, D)
#define OZU_X(S, D) OZU_HUE_DECLARE(subRGB2HLS, S, D) OZU_HUE_DECLARE(subRGB2HSV, S, D)
OZU_HUE_FORWARD_PAIRS(OZU_X)
#undef OZU_X
#define OZU_X(S, D) OZU_HUE_DECLARE(subHLS2RGB, S, D) OZU_HUE_DECLARE(subHSV2RGB, S, D)
OZU_HUE_INVERSE_PAIRS(OZU_X)
#undef OZU_X
#undef OZU_HUE_DECLARE

}  // namespace ozu
