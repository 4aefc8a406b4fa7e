// Line kernels that treat each plane on its own: subInvert (the
// complementary spaces, CMY <-> RGB), subReNormalize (range adaptation) and
// subNoOp (no per-pixel work). None clamps: results keep their low bits.
#pragma once

#include <cstdint>

#include "convert/line_kernel.h"

namespace ozu {

// Equal ranges: each of the three planes becomes srcMax - v. Otherwise each
// becomes (dstMax - v x factor) >> 13: dstMax is taken off the scaled value
// unscaled, so v = 0 gives dstMax >> 13 and any larger v a negative result
// that wraps on storing. Kept exactly, results depend on it.
template <class S, class D>
bool subInvert(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
               int32_t dstMax);

// (v x factor) >> 13 into plane 0, and into planes 1 and 2 when both the
// source and the destination have them (non-null pointers); the factor is
// computed even for equal ranges (8192).
template <class S, class D>
bool subReNormalize(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                    int32_t dstMax);

// Touches nothing and returns true: for spaces that need no per-pixel work.
template <class S, class D>
bool subNoOp(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax, int32_t dstMax);

template <class S, class D>
const TargetTable<LineKernel<S, D>>& subInvert_targets();
template <class S, class D>
const TargetTable<LineKernel<S, D>>& subReNormalize_targets();

// The scalar references.
namespace scalar {
template <class S, class D>
bool subInvert(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
               int32_t dstMax);
template <class S, class D>
bool subReNormalize(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                    int32_t dstMax);
}  // namespace scalar

#define OZU_INVERT_PAIRS(X) OZU_ALL_PIXEL_PAIRS(X) OZU_WORKING_PAIR(X)
#define OZU_RENORMALIZE_PAIRS(X) OZU_ALL_PIXEL_PAIRS(X)
#define OZU_NOOP_PAIRS(X) OZU_SAME_TYPE_PIXEL_PAIRS(X) OZU_WORKING_PAIR(X)

#define OZU_X(S, D)                                                    \
    OZU_LINE_KERNEL_INSTANCE(extern template, subInvert, S, D)         \
    OZU_LINE_KERNEL_INSTANCE(extern template, scalar::subInvert, S, D) \
    OZU_LINE_KERNEL_TARGETS_INSTANCE(extern template, subInvert, S, D)
OZU_INVERT_PAIRS(OZU_X)
#undef OZU_X
#define OZU_X(S, D)                                                         \
    OZU_LINE_KERNEL_INSTANCE(extern template, subReNormalize, S, D)         \
    OZU_LINE_KERNEL_INSTANCE(extern template, scalar::subReNormalize, S, D) \
    OZU_LINE_KERNEL_TARGETS_INSTANCE(extern template, subReNormalize, S, D)
OZU_RENORMALIZE_PAIRS(OZU_X)
#undef OZU_X
#define OZU_X(S, D) OZU_LINE_KERNEL_INSTANCE(extern template, subNoOp, S, D)
OZU_NOOP_PAIRS(OZU_X)
#undef OZU_X

}  // namespace ozu
