// Line kernels that multiply each pixel by a 3x3 fixed-point matrix:
// sub3x3MatMult (plain product, for the XYZ spaces and YCC),
// subRGB2YUV_YIQ_YCrCb (product plus the chroma offset 128) and
// subYUV_YIQ_YCrCb2RGB (chroma offset removed, then the product).
//
// Per pixel and output channel i: t = (m[i][0] a + m[i][1] b + m[i][2] c) >> 13,
// then t = (t x factor) >> 13 with the range factor of srcMax -> dstMax, then
// t is clamped to 0..dstMax. Products and sums wrap around in 32 bits; the
// shifts are arithmetic (they round toward minus infinity). The matrix
// argument is a pointer to the first of three rows (a Matrix3 of matrices.h
// decays to it).
#pragma once

#include <cstdint>

#include "convert/line_kernel.h"

namespace ozu {

// The plain product; a negative result (say Cb of a red pixel) is clamped to 0.
template <class S, class D>
bool sub3x3MatMult(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                   int32_t dstMax, const int32_t (*m)[3]);

// RGB -> YUV, YIQ or YCrCb: the product, then 128 added to channels 1 and 2
// before the clamp. The offset is 128 whatever the destination range.
template <class S, class D>
bool subRGB2YUV_YIQ_YCrCb(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                          int32_t dstMax, const int32_t (*m)[3]);

// YUV, YIQ or YCrCb -> RGB: channels 1 and 2 are centred at 128 for srcMax
// 255, at 32768 for srcMax 65535, and at 0 for any other range (the signed
// types); the offset is subtracted before the product.
template <class S, class D>
bool subYUV_YIQ_YCrCb2RGB(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                          int32_t dstMax, const int32_t (*m)[3]);

template <class S, class D>
const TargetTable<MatrixLineKernel<S, D>>& sub3x3MatMult_targets();
template <class S, class D>
const TargetTable<MatrixLineKernel<S, D>>& subRGB2YUV_YIQ_YCrCb_targets();
template <class S, class D>
const TargetTable<MatrixLineKernel<S, D>>& subYUV_YIQ_YCrCb2RGB_targets();

// The scalar references: the definition of every result above.
namespace scalar {
template <class S, class D>
bool sub3x3MatMult(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                   int32_t dstMax, const int32_t (*m)[3]);
template <class S, class D>
bool subRGB2YUV_YIQ_YCrCb(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                          int32_t dstMax, const int32_t (*m)[3]);
template <class S, class D>
bool subYUV_YIQ_YCrCb2RGB(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                          int32_t dstMax, const int32_t (*m)[3]);
}  // namespace scalar

#define OZU_MATRIX_MULT_PAIRS(X) OZU_ALL_PIXEL_PAIRS(X) OZU_WORKING_PAIR(X)
#define OZU_TO_CHROMA_PAIRS(X) OZU_SAME_TYPE_PIXEL_PAIRS(X) OZU_WORKING_PAIR(X)
#define OZU_FROM_CHROMA_PAIRS(X) OZU_ALL_PIXEL_PAIRS(X)

#define OZU_X(S, D)                                                            \
    OZU_MATRIX_KERNEL_INSTANCE(extern template, sub3x3MatMult, S, D)           \
    OZU_MATRIX_KERNEL_INSTANCE(extern template, scalar::sub3x3MatMult, S, D)   \
    OZU_MATRIX_KERNEL_TARGETS_INSTANCE(extern template, sub3x3MatMult, S, D)
OZU_MATRIX_MULT_PAIRS(OZU_X)
#undef OZU_X
#define OZU_X(S, D)                                                                   \
    OZU_MATRIX_KERNEL_INSTANCE(extern template, subRGB2YUV_YIQ_YCrCb, S, D)           \
    OZU_MATRIX_KERNEL_INSTANCE(extern template, scalar::subRGB2YUV_YIQ_YCrCb, S, D)   \
    OZU_MATRIX_KERNEL_TARGETS_INSTANCE(extern template, subRGB2YUV_YIQ_YCrCb, S, D)
OZU_TO_CHROMA_PAIRS(OZU_X)
#undef OZU_X
#define OZU_X(S, D)                                                                   \
    OZU_MATRIX_KERNEL_INSTANCE(extern template, subYUV_YIQ_YCrCb2RGB, S, D)           \
    OZU_MATRIX_KERNEL_INSTANCE(extern template, scalar::subYUV_YIQ_YCrCb2RGB, S, D)   \
    OZU_MATRIX_KERNEL_TARGETS_INSTANCE(extern template, subYUV_YIQ_YCrCb2RGB, S, D)
OZU_FROM_CHROMA_PAIRS(OZU_X)
#undef OZU_X

}  // namespace ozu
