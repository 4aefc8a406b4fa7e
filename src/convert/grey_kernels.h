// Line kernels between RGB and a single grey plane: subRGB2Gray (luma into
// plane 0) and subGray2RGB (plane 0 into all three planes). Neither clamps:
// a result outside the destination type keeps its low bits.
#pragma once

#include <cstdint>

#include "convert/line_kernel.h"

namespace ozu {

// The luma weights 0.299, 0.587, 0.114 in 1/8192 (they sum to 8190).
inline constexpr int32_t kGreyWeightR = 2449;
inline constexpr int32_t kGreyWeightG = 4808;
inline constexpr int32_t kGreyWeightB = 933;

// grey = (2449 R + 4808 G + 933 B) >> 13, rescaled by the range factor only
// when srcMax differs from dstMax; written to dst[0] only.
template <class S, class D>
bool subRGB2Gray(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                 int32_t dstMax);

// Equal ranges: src[0] copied into dst[0], dst[1] and dst[2], one plane after
// the other. Otherwise each destination plane gets (v x factor) >> 13.
template <class S, class D>
bool subGray2RGB(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                 int32_t dstMax);

template <class S, class D>
const TargetTable<LineKernel<S, D>>& subRGB2Gray_targets();
template <class S, class D>
const TargetTable<LineKernel<S, D>>& subGray2RGB_targets();

// The scalar references.
namespace scalar {
template <class S, class D>
bool subRGB2Gray(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                 int32_t dstMax);
template <class S, class D>
bool subGray2RGB(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                 int32_t dstMax);
}  // namespace scalar

#define OZU_RGB2GRAY_PAIRS(X) OZU_SAME_TYPE_PIXEL_PAIRS(X) OZU_WORKING_PAIR(X)
#define OZU_GRAY2RGB_PAIRS(X) OZU_ALL_PIXEL_PAIRS(X)

#define OZU_X(S, D)                                                      \
    OZU_LINE_KERNEL_INSTANCE(extern template, subRGB2Gray, S, D)         \
    OZU_LINE_KERNEL_INSTANCE(extern template, scalar::subRGB2Gray, S, D) \
    OZU_LINE_KERNEL_TARGETS_INSTANCE(extern template, subRGB2Gray, S, D)
OZU_RGB2GRAY_PAIRS(OZU_X)
#undef OZU_X
#define OZU_X(S, D)                                                      \
    OZU_LINE_KERNEL_INSTANCE(extern template, subGray2RGB, S, D)         \
    OZU_LINE_KERNEL_INSTANCE(extern template, scalar::subGray2RGB, S, D) \
    OZU_LINE_KERNEL_TARGETS_INSTANCE(extern template, subGray2RGB, S, D)
OZU_GRAY2RGB_PAIRS(OZU_X)
#undef OZU_X

}  // namespace ozu
